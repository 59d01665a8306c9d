#include <filesystem>
#include <optional>
#include <string>

#include <fmt/format.h>

#include "cli/Commands.h"
#include "cli/Terminal.h"
#include "encoding/HiddenOriginal.h"
#include "encoding/SwapJournal.h"
#include "media/ByteFormat.h"
#include "media/Log.h"
#include "media/ProbeStore.h"
#include "media/Tools.h"
#include "media/WorkNames.h"
#include "model/ProbeClip.h"
#include "model/ToolReport.h"
#include "model/UserDefaults.h"
#include "platform/Files.h"
#include "platform/InstanceLock.h"
#include "platform/Paths.h"
#include "platform/Text.h"
#include "platform/Trash.h"
#include "platform/Volume.h"

namespace kestrel {

namespace fs = std::filesystem;

namespace {

void row(const std::string &name, const std::string &value, const std::string &remark = "")
{
    Terminal::print("  {}{} {}{}\n", name,
                    std::string(static_cast<std::size_t>(std::max(1, 22 - Text::columns(name))), ' '), value,
                    remark.empty() ? "" : "  – " + remark);
}

void print(const ToolReport::Capability &capability)
{
    row(std::string(capability.name),
        capability.isThere      ? Terminal::green("ja")
        : capability.isMissed() ? Terminal::red("nein")
                                : "nein",
        capability.isMissed() ? fmt::format("{}; {}", capability.use, capability.remedy)
                              : std::string(capability.use));
}

void printTools(const Tools &tools, const std::stop_token &stop)
{
    const std::string probeVersion = tools.probeVersion(stop, Asking::again);
    row("ffmpeg", tools.ffmpeg.native(), tools.version);
    row("ffprobe", tools.ffprobe.native(), probeVersion.substr(0, probeVersion.find('\n')));
    for (const auto &capability : ToolReport::capabilities(tools))
        print(capability);
    row(std::string(measuringTitle), std::string(title(tools.measuring())),
        std::string(ToolReport::explanation(tools.measuring())));
}

Tools locateTools(const std::stop_token &stop)
{
    Tools tools = Tools::locate(stop, Asking::again);
    tools.mayMeasure = UserDefaults::standard().measuresQuality().value_or(true);
    return tools;
}

// Returns what exists at the path, and whether it may be changed.
std::string state(const fs::path &path)
{
    if (!Files::exists(path))
        return "noch nicht angelegt";
    if (!Files::isWritable(path))
        return Terminal::red("nicht beschreibbar");
    const auto attributes = Files::tryAttributes(path);
    if (attributes && attributes->isRegular)
        return ByteFormat::string(attributes->size);
    const auto free = Volume::freeBytes(path);
    return free ? ByteFormat::string(*free) + " frei" : "";
}

void place(const char *name, const fs::path &path)
{
    row(name, Terminal::shown(path.native()), state(path));
}

void printPendingSwaps()
{
    const auto swaps = pendingSwaps(hiddenOriginalsElsewhere());
    if (swaps.empty())
        return;
    Terminal::print("\n{}\n", Terminal::bold(std::string(pendingSwapsTitle)));
    Terminal::print("  Kestrel repariert sie beim nächsten Start, sobald es kann. Von Hand geht es, solange "
                    "Kestrel nicht läuft:\n");
    for (const auto &swap : swaps)
        Terminal::print("  {}\n    {}\n", Terminal::shown(swap.title()), Terminal::shown(swap.moveLine()));
}

} // namespace

int runDoctor(const Interrupt &interrupt)
{
    int status = ExitStatus::done;
    Terminal::print("{}\n", Terminal::bold("Werkzeuge"));
    try {
        printTools(locateTools(interrupt.token()), interrupt.token());
    } catch (const ToolError &error) {
        Terminal::print("  {}\n", Terminal::red(error.what()));
        status = ExitStatus::unusable;
    }
    std::string folders;
    for (const auto &folder : Tools::folders())
        folders += (folders.empty() ? "" : ", ") + folder.native();
    row("gesucht in", folders);

    Terminal::print("\n{}\n", Terminal::bold("Ordner und Dateien"));
    place("Protokoll", Log::file());
    place("Einstellungen", UserDefaults::standard().file());
    place("Analysen", ProbeStore::usualFile());
    place("Werkzeuge", ToolAnswers::usualFile());
    place("Probeclips", ProbeClip::folder());
    constexpr const char *swaps = "Tauschvorgänge";
    if (const auto problem = SwapJournal::problem())
        row(swaps, Terminal::shown(SwapJournal::file().native()),
            Terminal::red("nicht lesbar: " + *problem) + "; solange wird auf Netzlaufwerken nichts ersetzt");
    else
        place(swaps, SwapJournal::file());
    place("Arbeitsordner", Paths::workFolder());
    place("Sperrdatei", InstanceLock::file());
    place("Temporäres", Paths::temporary());
    place("Papierkorb", Trash::homeFolder());
    row("neben den Videos", WorkNames::hiddenPatterns(),
        "versteckte Arbeitsdateien, nur während eines Laufs");
    row("neben dem Ordner", fmt::format("„{}“", WorkNames::outputFolder("ORDNER").native()),
        "Ausgabe bei --output separateFolder");
    printPendingSwaps();
    return status;
}

} // namespace kestrel
