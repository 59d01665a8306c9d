#pragma once

#include <filesystem>

// The desktop's trash (freedesktop.org Trash specification 1.0). Written here rather than taken from a
// toolkit, because names that are no valid UTF-8 must survive and the reason of a failure must be told.
namespace kestrel::Trash {

// Moves the file to the trash and returns where it lies now. Only ever renames, never copies and never
// deletes: first to the user's own trash, then to the one at the root of the file's volume. Throws
// std::filesystem::filesystem_error when neither can take it; the file is then where it was.
std::filesystem::path put(const std::filesystem::path &file);

} // namespace kestrel::Trash
