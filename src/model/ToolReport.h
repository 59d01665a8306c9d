#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "media/Tools.h"

// What the located ffmpeg is able to do, and how to get what it lacks; in German.
namespace kestrel::ToolReport {

struct Capability {
    std::string_view name;
    bool isThere;
    std::string use;
    std::string_view remedy; // where it is missing
};

std::vector<Capability> capabilities(const Tools &tools);

} // namespace kestrel::ToolReport
