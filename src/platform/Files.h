#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>
#include <system_error>
#include <vector>

#include <time.h>

// Provides file operations beyond the standard library: durable, and never over another program's file. Those
// that fail throw std::filesystem::filesystem_error with the system's reason.
namespace kestrel::Files {

struct Attributes {
    std::int64_t size = 0; // bytes
    timespec modified{};
    timespec changed{}; // the last change of content, name or rights; cannot be set back
    std::uint64_t device = 0, inode = 0;
    bool isRegular = false;

    // Returns whether it is the same file with the same content, as far as the file system reports.
    bool sameVersion(const Attributes &other) const;
    // Returns whether the content is the same wherever it lies now; some shares renumber a file on a rename.
    bool sameContent(const Attributes &other) const;
    // Returns true when it was not changed within the last seconds, so that its next change will show in its
    // times.
    bool isSettled() const;
};

std::int64_t nanoseconds(const timespec &time);

// Follow symbolic links; attributes() throws where nothing exists.
Attributes attributes(const std::filesystem::path &file);
std::optional<Attributes> tryAttributes(const std::filesystem::path &file);

// `there` means that something exists, be it a broken symbolic link; `unknown` that the system cannot say.
enum class Presence { there, absent, unknown };
Presence presence(const std::filesystem::path &path);
bool exists(const std::filesystem::path &path); // whether it certainly exists

// Returns whether this user may change what is there, as far as its rights and its file system say.
bool isWritable(const std::filesystem::path &path);
void requireWritable(const std::filesystem::path &path);
// Returns whether this user may run it: a regular file with the right to be run.
bool isProgram(const std::filesystem::path &file);

// Returns what lies directly in a folder, in no order; after an error, what could be read before it.
std::vector<std::filesystem::path> list(const std::filesystem::path &folder, std::error_code &error);

// Returns when the file's content, or the folder's list of names, is on the disk. Network file systems report
// failed writes here. Where a file system does not support the request, it counts as done.
void sync(const std::filesystem::path &fileOrFolder);

// Calls sync() where a failure changes nothing any more; returns whether it succeeded.
bool trySync(const std::filesystem::path &fileOrFolder);

// Copies the content into a file that is created or replaced, and returns when it is on the disk. Throws
// Cancelled after a stop request; what was written so far stays.
void copy(const std::filesystem::path &from, const std::filesystem::path &to, std::stop_token stop);

// Returns whether they are two names of one file, not a link to it. Returns false also where the file system
// does not report it.
bool areNamesOfOneFile(const std::filesystem::path &a, const std::filesystem::path &b);
// Compares every byte. Throws Cancelled after a stop request.
bool haveSameBytes(const std::filesystem::path &a, const std::filesystem::path &b, std::stop_token stop);

// Renames within one file system; fails with "file exists" rather than replace anything. On a network file
// system a kill midway may leave the file under both names; another call then completes the move.
void moveToFreeName(const std::filesystem::path &from, const std::filesystem::path &to);
// Renames within one file system; replaces a file at the target.
void moveOver(const std::filesystem::path &from, const std::filesystem::path &to);
void remove(const std::filesystem::path &file);

// Writes a small file so that after a crash it is either the old or the new one.
void writeAtomically(const std::filesystem::path &file, std::string_view content);
std::string readAll(const std::filesystem::path &file);

void setModified(const std::filesystem::path &file, const timespec &modified);

// Returns the longest file name in bytes that the file system accepts in this folder; 255 where it does not
// say.
std::size_t longestName(const std::filesystem::path &folder);

// Returns the same location in normal form: absolute, without "." and "..", no trailing slash.
std::filesystem::path standardized(const std::filesystem::path &path);

} // namespace kestrel::Files
