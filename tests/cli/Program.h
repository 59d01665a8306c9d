#pragma once

#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "media/ProcessRunner.h"
#include "support/Clips.h"
#include "support/Sandbox.h"

namespace kestrel::test {

using Json = nlohmann::ordered_json;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using Words = std::vector<std::string>;

// Runs the built program to its end.
inline ProcessOutput kestrel(Words words, const Words &more = {})
{
    words.insert(words.end(), more.begin(), more.end());
    return ProcessRunner::run(KESTREL_PROGRAM, words, {});
}

// What it prints to its standard output.
inline std::string said(const Words &words, const Words &more = {})
{
    return kestrel(words, more).standardOutput;
}

// It ends with status 2, says this, and does nothing else.
inline void expectRefused(const Words &words, const testing::Matcher<std::string> &sentence)
{
    const auto output = kestrel(words);
    EXPECT_EQ(output.status, 2) << output.standardError;
    EXPECT_THAT(output.standardError, sentence);
    EXPECT_EQ(output.standardOutput, "");
}

// What it prints, where that is one object, and where it is one a line.
inline Json object(const Words &words, const Words &more = {})
{
    return Json::parse(said(words, more));
}

inline std::vector<Json> lines(const std::string &text)
{
    std::vector<Json> result;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        result.push_back(Json::parse(line));
    return result;
}

// The names of an object's members, with blanks between them.
inline std::string keys(const Json &object)
{
    std::string result;
    for (const auto &[key, value] : object.items())
        result += (result.empty() ? "" : " ") + key;
    return result;
}

} // namespace kestrel::test
