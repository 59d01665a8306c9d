#pragma once

#include <filesystem>

#include "planning/ConversionSettings.h"

// Puts a finished file in the place of an original on a local volume, so that at every moment both films
// have a name that a person finds: the new one becomes visible beside the original, the original goes to
// the trash, and only then the new one takes its name.
namespace kestrel::LocalSwap {

// Gives the finished file a " (Kestrel)" name in its folder that nobody else has, and returns it. Throws
// std::filesystem::filesystem_error.
std::filesystem::path showBeside(const std::filesystem::path &finished, const std::filesystem::path &source,
                                 const ConversionSettings &settings);

// Puts the original into the trash, and the visible file under its final name; an empty one leaves it where
// it is, and so does a name that somebody has taken meanwhile. Returns where the file is now. Throws
// ToolError with both files in their places where the trash does not take the original.
std::filesystem::path takePlace(const std::filesystem::path &visible, const std::filesystem::path &source,
                                const std::filesystem::path &final);

} // namespace kestrel::LocalSwap
