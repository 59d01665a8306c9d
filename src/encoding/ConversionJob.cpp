#include "encoding/ConversionJob.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <mutex>
#include <set>
#include <system_error>

#include <fmt/format.h>

#include "encoding/CommandBuilder.h"
#include "encoding/FilmWriter.h"
#include "encoding/LocalSwap.h"
#include "encoding/NetworkSwap.h"
#include "encoding/ResultCheck.h"
#include "encoding/StorageLocation.h"
#include "encoding/SwapJournal.h"
#include "encoding/TargetName.h"
#include "encoding/WorkFile.h"
#include "media/ByteFormat.h"
#include "media/Log.h"
#include "media/Prober.h"
#include "media/WorkNames.h"
#include "platform/Cancelled.h"
#include "platform/ErrorText.h"
#include "platform/OnExit.h"
#include "platform/Paths.h"
#include "platform/Text.h"
#include "platform/Uuid.h"
#include "platform/Volume.h"

namespace kestrel {

namespace fs = std::filesystem;

namespace {

struct Space {
    double factor;        // multiple of the expected size
    std::int64_t reserve; // bytes
};
constexpr Space encodeSpace{1.3, 500'000'000}, uploadSpace{1.1, 200'000'000};

std::string temporarySuffix(const ConversionSettings &settings)
{
    return WorkNames::temporarySuffix(fileExtension(settings.container));
}

std::int64_t needed(double expectedBytes, const Space &space)
{
    const double bytes = std::trunc(expectedBytes * space.factor);
    constexpr double most = 9e18;
    return (bytes > 0 ? static_cast<std::int64_t>(std::min(bytes, most)) : 0) + space.reserve;
}

void removeQuietly(const fs::path &path)
{
    std::error_code ignored;
    fs::remove_all(path, ignored);
}

// Returns whether both are one file, also on a file system that ignores case.
bool isSameFile(const fs::path &a, const fs::path &b)
{
    if (Files::standardized(a) == Files::standardized(b))
        return true;
    if (Text::lower(a.filename().native()) != Text::lower(b.filename().native()))
        return false;
    const auto first = Files::tryAttributes(a), second = Files::tryAttributes(b);
    return first && second && first->device == second->device && first->inode == second->inode;
}

std::mutex folderLock;
std::multiset<fs::path> foldersInUse; // folders in use by jobs of this process; guarded by folderLock

// Creates a target folder; while this lives, no other job removes it as an empty one.
class FolderUse {
public:
    explicit FolderUse(const fs::path &folder) : m_folder(Files::standardized(folder))
    {
        const std::scoped_lock guard(folderLock);
        fs::create_directories(folder);
        foldersInUse.insert(m_folder);
    }
    FolderUse(const FolderUse &) = delete;
    FolderUse &operator=(const FolderUse &) = delete;
    ~FolderUse()
    {
        const std::scoped_lock guard(folderLock);
        foldersInUse.erase(foldersInUse.find(m_folder));
    }

private:
    fs::path m_folder;
};

} // namespace

// Holds the files and folders of one run; cleanUp() removes those that the run made.
struct ConversionJob::Workplace {
    fs::path target; // folder of the finished file
    std::unique_ptr<FolderUse> targetUse;
    bool isNetwork = false;
    fs::path folder;                      // local folder of an encode for a share; removed as a whole
    fs::path output;                      // the encode
    std::unique_ptr<WorkFile> outputName; // holds the name of a local encode
    std::unique_ptr<WorkFile> uploadName; // holds the name of the copy on a share
    fs::path ready;                       // the finished file: the encode or its upload
    bool isMoved = false;     // the file has left its work name, which another job may hold by now
    Files::Attributes source; // those of the original when the run began
    fs::perms permissions{};  // likewise
};

ConversionJob::ConversionJob(MediaInfo info, Plan plan, ConversionSettings settings, Tools tools,
                             fs::path rootURL, double expectedBytes)
    : m_info(std::move(info)), m_plan(std::move(plan)), m_settings(std::move(settings)),
      m_tools(std::move(tools)), m_root(std::move(rootURL)), m_expectedBytes(expectedBytes)
{
}

ConversionOutcome ConversionJob::run(const Callbacks &callbacks, std::stop_token stop)
{
    bool hasSucceeded = false;
    Workplace place;
    const auto tidy = onExit([&] {
        try {
            cleanUp(place, hasSucceeded);
        } catch (const std::exception &error) {
            Log::write("Nicht aufgeräumt: " + ErrorText::describe(error));
        }
    });
    place = prepare();

    encode(place, callbacks.progress, stop);
    const MediaInfo result = Prober::probe(place.output, m_tools.ffprobe, stop);
    const auto expected = ResultCheck::Expected::of(m_plan);
    ResultCheck::verify(m_info, result, expected);
    if (!ResultCheck::savesEnough(m_info.fileSize, result.fileSize, expected)) {
        Log::write(fmt::format("Keine Ersparnis: {} {} → {}", Text::shown(m_info.url.filename()),
                               m_info.fileSize, result.fileSize));
        return {ConversionOutcome::Kind::noSavings, m_info.fileSize, result.fileSize, std::nullopt};
    }
    if (place.isNetwork)
        upload(place, result.fileSize, callbacks.onUpload, stop);
    throwIfStopped(stop);

    auto [final, note] = putInPlace(place, result.fileSize);
    hasSucceeded = true;
    Log::write(fmt::format("Fertig: {} {} → {}", Text::shown(final), m_info.fileSize, result.fileSize));
    if (const auto shorter = ResultCheck::lengthNote(m_info, result)) {
        Log::write(fmt::format("{}: {}", Text::shown(final), *shorter));
        note = note ? *note + ' ' + *shorter : *shorter;
    }
    const auto kind = m_settings.outputMode == OutputMode::separateFolder ? ConversionOutcome::Kind::written
                                                                          : ConversionOutcome::Kind::replaced;
    return {kind, m_info.fileSize, result.fileSize, final, note};
}

ConversionJob::Workplace ConversionJob::prepare() const
{
    Workplace place;
    place.source = Files::attributes(m_info.url);
    place.permissions = fs::status(m_info.url).permissions() & fs::perms::all;
    place.target = targetDirectory(m_info.url, m_settings, m_root);
    place.targetUse = std::make_unique<FolderUse>(place.target);
    if (finalName().size() > Files::longestName(place.target))
        throw ToolError::failed("Der Name der neuen Datei wäre zu lang für diesen Ordner: " + finalName());

    place.isNetwork = StorageLocation::detect(place.target).isNetwork();
    requireSpace(place.isNetwork ? localWorkRoot() : place.target, needed(m_expectedBytes, encodeSpace));
    if (place.isNetwork) {
        requireSpace(place.target, needed(m_expectedBytes, uploadSpace));
        place.folder = localWorkRoot() / freshUuid();
        fs::create_directories(place.folder);
        place.output = place.folder / finalName();
    } else {
        place.outputName =
            std::make_unique<WorkFile>(place.target, m_info.url.stem().native(), temporarySuffix(m_settings),
                                       WorkFile::Sharing::everywhere);
        place.output = place.outputName->path();
    }
    place.ready = place.output;
    return place;
}

void ConversionJob::cleanUp(Workplace &place, bool hasSucceeded) const
{
    place.targetUse.reset();
    if (place.uploadName && !place.isMoved)
        removeQuietly(place.uploadName->path());
    if (place.isNetwork)
        removeQuietly(place.folder);
    else if (place.outputName && !place.isMoved)
        removeQuietly(place.output);
    if (!hasSucceeded && m_settings.outputMode == OutputMode::separateFolder)
        removeEmptyFolders(targetDirectory(m_info.url, m_settings, m_root), outputRoot(m_root));
}

void ConversionJob::encode(const Workplace &place, const FFmpegRunner::OnProgress &progress,
                           const std::stop_token &stop)
{
    const auto arguments = CommandBuilder::arguments(m_info, m_plan, m_settings, place.output, std::nullopt,
                                                     CommandBuilder::Streams::all);
    Log::write(fmt::format("Start: {}{}\n  {}", Text::shown(m_info.url),
                           place.isNetwork ? " (Netzlaufwerk, lokal kodiert)" : "",
                           Text::repaired(CommandBuilder::displayString("ffmpeg", arguments))));
    const FilmWriter::End end = FilmWriter::write(m_ffmpeg, m_tools.ffmpeg, arguments, progress, stop);
    if (end.isWhole())
        return;
    Log::write(
        fmt::format("Fehler ({}): {}\n{}", end.status, Text::shown(m_info.url.filename()), end.errorTail));
    if (end.status == 0)
        throw ToolError::failed("ffmpeg konnte nicht alles lesen oder schreiben:\n" + end.errorTail);
    throw ToolError::failed(fmt::format("ffmpeg meldet einen Fehler ({}):\n{}", end.status, end.errorTail));
}

void ConversionJob::upload(Workplace &place, std::int64_t newSize, const std::function<void()> &onUpload,
                           const std::stop_token &stop) const
{
    if (onUpload)
        onUpload();
    place.uploadName = std::make_unique<WorkFile>(place.target, m_info.url.stem().native(),
                                                  WorkNames::uploadSuffix, WorkFile::Sharing::withinProcess);
    const fs::path &copy = place.uploadName->path();
    removeQuietly(copy);
    try {
        Files::copy(place.output, copy, stop);
    } catch (const fs::filesystem_error &error) {
        removeQuietly(copy);
        throw ToolError::failed("Hochladen fehlgeschlagen: " + ErrorText::reason(error));
    }
    const auto attributes = Files::tryAttributes(copy);
    const std::int64_t size = attributes ? attributes->size : 0;
    if (size != newSize) {
        removeQuietly(copy);
        throw ToolError::failed(fmt::format("Hochladen unvollständig ({} von {} Bytes).", size, newSize));
    }
    place.ready = copy;
}

// Throws when another program has changed the source meanwhile: it is then not the file that was converted.
void ConversionJob::requireUnchangedSource(const Workplace &place) const
{
    const auto now = Files::tryAttributes(m_info.url);
    if (!now || !isUnchanged(m_info.url, *now, place.source))
        throw ToolError::failed(std::string(changedSource));
}

ConversionJob::Placed ConversionJob::putInPlace(Workplace &place, std::int64_t newSize) const
{
    takeOver(place);
    if (!place.isNetwork) { // an upload is on the disk already
        Files::sync(place.ready);
        Files::sync(place.target);
    }
    requireUnchangedSource(place);
    if (m_settings.outputMode == OutputMode::replaceOriginal)
        return replaceOriginal(place, newSize);
    const fs::path final = TargetName::claim(place.target, m_info.url, place.source.modified, m_settings);
    Files::moveOver(place.ready, final);
    place.isMoved = true;
    Files::trySync(place.target);
    return {final, {}};
}

// Gives the result its source's time and rights, before it gets its name.
void ConversionJob::takeOver(const Workplace &place)
{
    std::error_code ignored; // a share may not support permissions
    fs::permissions(place.ready, place.permissions, ignored);
    try {
        Files::setModified(place.ready, place.source.modified);
    } catch (const fs::filesystem_error &error) {
        Log::write("Änderungsdatum nicht übernommen: " + ErrorText::describe(error));
    }
}

ConversionJob::Placed ConversionJob::replaceOriginal(Workplace &place, std::int64_t newSize) const
{
    fs::path final = place.target / finalName();
    const bool isTaken = !isSameFile(final, m_info.url) && Files::exists(final);
    if (!place.isNetwork) {
        const auto record = LocalSwap::showBeside({place.ready,
                                                   {m_info.url, place.source},
                                                   isTaken ? fs::path() : final,
                                                   ResultCheck::Expected::of(m_plan)},
                                                  m_settings);
        place.isMoved = true;
        return {LocalSwap::takePlace(record), {}};
    }
    if (isTaken)
        final = TargetName::freeName(place.target, m_info.url, m_settings);
    const auto left = swapOnNetwork(m_info.url, place.source, place.ready, final, newSize);
    place.isMoved = true;
    return {final, left};
}

std::string ConversionJob::finalName() const
{
    return TargetName::nameFor(m_info.url, "", m_settings);
}

bool ConversionJob::isUnchanged(const fs::path &file, const Files::Attributes &now,
                                const Files::Attributes &before)
{
    return now.sameVersion(before) ||
           (now.sameContent(before) && StorageLocation::detect(file.parent_path()).isNetwork());
}

fs::path ConversionJob::outputRoot(const fs::path &root)
{
    return WorkNames::outputFolder(Files::standardized(root));
}

fs::path ConversionJob::targetDirectory(const fs::path &file, const ConversionSettings &settings,
                                        const fs::path &root)
{
    if (settings.outputMode == OutputMode::replaceOriginal)
        return file.parent_path();
    const fs::path relative = Prober::relativePath(file.parent_path(), root);
    return relative.empty() ? outputRoot(root) : outputRoot(root) / relative;
}

fs::path ConversionJob::targetURL(const fs::path &file, const ConversionSettings &settings,
                                  const fs::path &root)
{
    return targetDirectory(file, settings, root) / TargetName::nameFor(file, "", settings);
}

fs::path ConversionJob::temporaryURL(const fs::path &file, const ConversionSettings &settings,
                                     const fs::path &root)
{
    return WorkFile::firstName(targetDirectory(file, settings, root), file.stem().native(),
                               temporarySuffix(settings));
}

fs::path ConversionJob::localWorkRoot()
{
    const fs::path folder = Paths::workFolder();
    std::error_code ignored;
    fs::create_directories(folder, ignored);
    return folder;
}

void ConversionJob::cleanLocalWork()
{
    removeQuietly(Paths::workFolder());
}

void ConversionJob::requireSpace(const fs::path &folder, std::int64_t bytes)
{
    const auto free = Volume::freeBytes(folder);
    if (!free || *free <= 0 || *free > bytes)
        return;
    throw ToolError::failed(fmt::format("Zu wenig freier Speicher auf „{}“ ({} frei, etwa {} nötig).",
                                        Text::shown(folder), ByteFormat::string(*free),
                                        ByteFormat::string(bytes)));
}

void ConversionJob::removeEmptyFolders(const fs::path &from, const fs::path &upTo)
{
    const std::scoped_lock guard(folderLock);
    const std::size_t end = Files::standardized(upTo).native().size();
    for (fs::path folder = Files::standardized(from); folder.native().size() > end;
         folder = folder.parent_path()) {
        if (foldersInUse.contains(folder))
            return;
        std::error_code error;
        const auto content = Files::list(folder, error);
        const auto isClutter = [](const fs::path &path) { return path.filename() == ".DS_Store"; };
        if (error || !std::all_of(content.begin(), content.end(), isClutter))
            return;
        fs::remove(folder / ".DS_Store", error);
        if (!fs::remove(folder, error))
            return;
    }
}

} // namespace kestrel
