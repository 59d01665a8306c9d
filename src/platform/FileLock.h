#pragma once

#include <filesystem>

#include "platform/FileDescriptor.h"

namespace kestrel {

// Holds the lock of a file or folder (flock), as long as the object lives, against other processes and other
// objects of this one. Where a file system supports no locks, nothing is held and nothing counts as taken:
// the work then continues without one.
class FileLock {
public:
    FileLock() = default; // locks nothing

    // Neither waits nor throws; holds nothing where the path cannot be opened.
    static FileLock tryTake(const std::filesystem::path &path);
    // Waits until no other object holds it; never throws.
    static FileLock take(const std::filesystem::path &path);
    // Creates the file, empty, where it does not exist; does not wait. The lock is that of the file which has
    // the name afterwards. Throws std::filesystem::filesystem_error.
    static FileLock tryCreate(const std::filesystem::path &file);
    // Like tryTake(), for an open file.
    explicit FileLock(FileDescriptor file);

    bool isHeld() const { return m_state == State::held; }
    // Returns whether another object, of this process or another one, holds it.
    bool isTaken() const { return m_state == State::taken; }

    const FileDescriptor &file() const { return m_file; }

private:
    enum class State { none, held, taken };

    FileDescriptor m_file;
    State m_state = State::none;
};

} // namespace kestrel
