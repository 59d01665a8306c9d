#include "planning/ConversionSettings.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace kestrel {

namespace {

using nlohmann::json;

std::optional<ConversionSettings> read(const char *text)
{
    return ConversionSettings::fromJson(json::parse(text));
}

ConversionSettings everythingElse()
{
    ConversionSettings settings;
    settings.codec = VideoCodecChoice::av1SVT;
    settings.quality = QualityLevel::small;
    settings.resolution = TargetResolution::p720;
    settings.audioLanguages = {"eng", "fra"};
    settings.dropCommentary = false;
    settings.unknownAudio = UnknownAudioPolicy::keepDefault;
    settings.convertLosslessAudio = true;
    settings.container = OutputContainer::mp4;
    settings.outputMode = OutputMode::separateFolder;
    settings.parallelJobs = -9'000'000'000;
    settings.preventSleep = false;
    settings.statusPage = false;
    return settings;
}

} // namespace

TEST(ConversionSettings, areWrittenUnderTheirNames)
{
    EXPECT_EQ(everythingElse().toJson().dump(),
              R"({"codec":"av1SVT","quality":4,"resolution":"p720","audioLanguages":["eng","fra"],)"
              R"("dropCommentary":false,"unknownAudio":"keepDefault","convertLosslessAudio":true,)"
              R"("container":"mp4","outputMode":"separateFolder","parallelJobs":-9000000000,)"
              R"("preventSleep":false,"statusPage":false})");
}

TEST(ConversionSettings, readWhatTheyWrote)
{
    for (const auto &settings : {ConversionSettings(), everythingElse()})
        EXPECT_EQ(ConversionSettings::fromJson(settings.toJson()), settings);
}

TEST(ConversionSettings, forgiveEveryFieldByItself)
{
    EXPECT_EQ(read("{}"), ConversionSettings());
    EXPECT_EQ(read("[]"), std::nullopt);
    EXPECT_EQ(read(R"({"codec": 1, "quality": "high", "resolution": "p480", "audioLanguages": "deu",
                       "dropCommentary": 0, "unknownAudio": null, "convertLosslessAudio": "true", "container": [],
                       "outputMode": {}, "parallelJobs": 9223372036854775808, "preventSleep": 1, "statusPage": "nein",
                       "unknown": 7})"),
              ConversionSettings());
    EXPECT_EQ(read(R"({"audioLanguages": ["deu", 5]})"), ConversionSettings());

    ConversionSettings av1;
    av1.codec = VideoCodecChoice::av1SVT;
    for (const char *quality : {"7", "5", "-1", "18446744073709551615", "2.5", "null"})
        EXPECT_EQ(read((R"({"codec": "av1SVT", "quality": )" + std::string(quality) + "}").c_str()), av1)
            << quality;

    ConversionSettings noLanguages;
    noLanguages.audioLanguages.clear();
    EXPECT_EQ(read(R"({"audioLanguages": []})"), noLanguages);
}

TEST(ConversionSettings, nameWhatShapesTheVideo)
{
    ConversionSettings settings;
    EXPECT_EQ(settings.videoKey(), "hevcX265-2-1-original");
    settings.container = OutputContainer::mp4;
    settings.audioLanguages.clear();
    settings.convertLosslessAudio = true;
    settings.parallelJobs = 4;
    EXPECT_EQ(settings.videoKey(), "hevcX265-2-1-original");
    EXPECT_EQ(everythingElse().videoKey(), "av1SVT-4-1-p720");
}

TEST(ConversionSettings, gainNothingFromMoreThanFourJobs)
{
    using enum VideoCodecChoice;
    for (const std::int64_t jobs : {INT64_MIN, std::int64_t{0}, std::int64_t{1}})
        EXPECT_EQ(parallelGain(av1SVT, jobs), 1.0) << jobs;
    EXPECT_EQ(parallelGain(av1SVT, 2), 1.2);
    EXPECT_EQ(parallelGain(av1SVT, 3), 1.22);
    EXPECT_EQ(parallelGain(keepVideo, 2), 1.3);
    for (const std::int64_t jobs : {std::int64_t{4}, std::int64_t{9}, INT64_MAX})
        EXPECT_EQ(parallelGain(hevcX265, jobs), 1.4) << jobs;
}

TEST(ConversionSettings, needTheEncoderOfTheirCodec)
{
    Tools tools;
    tools.encoders = "libx265";
    EXPECT_TRUE(supports(tools, VideoCodecChoice::hevcX265));
    EXPECT_FALSE(supports(tools, VideoCodecChoice::av1SVT));
    EXPECT_TRUE(supports({}, VideoCodecChoice::keepVideo));
}

} // namespace kestrel
