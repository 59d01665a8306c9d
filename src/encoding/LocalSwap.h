#pragma once

#include <filesystem>

#include "encoding/ResultRecords.h"
#include "planning/ConversionSettings.h"

// Puts a finished file in the place of an original on a local volume, so that at every moment both films have
// a name that a person finds: the new one becomes visible beside the original, the original is moved to the
// trash, and only then the new one gets its name. A record that is kept from the first step to the last lets
// a later run finish an interrupted swap.
namespace kestrel::LocalSwap {

// Describes a swap: the finished file, its source and the path that it is to get.
struct Swap {
    std::filesystem::path finished;
    ResultRecords::File source;
    std::filesystem::path final; // empty: the visible name stays
    ResultCheck::Expected expected;
};

// Gives the finished file a marked name in its folder that no other file has. Throws
// std::filesystem::filesystem_error.
ResultRecords::Record showBeside(const Swap &swap, const ConversionSettings &settings);

// Moves the original to the trash and the visible file to its final name, unless another file has that by
// then. Returns where the file is now. Throws ToolError when the trash refuses the original; both files and
// the record then stay.
std::filesystem::path takePlace(const ResultRecords::Record &record);

// Does the last step of takePlace(), for an original that is in the trash already.
std::filesystem::path takeName(const ResultRecords::Record &record);

} // namespace kestrel::LocalSwap
