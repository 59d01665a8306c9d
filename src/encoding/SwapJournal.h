#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

// The list of swaps on network shares that have begun and not ended, in a small JSON file; after a
// crash it says what is to be repaired. Safe across threads and processes. Nothing here throws. While the
// file cannot be read it is left alone, and no swap can begin; text in it that is no entry is moved to
// "tauschvorgaenge (unlesbar).json" beside it.
namespace kestrel::SwapJournal {

struct Entry {
    std::filesystem::path original; // the file being replaced
    std::filesystem::path backup;   // where it waits during the swap
    std::filesystem::path final;    // where the new file ends up

    bool operator==(const Entry &) const = default;
};

// An entry as it stands in the file. The mount point identifies an unmounted share, whose empty mount point
// still exists as a folder, from a share on which the backup is gone.
struct Record {
    Entry entry;
    std::optional<std::filesystem::path> mount;
    std::optional<std::int64_t> newSize; // of the new file, in bytes

    // The backup's folder is there, on its own share.
    bool isShareThere() const;
};

// A recovery deletes the backup only for a final file of `newSize`. On the disk when it returns; false when
// that failed, and then nothing may be swapped.
bool add(const Entry &entry, std::optional<std::int64_t> newSize = std::nullopt);
// Drops every entry equal to this one.
void remove(const Entry &entry);
// Puts originals back or finishes swaps; entries of a share that is not there are kept, and when stopped
// those whose turn takes long. Returns what was done, in German; the same lines went to the log.
std::vector<std::string> recover(const std::stop_token &stop = {});
// What is now in the journal, as far as it can be understood.
std::vector<Record> records();
std::vector<Entry> entries();
// Why the journal cannot be read, in German; absent where it can, or is not there.
std::optional<std::string> problem();

// tauschvorgaenge.json in the application-support folder
std::filesystem::path file();

} // namespace kestrel::SwapJournal
