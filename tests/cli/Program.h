#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "media/ProcessRunner.h"
#include "support/Sandbox.h"

namespace kestrel::test {

using Json = nlohmann::ordered_json;

// Runs the built program to its end.
inline ProcessOutput kestrel(const std::vector<std::string> &arguments)
{
    return ProcessRunner::run(KESTREL_PROGRAM, arguments, {});
}

inline std::vector<Json> lines(const std::string &text)
{
    std::vector<Json> result;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = text.find('\n', start);
        result.push_back(Json::parse(text.substr(start, end - start)));
        start = end + 1;
    }
    return result;
}

inline std::vector<std::string> keys(const Json &object)
{
    std::vector<std::string> result;
    for (const auto &[key, value] : object.items())
        result.push_back(key);
    return result;
}

} // namespace kestrel::test
