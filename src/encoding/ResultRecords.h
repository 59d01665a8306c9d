#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "encoding/ResultCheck.h"
#include "platform/Files.h"

// Records the results of local replacements that wait for their place, in a small database. A record is on
// the disk before its result becomes visible, and is removed when the swap is complete. It applies only as
// long as both files are exactly those recorded: a name and a length prove nothing. Safe across threads and
// processes. Nothing here throws; where no record can be kept, an interrupted swap stays as it is.
namespace kestrel::ResultRecords {

struct File {
    std::filesystem::path path;   // absolute
    Files::Attributes attributes; // `changed` is not kept

    bool isThere() const; // whether this very file lies unchanged under this very name
};

struct Record {
    std::int64_t id = 0; // set by add(); 0 where the record could not be kept
    File source, result;
    std::filesystem::path final; // the name that the result is to get; empty: it keeps its own
    ResultCheck::Expected expected;
};

// Stores the record on the disk before it returns. Returns it with its number.
Record add(Record record);
void remove(const Record &record);
// Returns all records, in the order in which they were added.
std::vector<Record> all();

// Returns a path in the application-support folder; each computer has its own, because several may share a
// home folder.
std::filesystem::path file();

} // namespace kestrel::ResultRecords
