#include "encoding/NutParser.h"

#include <random>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "media/ProcessRunner.h"
#include "support/StandIn.h"

namespace kestrel::test {
namespace {

// Moving pictures whose times are not even, in this format.
std::string film(const std::string &format, const std::string &size, const std::string &container)
{
    const auto output = ProcessRunner::run(
        realTools().ffmpeg,
        {"-v", "error", "-f", "lavfi", "-i", "testsrc2=r=24000/1001:d=0.5:s=320x240", "-vf",
         "scale=" + size +
             ",select=not(eq(mod(n\\,5)\\,3)),format=yuv420p,geq='if(eq(Y,0)*lt(X,3),eq(X,2),lum(X,Y))',"
             "scale=out_range=tv,format=" +
             format + ",extractplanes=y",
         "-fps_mode", "passthrough", "-enc_time_base", "1:1000000", "-c:v", "rawvideo", "-f", container, "-"},
        {});
    EXPECT_EQ(output.status, 0) << output.errorText();
    return output.standardOutput;
}

std::vector<TimedFrame> parsed(std::string_view bytes, std::size_t piece)
{
    std::vector<TimedFrame> frames;
    NutParser parser;
    for (std::size_t at = 0; at < bytes.size(); at += piece)
        parser.consume(bytes.substr(at, piece),
                       [&](TimedFrame frame) { frames.push_back(std::move(frame)); });
    if (!parser.isComplete())
        throw NutParser::Error("cut off");
    return frames;
}

std::string samplesOf(const std::vector<TimedFrame> &frames)
{
    std::string bytes;
    for (const auto &frame : frames)
        for (const std::uint16_t sample : frame.luma.samples) {
            bytes += static_cast<char>(sample & 0xFF);
            if (frame.luma.depth > 8)
                bytes += static_cast<char>(sample >> 8);
        }
    return bytes;
}

TEST(NutParser, readsEveryPictureWithItsTime)
{
    const struct {
        const char *format, *size;
        int depth;
    } cases[] = {{"yuv420p", "64:48", 8}, // small pictures whose first bytes are left out
                 {"yuv420p", "161:91", 8},      {"yuv420p9le", "160:90", 9},   {"yuv420p10le", "160:90", 10},
                 {"yuv422p12le", "160:90", 12}, {"yuv420p16le", "640:360", 16}};
    for (const auto &[format, size, depth] : cases) {
        const std::string stream = film(format, size, "nut"), raw = film(format, size, "rawvideo");
        for (const std::size_t piece : {std::size_t{1}, std::size_t{7}, std::size_t{4096}, stream.size()}) {
            const auto frames = parsed(stream, piece);
            ASSERT_EQ(frames.size(), 10U) << format;
            EXPECT_TRUE(samplesOf(frames) == raw) << format << " " << piece;
            const int shown[] = {0, 1, 2, 4, 5, 6, 7, 9, 10, 11};
            for (std::size_t i = 0; i < frames.size(); ++i) {
                EXPECT_NEAR(frames[i].time, shown[i] * 1001 / 24000.0, 2e-6);
                EXPECT_EQ(frames[i].luma.depth, depth);
                EXPECT_EQ(fmt::format("{}:{}", frames[i].luma.width, frames[i].luma.height), size);
            }
        }
    }
}

TEST(NutParser, aCutOffStreamIsAnError)
{
    const std::string stream = film("yuv420p", "32:32", "nut");
    std::size_t whole = 0;
    for (std::size_t size = 0; size < stream.size(); ++size)
        try {
            EXPECT_LE(parsed(std::string_view(stream).substr(0, size), 300).size(), 10U);
            ++whole; // between two frames nothing tells that more was to come; the decoder's status does
        } catch (const NutParser::Error &) {
        }
    EXPECT_LT(whole, 40U);
}

TEST(NutParser, hostileBytesAreAnErrorOrPicturesOfAPossibleSize)
{
    const std::string stream = film("yuv420p10le", "32:32", "nut");
    std::mt19937 random(1); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same every time
    std::size_t errors = 0;
    const auto tryOut = [&](const std::string &bytes) {
        try {
            for (const auto &frame : parsed(bytes, 100))
                ASSERT_EQ(frame.luma.samples.size(), static_cast<std::size_t>(frame.luma.width) *
                                                         static_cast<std::size_t>(frame.luma.height));
        } catch (const NutParser::Error &) {
            ++errors;
        }
    };
    // Each byte of the headers, and pairs of them.
    for (std::size_t at = 0; at < 420; ++at)
        for (const int value : {0, 1, 0x4E, 0x7F, 0x80, 0xFF}) {
            std::string bytes = stream;
            bytes[at] = static_cast<char>(value);
            tryOut(bytes);
            bytes[random() % 420] = static_cast<char>(random());
            tryOut(bytes);
        }
    EXPECT_GT(errors, 1000U);
    for (int i = 0; i < 300; ++i) {
        std::string bytes = stream.substr(0, 25 + random() % 300);
        for (int j = 0; j < 2000; ++j)
            bytes += static_cast<char>(random());
        tryOut(bytes);
    }
    EXPECT_THROW(parsed("", 1), NutParser::Error);
    EXPECT_THROW(parsed("RIFF", 4), NutParser::Error);
}

} // namespace
} // namespace kestrel::test
