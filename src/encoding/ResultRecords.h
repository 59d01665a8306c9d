#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "encoding/ResultCheck.h"
#include "platform/Files.h"

// The results of local replacements that wait for their place, in a small database. A record is on the disk
// before its result becomes visible, and is removed when the swap is complete. It speaks of two files only as
// long as both are exactly those: a name and a length prove nothing. Safe across threads and processes.
// Nothing here throws; where no record can be kept, a swap that is cut off stays as it is.
namespace kestrel::ResultRecords {

struct File {
    std::filesystem::path path;   // absolute
    Files::Attributes attributes; // `changed` is not kept

    bool isThere() const; // this very file, unchanged, under this very name
};

struct Record {
    std::int64_t id = 0; // given by add(); 0 where the record could not be kept
    File source, result;
    std::filesystem::path final; // the name that the result is to get; empty: the one it has
    ResultCheck::Expected expected;
};

// On the disk when it returns. Returns the record with its number.
Record add(Record record);
void remove(const Record &record);
// All records, in the order in which they were made.
std::vector<Record> all();

// In the application-support folder; one for each computer, because several may share a home folder.
std::filesystem::path file();

} // namespace kestrel::ResultRecords
