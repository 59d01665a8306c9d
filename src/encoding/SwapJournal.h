#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

// Lists the swaps on network shares that have begun and not ended, in a small JSON file that serves their
// repair after a crash. Safe across threads and processes. Nothing here throws. While the file cannot be read
// it is not changed, and no swap can begin; text in it that is no entry is moved to "tauschvorgaenge
// (unlesbar).json" beside it.
namespace kestrel::SwapJournal {

struct Entry {
    std::filesystem::path original; // the file being replaced
    std::filesystem::path backup;   // its path during the swap
    std::filesystem::path final;    // the new file's path at the end

    bool operator==(const Entry &) const = default;
};

// Holds an entry as the file stores it. The mount point distinguishes an unmounted share, whose empty mount
// point still exists as a folder, from a share that no longer has the backup.
struct Record {
    Entry entry;
    std::optional<std::filesystem::path> mount;
    std::optional<std::int64_t> newSize; // of the new file, in bytes

    // Returns whether the backup's folder is there, on its own share.
    bool isShareThere() const;
};

// Adds an entry, on the disk before it returns; returns false when that failed, and then nothing may be
// swapped. A recovery deletes the backup only for a final file of `newSize`.
bool add(const Entry &entry, std::optional<std::int64_t> newSize = std::nullopt);
// Removes every entry equal to this one.
void remove(const Entry &entry);
// Puts originals back or finishes swaps; entries of a share that is not there are kept, and after a stop
// request those that take long. Returns what was done, in German; the same lines are written to the log.
std::vector<std::string> recover(const std::stop_token &stop = {});
// Return what is now in the journal, as far as it can be understood.
std::vector<Record> records();
std::vector<Entry> entries();
// Returns why the journal cannot be read, in German; absent where it can, or does not exist.
std::optional<std::string> problem();

// Returns tauschvorgaenge.json in the application-support folder.
std::filesystem::path file();

} // namespace kestrel::SwapJournal
