#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "media/Tools.h"

// Reports what the located ffmpeg can do, how to get what it lacks, and what measuring does; in German.
namespace kestrel::ToolReport {

struct Capability {
    std::string_view name;
    bool isThere;
    std::string use;
    std::string_view remedy; // how to install it; empty where it is not needed

    bool isMissed() const { return !isThere && !remedy.empty(); }
};

std::vector<Capability> capabilities(const Tools &tools);

std::string_view explanation(Measuring measuring);

} // namespace kestrel::ToolReport
