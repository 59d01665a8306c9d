#include "encoding/PlaceCheck.h"

#include <array>
#include <string_view>
#include <system_error>

#include <fmt/format.h>

#include "encoding/ConversionJob.h"
#include "encoding/StorageLocation.h"
#include "encoding/SwapJournal.h"
#include "encoding/TargetName.h"
#include "encoding/WorkFile.h"
#include "media/Tools.h"
#include "media/WorkNames.h"
#include "platform/Enumeration.h"
#include "platform/ErrorText.h"
#include "platform/Files.h"
#include "platform/OnExit.h"
#include "platform/Trash.h"

namespace kestrel {

namespace fs = std::filesystem;

namespace {

// Indexed by Trash::Obstacle::Kind; {} is the system's reason.
constexpr std::array<std::string_view, 5> sentences{
    "Das Original ist gegen Änderungen gesperrt (chattr +i oder +a) und ließe sich nicht in den Papierkorb "
    "legen – es bleibt, wie es ist.",
    "Der Ordner des Originals ist gegen Änderungen gesperrt (chattr +i oder +a) – das Original bleibt, wie "
    "es ist.",
    "Im Ordner des Originals darf nichts geändert werden ({}) – das Original bleibt, wie es ist.",
    "Das Original gehört einem anderen Benutzer, und nur er darf es aus diesem Ordner entfernen – es bleibt, "
    "wie es ist.",
    "Der Papierkorb für diesen Datenträger ist nicht benutzbar und lässt sich nicht anlegen ({}) – das "
    "Original bleibt, wie es ist.",
};
static_assert(sentences.size() == caseCount<Trash::Obstacle::Kind>);

// Returns the folder, or the nearest existing one above it, in which it will be created.
fs::path nearest(fs::path folder)
{
    while (folder.has_relative_path() && Files::presence(folder) == Files::Presence::absent)
        folder = folder.parent_path();
    return folder;
}

void requireMovable(const fs::path &file)
{
    if (const auto obstacle = Trash::obstacle(file))
        throw ToolError::failed(fmt::format(fmt::runtime(sentences[static_cast<std::size_t>(obstacle->kind)]),
                                            ErrorText::describe(obstacle->reason)));
}

bool takesTime(const fs::path &folder, const fs::path &file)
{
    const timespec time = Files::attributes(file).modified;
    const WorkFile probe(folder, file.stem().native(), WorkNames::temporarySuffix("zeit"),
                         WorkFile::Sharing::everywhere);
    const auto remove = onExit([&] {
        std::error_code ignored;
        fs::remove(probe.path(), ignored);
    });
    try {
        Files::setModified(probe.path(), time);
    } catch (const fs::filesystem_error &) {
        return false;
    }
    return TargetName::carriesTime(Files::attributes(probe.path()), time);
}

// A result is recognised by its source's modification time: without it, every run would make it again.
void requireTimes(const fs::path &file, const fs::path &target)
{
    const auto isTaken = [&] {
        for (fs::path folder = target;;) {
            folder = nearest(folder);
            try {
                return takesTime(folder, file);
            } catch (const fs::filesystem_error &error) {
                // Another job may just have removed the folder, because it was empty.
                if (error.code() != std::errc::no_such_file_or_directory || !folder.has_relative_path())
                    throw;
            }
        }
    };
    if (!isTaken())
        throw ToolError::failed(
            "Im Ausgabeordner lässt sich das Änderungsdatum nicht setzen. Daran erkennt Kestrel, was schon "
            "konvertiert ist – die Datei bleibt, wie sie ist.");
}

// Throws while the list of begun swaps cannot be read: no original of a share may be replaced then.
void requireJournal()
{
    if (const auto problem = SwapJournal::problem())
        throw ToolError::failed(fmt::format(
            "Die Liste der Tauschvorgänge ist nicht lesbar ({}) – das Original bleibt, wie es ist.",
            *problem));
}

} // namespace

void requirePlace(const fs::path &file, const ConversionSettings &settings, const fs::path &root)
{
    const fs::path target = ConversionJob::targetDirectory(file, settings, root);
    if (settings.outputMode == OutputMode::replaceOriginal && !StorageLocation::detect(target).isNetwork())
        return requireMovable(file);
    Files::requireWritable(nearest(target));
    if (settings.outputMode == OutputMode::replaceOriginal)
        requireJournal();
    if (settings.outputMode == OutputMode::separateFolder)
        requireTimes(file, target);
}

} // namespace kestrel
