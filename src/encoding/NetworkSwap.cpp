#include "encoding/NetworkSwap.h"

#include <fmt/format.h>

#include "encoding/SwapJournal.h"
#include "encoding/WorkFile.h"
#include "media/Tools.h"
#include "platform/ErrorText.h"
#include "platform/Files.h"
#include "platform/Text.h"

namespace kestrel {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view backupSuffix = ".kestrel-original";

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

// The last look before the original goes: somebody else on the share may have got in between.
void requireSize(const fs::path &file, std::int64_t size)
{
    const auto attributes = Files::tryAttributes(file);
    if (!attributes || attributes->size != size)
        throw fs::filesystem_error("size", file, std::make_error_code(std::errc::io_error));
}

void arrive(const fs::path &replacement, const fs::path &final, std::int64_t newSize)
{
    Files::moveToFreeName(replacement, final);
    try {
        requireSize(final, newSize);
        Files::sync(final.parent_path());
    } catch (const fs::filesystem_error &) {
        tryMove(final, replacement);
        throw;
    }
}

// A visible name makes it recognisable in the share's recycle bin.
void disposeOfBackup(const SwapJournal::Entry &entry)
{
    const fs::path &source = entry.original;
    const fs::path visible =
        source.parent_path() / (source.stem().native() + " (Original)" + source.extension().native());
    const bool isVisible = tryMove(entry.backup, visible);
    const bool isGone = tryRemove(isVisible ? visible : entry.backup);
    if (isGone || isVisible)
        SwapJournal::remove(entry);
}

} // namespace

void swapOnNetwork(const fs::path &source, const fs::path &replacement, const fs::path &final,
                   std::int64_t newSize)
{
    const SwapJournal::Entry entry{
        source, WorkFile::firstName(source.parent_path(), source.filename().native(), backupSuffix), final};
    if (!SwapJournal::add(entry, newSize))
        throw ToolError::failed("Der Tausch konnte nicht vermerkt werden – das Original bleibt, wie es ist.");
    tryRemove(entry.backup);

    try {
        Files::moveToFreeName(source, entry.backup);
    } catch (const fs::filesystem_error &error) {
        SwapJournal::remove(entry);
        throw ToolError::failed("Original konnte nicht umbenannt werden: " + ErrorText::reason(error));
    }
    try {
        arrive(replacement, final, newSize);
    } catch (const fs::filesystem_error &error) {
        if (!tryMove(entry.backup, source)) // the entry stays, and the next start puts the original back
            throw ToolError::failed(
                fmt::format("Neue Datei konnte nicht übernommen werden: {}. Das Original liegt noch unter {}",
                            ErrorText::reason(error), Text::repaired(entry.backup.native())));
        SwapJournal::remove(entry);
        throw ToolError::failed(
            "Neue Datei konnte nicht übernommen werden – Original ist wiederhergestellt: " +
            ErrorText::reason(error));
    }
    disposeOfBackup(entry);
}

} // namespace kestrel
