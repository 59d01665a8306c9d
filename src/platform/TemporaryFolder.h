#pragma once

#include <filesystem>

#include "platform/FileLock.h"

namespace kestrel {

// Creates a folder of its own in the system's temporary folder, and removes it with its content at the end. A
// lock distinguishes it from those that a killed process left behind.
class TemporaryFolder {
public:
    // Throws std::filesystem::filesystem_error.
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    const std::filesystem::path &path() const { return m_path; }

    // Removes those in which no process works any more.
    static void removeAbandoned();

private:
    std::filesystem::path m_path;
    FileLock m_lock;
};

} // namespace kestrel
