#pragma once

#include <functional>
#include <map>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "encoding/FileConversion.h"
#include "media/Prober.h"
#include "planning/Planner.h"
#include "support/Clips.h"
#include "support/Sandbox.h"
#include "support/StandIn.h"

namespace kestrel::test {

using testing::AnyOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// The German text with which an action fails; empty when it does not.
inline std::string failureOf(const std::function<void()> &action)
{
    try {
        action();
        return {};
    } catch (const ToolError &error) {
        return error.what();
    }
}

// The files in a folder with what is in them; for small ones.
using Contents = std::map<std::string, std::string>;
inline Contents contents(const fs::path &folder)
{
    Contents found;
    for (const auto &name : names(folder))
        found[name] = readFile(folder / name);
    return found;
}

// For who wants no reports.
inline const FileConversion::Callbacks silent{[](double) {}, [](const auto &) {}, [](double, double) {},
                                              [] {}};

// One real film in a folder, and everything that a job for it needs.
class JobTest : public testing::Test {
protected:
    JobTest()
    {
        settings.quality = QualityLevel::small;
        fs::remove_all(home() / ".local");
        fs::remove_all(home() / ".cache");
    }
    ~JobTest() override { fs::remove_all(beside); }

    fs::path put(const std::string &name) const { return folder.put(Clips::film(), name); }
    // A clip that ffmpeg makes with these arguments.
    fs::path put(const std::string &name, const std::string &arguments) const
    {
        return folder.put(Clips::make(name, arguments), name);
    }
    void emptyFolder() const
    {
        for (const auto &name : names(folder.path()))
            fs::remove_all(folder / name);
    }
    // What an encoder might make of the film.
    static fs::path result()
    {
        return Clips::make("hevc.mkv",
                           "-f lavfi -i testsrc2=s=320x240:r=25:d=2 -f lavfi -i sine=d=2 "
                           "-c:v libx265 -preset ultrafast -x265-params log-level=error -c:a ac3");
    }

    // A stand-in for ffmpeg; "$last" is the output file.
    void ffmpeg(const std::string &body)
    {
        tools.ffmpeg = standIn(toolbox, "ffmpeg", "for last; do :; done\n" + body);
    }
    // One that copies this file instead of encoding, and goes on like that.
    void ffmpegMakes(const fs::path &made, const std::string &more = "")
    {
        ffmpeg("cp " + quoted(made) + " \"$last\"\n" + more);
    }

    MediaInfo probe(const fs::path &file) const { return Prober::probe(file, tools.ffprobe, {}); }

    ConversionOutcome convert(const fs::path &file) { return convert(probe(file)); }
    ConversionOutcome convert(const MediaInfo &info, std::stop_token stop = {})
    {
        const Plan plan = Planner::plan(info, settings, std::nullopt, Planner::abilities(tools));
        return ConversionJob(info, plan, settings, tools, folder.path(), 0)
            .run({[](const auto &) {}, [this] { ++uploads; }}, std::move(stop));
    }
    std::string failure(const MediaInfo &info)
    {
        return failureOf([&] { convert(info); });
    }
    std::string failure(const fs::path &file) { return failure(probe(file)); }

    static fs::path trash() { return home() / ".local/share/Trash/files"; }

    Sandbox folder, toolbox;
    const fs::path beside = ConversionJob::outputRoot(folder.path()); // the separate output folder
    ConversionSettings settings;
    Tools tools = realTools();
    int uploads = 0;
};

} // namespace kestrel::test
