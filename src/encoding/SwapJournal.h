#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

// The list of swaps on network shares that have begun and not ended, in a small JSON file; after a
// crash it tells what is to be repaired. Safe across threads and processes. Nothing here throws, and
// failures are ignored: an unreadable journal counts as empty.
namespace kestrel::SwapJournal {

struct Entry {
    std::filesystem::path original; // the file being replaced
    std::filesystem::path backup;   // where it waits during the swap
    std::filesystem::path final;    // where the new file ends up

    bool operator==(const Entry &) const = default;
};

// `newSize` is that of the new file in bytes: a recovery deletes the backup only for a final file of that
// size. On the disk when it returns; false when that failed, and then nothing may be swapped.
bool add(const Entry &entry, std::optional<std::int64_t> newSize = std::nullopt);
// Drops every entry equal to this one.
void remove(const Entry &entry);
// Puts originals back or finishes swaps; entries of a share that is not there are kept. Returns what was
// done, in German; the same lines went to the log.
std::vector<std::string> recover();
// The entries now in the journal.
std::vector<Entry> entries();

// "Film (Original).avi", "Film (Original 2).avi" …: how an original is shown beside the new file.
std::filesystem::path visibleName(const std::filesystem::path &original, int number);

// tauschvorgaenge.json in the application-support folder
std::filesystem::path file();

} // namespace kestrel::SwapJournal
