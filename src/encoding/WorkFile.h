#pragma once

#include <filesystem>
#include <string_view>

#include "platform/FileLock.h"

namespace kestrel {

// Holds the name of a hidden file beside the user's files, "." + base + suffix, as long as the object lives.
// Where another job already works under that name (two sources that differ only in their extension), it
// chooses a numbered one, so that two jobs never write into one file. A base that would make the name too
// long for the file system is shortened between two characters.
class WorkFile {
public:
    enum class Sharing {
        withinProcess, // excludes other jobs of this process; the file itself is not touched
        everywhere,    // excludes other processes too: the file is created empty and locked
    };

    // Throws std::filesystem::filesystem_error when the file cannot be created.
    WorkFile(const std::filesystem::path &folder, std::string_view base, std::string_view suffix,
             Sharing sharing);
    WorkFile(const WorkFile &) = delete;
    WorkFile &operator=(const WorkFile &) = delete;
    ~WorkFile(); // releases the name; deletes nothing

    const std::filesystem::path &path() const { return m_path; }

    // Returns the name that the first job for this base gets.
    static std::filesystem::path firstName(const std::filesystem::path &folder, std::string_view base,
                                           std::string_view suffix);

private:
    std::filesystem::path m_path;
    FileLock m_lock;
};

} // namespace kestrel
