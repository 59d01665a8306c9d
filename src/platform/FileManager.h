#pragma once

#include <filesystem>
#include <functional>

// Hands files over to the desktop. Nothing here waits for an answer; answers come through the main thread's
// event loop. REQUIRES: the main thread.
namespace kestrel::FileManager {

// Called exactly once with whether a program accepted the file: before the call returns, or some seconds
// later. An application that ends meanwhile gets no call.
using OnAnswer = std::function<void(bool isTaken)>;

// Shows the file, selected, in the desktop's file manager; where none answers, opens the folder it is in.
void reveal(const std::filesystem::path &file, const OnAnswer &onAnswer = {});
// Opens a folder, or a file with the program that the desktop has for it.
void open(const std::filesystem::path &path, const OnAnswer &onAnswer = {});

} // namespace kestrel::FileManager
