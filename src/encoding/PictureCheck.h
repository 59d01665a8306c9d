#pragma once

#include <optional>
#include <string>

#include "media/MediaInfo.h"
#include "planning/Plan.h"

// Compares a result with its source as a viewer sees them. Pure.
namespace kestrel::PictureCheck {

// How the result's picture differs from its source's in turn or shape; German, absent where it does not. The
// shape may differ by 1 %, or by two pixels a side.
std::optional<std::string> fault(const MediaInfo &source, const Plan &plan, const MediaInfo &result);

} // namespace kestrel::PictureCheck
