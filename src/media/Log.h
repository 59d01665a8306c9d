#pragma once

#include <filesystem>
#include <string_view>

// Writes the application's one log file, a diagnostic aid: writing never blocks and never fails visibly. Safe
// from any thread, also while the process ends; what was written before main() returns reaches the disk.
namespace kestrel::Log {

// Appends "[2026-03-07T18:04:55Z] message\n". The time is that of the call.
void write(std::string_view message);

// Blocks until every line written so far is in the file.
void flush();

// Returns ~/Library/Logs/Kestrel/Kestrel.log; the first call creates its folder.
const std::filesystem::path &file();

} // namespace kestrel::Log
