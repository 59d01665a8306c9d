#pragma once

#include <filesystem>
#include <string_view>

#include "planning/ConversionSettings.h"
#include "platform/Files.h"

#include <time.h>

// Chooses the names of finished files.
namespace kestrel::TargetName {

// Returns the source's name with the container's extension; `mark` stands between the two.
std::string nameFor(const std::filesystem::path &source, std::string_view mark,
                    const ConversionSettings &settings);

// Returns the marked name in this folder, numbered where that is taken too, and shortened where it would be
// too long for the file system.
std::filesystem::path freeName(const std::filesystem::path &folder, const std::filesystem::path &source,
                               const ConversionSettings &settings);

// Returns whether the file has this time of modification, as precisely as its file system counts.
bool carriesTime(const Files::Attributes &file, const timespec &modified);

// Returns the target of a source in an output folder that other sources write to as well: "Film.mkv", but the
// marked name where another source of this process has that name already (two sources that differ only in
// their extension), or where a file lies there that does not carry this source's time of modification: the
// result of another film, whose source may no longer exist. May be called from any thread.
std::filesystem::path claim(const std::filesystem::path &folder, const std::filesystem::path &source,
                            const timespec &modified, const ConversionSettings &settings);

} // namespace kestrel::TargetName
