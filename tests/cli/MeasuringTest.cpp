// How the program measures the quality, and what it asks its tools, from outside.

#include <fstream>
#include <regex>

#include "cli/Program.h"
#include "media/ToolAnswers.h"
#include "model/UserDefaults.h"

namespace kestrel::test {

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
    EXPECT_EQ(keys(results[0]), "relativePath videoBitrate vmafMean vmafWorst megapixelsPerSecond "
                                "measuredSeconds heuristicBitrate qualityValue vmafTarget steps");
    EXPECT_EQ(keys(results[0]["steps"][0]), "value bitrate vmaf vmafWorst megapixelsPerSecond seconds");
    EXPECT_THAT(names(sandbox.path()), ElementsAre("a.mkv", "b.mkv", "c.mkv"));
}

TEST(Measuring, whereNothingMeasuresThereIsNoSearch)
{
    const Sandbox sandbox;
    sandbox.put(Clips::film(), "a.mkv");
    const auto measure = kestrel({"measure", sandbox.path(), "--json", "--measure", "--no-measure"});
    EXPECT_THAT(measure.standardError, HasSubstr("Das Messen der Qualität ist abgeschaltet: gemessen werden "
                                                 "nur Größe und Tempo bei der voreingestellten Qualität.\n"));
    const auto results = lines(measure.standardOutput);
    ASSERT_EQ(results.size(), 1U);
    EXPECT_TRUE(results[0]["vmafTarget"].is_null() && results[0]["vmafMean"].is_null());
    EXPECT_EQ(results[0]["qualityValue"], 23);

    const auto convert = kestrel({"convert", sandbox.path(), "--quality", "small"});
    EXPECT_THAT(convert.standardOutput, HasSubstr("a.mkv: Probekodierung\na.mkv: wird konvertiert\n"));
    EXPECT_THAT(convert.standardOutput, Not(HasSubstr("Qualitätssuche")));
    EXPECT_THAT(convert.standardOutput, ContainsRegex("\nFertig: 1 konvertiert – [^\n]+\n[0-9]+ [KM]B → "));
    EXPECT_THAT(readFile(home() / "Library/Logs/Kestrel/Kestrel.log"),
                HasSubstr("Qualitätssuche a.mkv: CRF 28, "));

    EXPECT_THAT(said({"doctor"}),
                ContainsRegex("Qualität messen +abgeschaltet  – jede Datei bekommt den festen CRF-Wert"));
    UserDefaults::standard().setMeasuresQuality(true);
    EXPECT_THAT(
        said({"doctor"}),
        ContainsRegex("Qualität messen +(Eigene Messung|libvmaf von ffmpeg)  – sucht für jede Datei"));
    sandbox.put(Clips::film(), "a.mkv");
    EXPECT_THAT(said({"convert", sandbox.path()}),
                ContainsRegex("a.mkv: Qualitätssuche\na.mkv: wird konvertiert mit CRF [0-9]+ [(]VMAF "
                              "9[0-9],[0-9][)]\n"));
    UserDefaults::standard().setMeasuresQuality(false);
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
    const std::string answers = readFile(file);
    EXPECT_THAT(answers, HasSubstr("ffprobe version"));
    std::ofstream(file) << std::regex_replace(answers, std::regex("libx265"), "nothing");
    EXPECT_FALSE(canEncode()) << "what is known is believed";
    EXPECT_THAT(said({"doctor"}), ContainsRegex("libx265 +ja"));
    EXPECT_TRUE(canEncode()) << "the doctor has asked";
    std::ofstream(file) << answers.substr(0, answers.size() / 2);
    EXPECT_TRUE(canEncode()) << "damaged";
}

} // namespace kestrel::test
