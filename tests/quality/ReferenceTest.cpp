#include <cmath>
#include <cstring>
#include <fstream>
#include <ostream>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "media/ProcessRunner.h"
#include "quality/FrameScorer.h"

namespace kestrel {

namespace {

namespace fs = std::filesystem;

// A pair of clips beside this file and how near libvmaf's scores and features of it must be.
struct Pair {
    const char *name;
    int width, height;
    double score = 0.1, feature = 0.002, motion = 0.01; // of one frame
};

void PrintTo(const Pair &pair, std::ostream *out)
{
    *out << pair.name;
}

fs::path reference(const std::string &file)
{
    return fs::path(KESTREL_REFERENCE) / file;
}

// Both sides with ten bits, as they were when libvmaf scored them.
std::vector<LumaFrame> decode(const std::string &file, const Pair &pair)
{
    const ProcessOutput output = ProcessRunner::run(
        "/usr/bin/ffmpeg",
        {"-nostdin", "-v", "error", "-i", reference(file).native(), "-vf",
         "format=yuv420p10le,extractplanes=y", "-fps_mode", "passthrough", "-f", "rawvideo", "-"},
        {});
    EXPECT_EQ(output.status, 0) << output.standardError;
    const std::size_t count = static_cast<std::size_t>(pair.width) * static_cast<std::size_t>(pair.height);
    std::vector<LumaFrame> frames;
    for (std::size_t at = 0; at + 2 * count <= output.standardOutput.size(); at += 2 * count) {
        LumaFrame frame{pair.width, pair.height, 10, std::vector<std::uint16_t>(count)};
        std::memcpy(frame.samples.data(), output.standardOutput.data() + at, 2 * count);
        frames.push_back(std::move(frame));
    }
    return frames;
}

class Reference : public testing::TestWithParam<Pair> {};

} // namespace

TEST_P(Reference, isScoredAsByLibvmaf)
{
    const Pair &pair = GetParam();
    const std::string name = pair.name;
    auto originals = decode(name + ".ref.mkv", pair), encoded = decode(name + ".dist.mkv", pair);
    const auto expected = nlohmann::json::parse(std::ifstream(reference(name + ".json")));
    ASSERT_EQ(originals.size(), expected["frames"].size());
    ASSERT_EQ(encoded.size(), originals.size());
    FrameScorer scorer;
    for (std::size_t i = 0; i < originals.size(); ++i)
        scorer.add(std::move(originals[i]), std::move(encoded[i]));
    const auto scores = scorer.finish();
    ASSERT_EQ(scores.size(), expected["frames"].size());

    double sum = 0;
    for (std::size_t i = 0; i < scores.size(); ++i) {
        SCOPED_TRACE("frame " + std::to_string(i));
        const auto &frame = expected["frames"][i];
        EXPECT_NEAR(scores[i].vmaf, frame["vmaf"], pair.score);
        EXPECT_NEAR(scores[i].adm2, frame["integer_adm2"], pair.feature);
        EXPECT_NEAR(scores[i].motion2, frame["integer_motion2"], pair.motion);
        for (std::size_t scale = 0; scale < 4; ++scale)
            EXPECT_NEAR(scores[i].vif[scale], frame["integer_vif_scale" + std::to_string(scale)],
                        pair.feature);
        sum += scores[i].vmaf;
    }
    EXPECT_NEAR(sum / static_cast<double>(scores.size()), expected["mean"], 0.05);
}

// In "ten" libvmaf's own integer and floating-point features differ by as much.
INSTANTIATE_TEST_SUITE_P(Pairs, Reference,
                         testing::Values(Pair{"cells", 352, 288}, Pair{"grain", 480, 270},
                                         Pair{"hd", 1920, 1080}, Pair{"odd", 426, 238},
                                         Pair{"still", 320, 180}, Pair{"ten", 640, 360, 1.0, 0.02},
                                         Pair{"zoom", 640, 360}),
                         [](const auto &pair) { return std::string(pair.param.name); });

} // namespace kestrel
