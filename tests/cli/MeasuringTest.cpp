// How the program measures the quality, and what it asks its tools, from outside.

#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/Program.h"
#include "media/ToolAnswers.h"
#include "model/UserDefaults.h"
#include "support/Clips.h"

namespace kestrel::test {
namespace {

using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

TEST(Measuring, measuresAndSaysWhatItChose)
{
    const Sandbox sandbox;
    for (const char *name : {"a.mkv", "b.mkv", "c.mkv"})
        sandbox.put(Clips::film(), name);
    const auto output = kestrel({"measure", sandbox.path(), "--json", "--count", "1"});
    EXPECT_EQ(output.status, 0);
    const auto results = lines(output.standardOutput);
    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(results[0]["relativePath"], "b.mkv") << "taken from the middle";
    EXPECT_THAT(keys(results[0]),
                ElementsAre("relativePath", "videoBitrate", "vmafMean", "vmafWorst", "megapixelsPerSecond",
                            "measuredSeconds", "heuristicBitrate", "qualityValue", "vmafTarget", "steps"));
    EXPECT_THAT(keys(results[0]["steps"][0]),
                ElementsAre("value", "bitrate", "vmaf", "vmafWorst", "megapixelsPerSecond", "seconds"));
    EXPECT_THAT(names(sandbox.path()), ElementsAre("a.mkv", "b.mkv", "c.mkv"));
}

TEST(Measuring, whereNothingMeasuresThereIsNoSearch)
{
    const Sandbox sandbox;
    sandbox.put(Clips::film(), "a.mkv");
    const auto measure = kestrel({"measure", sandbox.path(), "--json", "--measure", "--no-measure"});
    EXPECT_THAT(
        measure.standardError,
        HasSubstr("Das Messen der Qualität ist abgeschaltet: gemessen werden nur Größe und Tempo bei der "
                  "voreingestellten Qualität.\n"));
    const auto results = lines(measure.standardOutput);
    ASSERT_EQ(results.size(), 1U);
    EXPECT_TRUE(results[0]["vmafTarget"].is_null() && results[0]["vmafMean"].is_null());
    EXPECT_EQ(results[0]["qualityValue"], 23);

    const auto convert = kestrel({"convert", sandbox.path(), "--quality", "small"});
    EXPECT_THAT(convert.standardOutput, HasSubstr("a.mkv: Probekodierung\na.mkv: wird konvertiert\n"));
    EXPECT_THAT(convert.standardOutput, Not(HasSubstr("Qualitätssuche")));
    EXPECT_THAT(readFile(home() / "Library/Logs/Kestrel/Kestrel.log"),
                HasSubstr("Qualitätssuche a.mkv: CRF 28, "));

    EXPECT_THAT(kestrel({"doctor"}).standardOutput,
                ContainsRegex("Qualität messen +abgeschaltet  – jede Datei bekommt den festen CRF-Wert"));
    UserDefaults::standard().setMeasuresQuality(true);
    EXPECT_THAT(
        kestrel({"doctor"}).standardOutput,
        ContainsRegex("Qualität messen +(Eigene Messung|libvmaf von ffmpeg)  – sucht für jede Datei"));
    UserDefaults::standard().setMeasuresQuality(false);
}

TEST(Measuring, showsWhatTheSearchHasFound)
{
    const Sandbox sandbox;
    sandbox.put(Clips::film(), "a.mkv");
    const auto convert = kestrel({"convert", sandbox.path(), "--measure"});
    EXPECT_THAT(
        convert.standardOutput,
        ContainsRegex(
            "a.mkv: Qualitätssuche\na.mkv: wird konvertiert mit CRF [0-9]+ [(]VMAF 9[0-9],[0-9][)]\n"));
}

TEST(Measuring, aStartDoesNotAskToolsThatAreKnown)
{
    const Sandbox sandbox;
    sandbox.put(Clips::film(), "a.mkv");
    const auto canEncode = [&] {
        return kestrel({"plan", sandbox.path(), "--codec", "hevcX265"}).status == 0;
    };
    const fs::path file = ToolAnswers::usualFile();
    fs::remove(file);
    EXPECT_TRUE(canEncode());
    std::string answers = readFile(file);
    EXPECT_THAT(answers, HasSubstr("ffprobe version"));
    const std::string encoder = "libx265";
    for (auto at = answers.find(encoder); at != std::string::npos; at = answers.find(encoder))
        answers.replace(at, encoder.size(), "nothing");
    std::ofstream(file) << answers;
    EXPECT_FALSE(canEncode()) << "what is known is believed";
    EXPECT_THAT(kestrel({"doctor"}).standardOutput, ContainsRegex("libx265 +ja"));
    EXPECT_TRUE(canEncode()) << "the doctor has asked";
    std::ofstream(file) << answers.substr(0, answers.size() / 2);
    EXPECT_TRUE(canEncode()) << "damaged";
}

} // namespace
} // namespace kestrel::test
