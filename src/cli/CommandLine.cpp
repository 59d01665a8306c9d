#include <cerrno>
#include <exception>
#include <system_error>

#include <fmt/format.h>

#include "cli/Commands.h"
#include "cli/Terminal.h"
#include "media/Log.h"
#include "media/Tools.h"
#include "platform/Cancelled.h"
#include "platform/ErrorText.h"

namespace kestrel {

namespace {

int dispatch(const Arguments &arguments)
{
    using Command = Arguments::Command;
    switch (arguments.command) {
    case Command::help:
        Terminal::print("{}", helpText());
        return ExitStatus::done;
    case Command::version:
        Terminal::print("kestrel {}\n", KESTREL_VERSION);
        return ExitStatus::done;
    default:
        break;
    }

    const Interrupt interrupt;
    try {
        switch (arguments.command) {
        case Command::plan:
            return runPlan(arguments, interrupt);
        case Command::convert:
            return runConvert(arguments, interrupt);
        case Command::measure:
            return runMeasure(arguments, interrupt);
        default:
            return runDoctor(interrupt);
        }
    } catch (const Cancelled &) {
        Terminal::complain("Abgebrochen.");
        return ExitStatus::interrupted;
    }
}

} // namespace

int runCommandLine(int count, const char *const *words)
{
    int status = ExitStatus::unusable;
    try {
        status = dispatch(parseArguments(count, words));
    } catch (const UsageError &error) {
        Terminal::complain(fmt::format("{}\nHilfe: kestrel --help", error.what()));
    } catch (const std::exception &error) {
        Terminal::complain(ErrorText::describe(error));
    }
    const int problem = Terminal::flush();
    if (problem == 0 || problem == EPIPE) // a reader that had enough is none
        return status;
    Terminal::complain("Die Ausgabe konnte nicht geschrieben werden: " +
                       ErrorText::describe(std::error_code(problem, std::generic_category())));
    return ExitStatus::unusable;
}

Prepared prepare(const Arguments &arguments, std::stop_token stop)
{
    const auto folder = requireFolder(arguments.folder);
    Prepared prepared;
    try {
        prepared.tools = Tools::locate(stop);
    } catch (const ToolError &error) {
        throw ToolError::failed(fmt::format("{}\nUnter Debian: sudo apt install ffmpeg", error.what()));
    }
    throwIfStopped(stop);
    prepared.settings = arguments.settings;
    if (!supports(prepared.tools, prepared.settings.codec)) {
        const auto sentence = fmt::format("{} kann {} nicht kodieren", prepared.tools.ffmpeg.native(),
                                          title(prepared.settings.codec));
        if (arguments.isCodecChosen)
            throw UsageError(sentence + ".");
        Terminal::complain(sentence + " – das Bild bleibt unverändert.");
        prepared.settings.codec = VideoCodecChoice::keepVideo;
    }

    const bool showsProgress = Terminal::isErrorTerminal();
    prepared.plan = FolderPlan::scan(
        folder, prepared.tools,
        [&](std::size_t done, std::size_t total) {
            if (showsProgress)
                Terminal::writeError(fmt::format("\rAnalysiere {}/{} …\x1b[K", done, total));
        },
        stop);
    if (showsProgress)
        Terminal::writeError(fmt::format("\r\x1b[K"));
    prepared.plan.planAll(prepared.settings);
    return prepared;
}

} // namespace kestrel
