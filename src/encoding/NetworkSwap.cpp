#include "encoding/NetworkSwap.h"

#include <optional>
#include <string>

#include <fmt/format.h>

#include "encoding/SwapJournal.h"
#include "encoding/WorkFile.h"
#include "media/Log.h"
#include "media/Tools.h"
#include "media/WorkNames.h"
#include "platform/ErrorText.h"
#include "platform/Files.h"
#include "platform/Text.h"

namespace kestrel {

namespace fs = std::filesystem;

namespace {

bool tryMove(const fs::path &from, const fs::path &to)
{
    try {
        Files::moveToFreeName(from, to);
        return true;
    } catch (const fs::filesystem_error &) {
        return false;
    }
}

bool tryRemove(const fs::path &file)
{
    try {
        Files::remove(file);
        return true;
    } catch (const fs::filesystem_error &) {
        return false;
    }
}

// Checks once more before the original is removed: another computer on the share may have changed the file.
void requireSize(const fs::path &file, std::int64_t size)
{
    const auto attributes = Files::tryAttributes(file);
    if (!attributes || attributes->size != size)
        throw fs::filesystem_error("size", file, std::make_error_code(std::errc::io_error));
}

bool hasContent(const fs::path &file, const Files::Attributes &expected)
{
    const auto attributes = Files::tryAttributes(file);
    return attributes && attributes->sameContent(expected);
}

bool isFile(const fs::path &file, const Files::Attributes &expected)
{
    const auto attributes = Files::tryAttributes(file);
    return attributes && attributes->device == expected.device && attributes->inode == expected.inode;
}

void arrive(const fs::path &replacement, const fs::path &final, std::int64_t newSize)
{
    const Files::Attributes fresh = Files::attributes(replacement);
    Files::moveToFreeName(replacement, final);
    try {
        requireSize(final, newSize);
        Files::sync(final.parent_path());
    } catch (const fs::filesystem_error &) {
        // A file that another program put under this name is left there; only our own is moved back.
        if (isFile(final, fresh) || hasContent(final, fresh))
            tryMove(final, replacement);
        throw;
    }
}

// Gives the original a visible name beside the source and returns it; absent when that fails.
std::optional<fs::path> makeVisible(const fs::path &backup, const fs::path &source)
{
    constexpr int most = 99;
    for (int number = 1; number <= most; ++number) {
        const fs::path visible = WorkNames::visibleOriginal(source, number);
        if (Files::presence(visible) == Files::Presence::absent && tryMove(backup, visible))
            return visible;
    }
    return std::nullopt;
}

void clearBackupName(const SwapJournal::Entry &entry)
{
    if (Files::presence(entry.backup) == Files::Presence::absent)
        return;
    if (Files::areNamesOfOneFile(entry.backup, entry.original) && tryRemove(entry.backup))
        return; // the backup was a second name of the source, from an earlier move that was interrupted
    const auto visible = makeVisible(entry.backup, entry.original);
    if (!visible)
        throw ToolError::failed("Von einem früheren Tausch liegt hier noch ein Original unter " +
                                Text::shown(entry.backup) + " – bitte zuerst umbenennen.");
    Log::write("Original eines früheren Tauschs: " + Text::shown(*visible));
}

// Moves the original to the backup's name. Where that fails it is moved back, and the entry stays only while
// something lies under the backup's name, or the share does not say.
void setAside(const SwapJournal::Entry &entry, const Files::Attributes &expected)
{
    const fs::path &source = entry.original;
    std::string reason;
    try {
        Files::moveToFreeName(source, entry.backup);
        if (hasContent(entry.backup, expected))
            return;
        reason = changedSource;
    } catch (const fs::filesystem_error &error) {
        // The share may have renamed it all the same.
        reason = "Original konnte nicht umbenannt werden: " + ErrorText::reason(error);
    }
    tryMove(entry.backup, source);
    if (Files::presence(entry.backup) == Files::Presence::absent)
        SwapJournal::remove(entry);
    throw ToolError::failed(reason);
}

// Deletes the original under a visible name, which makes it recognisable in the share's recycle bin. An
// original that has changed meanwhile stays. Returns a sentence about what was not removed.
std::optional<std::string> disposeOfBackup(const SwapJournal::Entry &entry, const Files::Attributes &expected)
{
    const auto visible = makeVisible(entry.backup, entry.original);
    const fs::path file = visible.value_or(entry.backup);
    std::string reason;
    try {
        if (hasContent(file, expected))
            Files::remove(file);
        else
            reason = "Es wurde inzwischen verändert";
    } catch (const fs::filesystem_error &error) {
        reason = ErrorText::reason(error);
    }
    if (reason.empty() || visible)
        SwapJournal::remove(entry);
    if (reason.empty())
        return std::nullopt;
    const std::string note = fmt::format("Das Original wurde nicht gelöscht ({}). Es belegt weiter Platz: {}",
                                         reason, Text::shown(file));
    Log::write(note);
    return note;
}

} // namespace

std::optional<std::string> swapOnNetwork(const fs::path &source, const Files::Attributes &expected,
                                         const fs::path &replacement, const fs::path &final,
                                         std::int64_t newSize)
{
    const SwapJournal::Entry entry{
        source,
        WorkFile::firstName(source.parent_path(), source.filename().native(), WorkNames::originalSuffix),
        final};
    clearBackupName(entry);
    if (!SwapJournal::add(entry, newSize))
        throw ToolError::failed("Der Tausch konnte nicht vermerkt werden – das Original bleibt, wie es ist.");
    setAside(entry, expected);
    try {
        arrive(replacement, final, newSize);
    } catch (const fs::filesystem_error &error) {
        if (!tryMove(entry.backup, source)) // the entry stays, and the next start puts the original back
            throw ToolError::failed(
                fmt::format("Neue Datei konnte nicht übernommen werden: {}. Das Original liegt noch unter {}",
                            ErrorText::reason(error), Text::shown(entry.backup)));
        SwapJournal::remove(entry);
        throw ToolError::failed(
            "Neue Datei konnte nicht übernommen werden – Original ist wiederhergestellt: " +
            ErrorText::reason(error));
    }
    return disposeOfBackup(entry, expected);
}

} // namespace kestrel
