#include "planning/ConversionSettings.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace kestrel {

namespace {

std::optional<ConversionSettings> read(const std::string &text)
{
    return ConversionSettings::fromJson(nlohmann::json::parse(text));
}

// As it is written, with every field other than usual.
const std::string everythingElse =
    R"({"codec":"av1SVT","quality":4,"resolution":"p720","audioLanguages":["eng","fra"],)"
    R"("dropCommentary":false,"unknownAudio":"keepDefault","convertLosslessAudio":true,)"
    R"("container":"mp4","outputMode":"separateFolder","parallelJobs":-9000000000,)"
    R"("preventSleep":false,"statusPage":false})";

} // namespace

TEST(ConversionSettings, areWrittenAndReadUnderTheirNames)
{
    const ConversionSettings settings = read(everythingElse).value(), usual;
    EXPECT_EQ(settings.toJson().dump(), everythingElse);
    EXPECT_EQ(ConversionSettings::fromJson(usual.toJson()), usual);
    const nlohmann::json other = settings.toJson(), defaults = usual.toJson();
    for (const auto &[name, value] : defaults.items())
        EXPECT_NE(value, other[name]) << name << " was not read";
    EXPECT_EQ(settings.quality, QualityLevel::small);
    EXPECT_EQ(settings.codec, VideoCodecChoice::av1SVT);
}

TEST(ConversionSettings, forgiveEveryFieldByItself)
{
    EXPECT_EQ(read("[]"), std::nullopt);
    for (
        const char *nothing :
        {"{}", R"({"audioLanguages": ["deu", 5]})",
         R"({"codec": 1, "quality": "high", "resolution": "p480", "audioLanguages": "deu", "dropCommentary": 0,
              "unknownAudio": null, "convertLosslessAudio": "true", "container": [], "outputMode": {},
              "parallelJobs": 9223372036854775808, "preventSleep": 1, "statusPage": "nein", "unknown": 7})"})
        EXPECT_EQ(read(nothing), ConversionSettings()) << nothing;

    const ConversionSettings av1{.codec = VideoCodecChoice::av1SVT}, noLanguages{.audioLanguages = {}};
    for (const char *quality : {"7", "5", "-1", "18446744073709551615", "2.5", "null"})
        EXPECT_EQ(read(R"({"codec": "av1SVT", "quality": )" + std::string(quality) + "}"), av1) << quality;
    EXPECT_EQ(read(R"({"audioLanguages": []})"), noLanguages);
}

TEST(ConversionSettings, nameWhatShapesTheVideo)
{
    for (const char *other :
         {"{}", R"({"container": "mp4", "audioLanguages": [], "convertLosslessAudio": true,
                                        "parallelJobs": 4})"})
        EXPECT_EQ(read(other)->videoKey(), "hevcX265-2-1-original");
    EXPECT_EQ(read(everythingElse)->videoKey(), "av1SVT-4-1-p720");
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
    const Tools x265{.encoders = "libx265"};
    EXPECT_TRUE(supports(x265, VideoCodecChoice::hevcX265));
    EXPECT_FALSE(supports(x265, VideoCodecChoice::av1SVT));
    EXPECT_TRUE(supports({}, VideoCodecChoice::keepVideo));
}

} // namespace kestrel
