#pragma once

#include <filesystem>

#include "encoding/ResultRecords.h"
#include "planning/ConversionSettings.h"

// Puts a finished file in the place of an original on a local volume, so that at every moment both films
// have a name that a person finds: the new one becomes visible beside the original, the original goes to
// the trash, and only then the new one takes its name. A record kept from the first step to the last lets a
// later run finish what a kill cuts off.
namespace kestrel::LocalSwap {

// What is to take which place.
struct Swap {
    std::filesystem::path finished;
    ResultRecords::File source;
    std::filesystem::path final; // empty: the visible name stays
    ResultCheck::Expected expected;
};

// Gives the finished file a marked name in its folder that no other file has. Throws
// std::filesystem::filesystem_error.
ResultRecords::Record showBeside(const Swap &swap, const ConversionSettings &settings);

// Puts the original into the trash, and the visible file under its final name, unless another file has it
// by then. Returns where the file is now. Throws ToolError with both files in their places, and the
// record kept, where the trash does not take the original.
std::filesystem::path takePlace(const ResultRecords::Record &record);

// The last step of takePlace(), for an original that is in the trash already.
std::filesystem::path takeName(const ResultRecords::Record &record);

} // namespace kestrel::LocalSwap
