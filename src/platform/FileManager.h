#pragma once

#include <filesystem>
#include <functional>

// Passes files to the desktop. Nothing here waits for a reply; replies come through the main thread's event
// loop. REQUIRES: the main thread.
namespace kestrel::FileManager {

// Called exactly once with whether a program accepted the file: before the call returns, or some seconds
// later. It is not called when the application ends meanwhile.
using OnAnswer = std::function<void(bool isTaken)>;

// Shows the file, selected, in the desktop's file manager; where none replies, opens the folder that holds
// it.
void reveal(const std::filesystem::path &file, const OnAnswer &onAnswer = {});
// Opens a folder, or a file with the desktop's program for it.
void open(const std::filesystem::path &path, const OnAnswer &onAnswer = {});

} // namespace kestrel::FileManager
