#pragma once

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "encoding/ConversionJob.h"
#include "media/Prober.h"
#include "planning/Planner.h"
#include "support/Clips.h"
#include "support/Sandbox.h"
#include "support/StandIn.h"

namespace kestrel::test {

// One real film in a folder, and everything that a job for it needs.
class JobTest : public testing::Test {
protected:
    JobTest()
    {
        settings.quality = QualityLevel::small;
        fs::remove_all(home() / ".local");
        fs::remove_all(home() / ".cache");
    }

    // A stand-in for ffmpeg; "$last" is the output file.
    void ffmpeg(const std::string &body)
    {
        tools.ffmpeg = standIn(toolbox, "ffmpeg", "for last; do :; done\n" + body);
    }

    MediaInfo probe(const fs::path &file) const { return Prober::probe(file, tools.ffprobe, {}); }

    ConversionJob jobFor(const MediaInfo &info) const
    {
        return {info,          Planner::plan(info, settings, std::nullopt, Planner::abilities(tools)),
                settings,      tools,
                folder.path(), 0};
    }

    ConversionOutcome convert(const fs::path &file, std::stop_token stop = {})
    {
        return convert(probe(file), std::move(stop));
    }
    ConversionOutcome convert(const MediaInfo &info, std::stop_token stop = {})
    {
        return jobFor(info).run({[](const auto &) {}, [this] { ++uploads; }}, std::move(stop));
    }

    // The German text with which the conversion fails; empty when it does not.
    std::string failure(const MediaInfo &info)
    {
        try {
            convert(info);
            return {};
        } catch (const ToolError &error) {
            return error.what();
        }
    }
    std::string failure(const fs::path &file) { return failure(probe(file)); }

    static fs::path trash() { return home() / ".local/share/Trash/files"; }

    Sandbox folder, toolbox;
    ConversionSettings settings;
    Tools tools = realTools();
    int uploads = 0;
};

using testing::AnyOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

} // namespace kestrel::test
