#pragma once

#include <filesystem>

#include "platform/FileDescriptor.h"

namespace kestrel {

// The lock of a file or folder (flock), which other processes respect, and other objects of this one. It is
// held as long as the object lives. Where a file system knows no locks, nothing is held and nothing is found
// taken: the work then continues without one.
class FileLock {
public:
    FileLock() = default; // of nothing

    // Neither waits nor throws; holds nothing where the path cannot be opened.
    static FileLock tryTake(const std::filesystem::path &path);
    // Waits until no other object holds it; never throws.
    static FileLock take(const std::filesystem::path &path);
    // Makes the file, empty, where it is not there; does not wait. The lock is that of the file which has the
    // name afterwards. Throws std::filesystem::filesystem_error.
    static FileLock tryCreate(const std::filesystem::path &file);
    // Like tryTake(), of an open file.
    explicit FileLock(FileDescriptor file);

    bool isHeld() const { return m_state == State::held; }
    // Another object, of this process or of another one, holds it.
    bool isTaken() const { return m_state == State::taken; }

    const FileDescriptor &file() const { return m_file; }

private:
    enum class State { none, held, taken };

    FileDescriptor m_file;
    State m_state = State::none;
};

} // namespace kestrel
