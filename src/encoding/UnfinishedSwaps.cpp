#include "encoding/UnfinishedSwaps.h"

#include <algorithm>
#include <system_error>

#include <fmt/format.h>

#include "encoding/LocalSwap.h"
#include "encoding/ResultCheck.h"
#include "encoding/ResultRecords.h"
#include "media/Log.h"
#include "media/Prober.h"
#include "platform/Cancelled.h"
#include "platform/ErrorText.h"
#include "platform/FileLock.h"
#include "platform/Files.h"
#include "platform/Text.h"
#include "platform/Trash.h"

namespace kestrel::UnfinishedSwaps {

namespace fs = std::filesystem;

using Files::Presence;
using ResultRecords::Record;

namespace {

constexpr std::string_view changed = "eine der Dateien wurde verändert";

enum class State {
    untouched,    // both files are there as they were recorded
    originalGone, // only the result is there, and lacks only its name
    over,         // the swap is finished, or the files are no longer those recorded
    outOfReach,   // the volume is not there, or does not answer
};

State stateOf(const Record &record)
{
    const auto &[id, source, result, final, expected] = record;
    const Presence there = Files::presence(result.path);
    if (there == Presence::absent) {
        const auto folder = Files::tryAttributes(result.path.parent_path());
        const bool isVolumeThere = folder && folder->device == result.attributes.device;
        return isVolumeThere ? State::over : State::outOfReach;
    }
    if (there == Presence::unknown)
        return State::outOfReach;
    if (!result.isThere())
        return State::over;
    switch (Files::presence(source.path)) {
    case Presence::absent:
        return State::originalGone;
    case Presence::unknown:
        return State::outOfReach;
    case Presence::there:
        break;
    }
    return source.isThere() ? State::untouched : State::over;
}

void forget(const Record &record, std::string_view reason)
{
    ResultRecords::remove(record);
    if (Files::exists(record.result.path))
        Log::write(fmt::format("Unterbrochenes Ersetzen bleibt, wie es ist: {} ({})",
                               Text::shown(record.result.path), reason));
}

// Throws ToolError where the result must not take its source's place.
void check(const Record &record, const fs::path &ffprobe, const std::stop_token &stop)
{
    const MediaInfo source = Prober::probe(record.source.path, ffprobe, stop);
    const MediaInfo result = Prober::probe(record.result.path, ffprobe, stop);
    ResultCheck::verify(source, result, record.expected);
    if (!ResultCheck::savesEnough(source.fileSize, result.fileSize, record.expected))
        throw ToolError::failed("es spart zu wenig");
    if (stateOf(record) != State::untouched)
        throw ToolError::failed(std::string(changed));
}

// Finishes the swap and returns where the result is now; absent where the record no longer applies, or cannot
// be followed now. REQUIRES: the caller holds the result's lock, as the job does that makes it.
std::optional<fs::path> complete(const Record &record, const fs::path &ffprobe, const std::stop_token &stop)
{
    switch (stateOf(record)) {
    case State::outOfReach:
        return std::nullopt;
    case State::over:
        forget(record, changed);
        return std::nullopt;
    case State::originalGone:
        return LocalSwap::takeName(record);
    case State::untouched:
        break;
    }
    try {
        check(record, ffprobe, stop);
    } catch (const ToolError &error) {
        forget(record, error.what());
        return std::nullopt;
    }
    return LocalSwap::takePlace(record);
}

// Ignores how the folders above the file are spelled.
bool isSamePlace(const fs::path &a, const fs::path &b)
{
    std::error_code error;
    return a.filename() == b.filename() && fs::equivalent(a.parent_path(), b.parent_path(), error);
}

// Checked first, so that a trash that refuses an original is not tried at every start.
bool isRefusedByTrash(const Record &record)
{
    return stateOf(record) == State::untouched && Trash::obstacle(record.source.path);
}

} // namespace

std::vector<std::string> finish(const fs::path &ffprobe, const std::stop_token &stop)
{
    std::vector<std::string> messages;
    for (const Record &record : ResultRecords::all()) {
        try {
            const auto lock = FileLock::tryTake(record.result.path);
            if (lock.isTaken() || isRefusedByTrash(record))
                continue;
            if (const auto final = complete(record, ffprobe, stop))
                messages.push_back("Ersetzen abgeschlossen: " + Text::shown(*final));
        } catch (const Cancelled &) {
            throw;
        } catch (const std::exception &error) {
            Log::write("Unterbrochenes Ersetzen: " + ErrorText::describe(error));
        }
    }
    for (const auto &message : messages)
        Log::write(message);
    return messages;
}

std::optional<ConversionOutcome> finish(const fs::path &film, const fs::path &ffprobe,
                                        const std::stop_token &stop)
{
    for (const Record &record : ResultRecords::all()) {
        if (!isSamePlace(film, record.source.path) && !isSamePlace(film, record.result.path))
            continue;
        if (Files::presence(record.result.path) == Presence::absent)
            continue; // another process may be about to make it visible
        const auto lock = FileLock::tryTake(record.result.path);
        if (lock.isTaken())
            throw ToolError::failed("Diese Datei wird gerade schon ersetzt.");
        if (const auto final = complete(record, ffprobe, stop))
            return ConversionOutcome{ConversionOutcome::Kind::replaced, record.source.attributes.size,
                                     record.result.attributes.size, final};
    }
    return std::nullopt;
}

std::vector<fs::path> withoutResults(std::vector<fs::path> files)
{
    for (const Record &record : ResultRecords::all()) {
        if (stateOf(record) != State::untouched)
            continue;
        std::erase_if(files, [&](const fs::path &file) { return isSamePlace(file, record.result.path); });
    }
    return files;
}

} // namespace kestrel::UnfinishedSwaps
