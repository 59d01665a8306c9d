#include "encoding/FFmpegRunner.h"

#include <atomic>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "encoding/Processes.h"
#include "support/Eventually.h"
#include "support/StandIn.h"

namespace kestrel::test {
namespace {

std::string block(const std::string &time, const std::string &fps, const std::string &speed)
{
    return "frame=1\nfps=" + fps + "\nout_time_us=" + time + "\nspeed=" + speed + "\nprogress=continue\n";
}

TEST(ProgressParser, readsABlockHoweverItIsCut)
{
    const std::string text = block("2500000", "48.5", "1.23x");
    const EncodeProgress expected{2.5, 48.5, 1.23};
    EXPECT_EQ(ProgressParser().consume(text), expected);
    for (std::size_t cut = 1; cut < text.size(); ++cut) {
        ProgressParser parser;
        EXPECT_EQ(parser.consume(text.substr(0, cut)), std::nullopt) << cut;
        EXPECT_EQ(parser.consume(text.substr(cut)), expected) << cut;
    }
}

TEST(ProgressParser, reportsTheLastOfSeveralBlocks)
{
    ProgressParser parser;
    EXPECT_EQ(
        parser.consume(block("1000000", "1", "1x") + block("2000000", "2", "2x") + "out_time_us=9000000\n"),
        (EncodeProgress{2, 2, 2}));
    // A field that is not repeated keeps its value; the end counts as well.
    EXPECT_EQ(parser.consume("progress=end\n"), (EncodeProgress{9, 2, 2}));
}

TEST(ProgressParser, takesWhatIsNoNumberForNothing)
{
    const struct {
        const char *time, *fps, *speed;
        EncodeProgress expected;
    } cases[] = {
        {"N/A", "0.0", "N/A", {}},
        {"-9223372036854775807", "nan", "inf", {}},
        {"", "", "", {}},
        {" 1000000 ", " 25", " 1.23x\r", {1, 25, 1.23}},
        {"1000000us", "25fps", "2 x", {0, 0, 2}},
    };
    for (const auto &[time, fps, speed, expected] : cases)
        EXPECT_EQ(ProgressParser().consume(block(time, fps, speed)), expected)
            << time << " " << fps << " " << speed;
}

TEST(ErrorTail, keepsTheLastTwelveLines)
{
    ErrorTail tail;
    EXPECT_EQ(tail.text(), "");
    std::string expected;
    for (int line = 1; line <= 100; ++line) {
        tail.consume("Zeile " + std::to_string(line) + "\n");
        if (line > 88)
            expected += (line > 89 ? "\nZeile " : "Zeile ") + std::to_string(line);
    }
    EXPECT_EQ(tail.text(), expected);
}

TEST(ErrorTail, keepsNoEmptyLinesAndRepairsTheOthers)
{
    ErrorTail tail;
    tail.consume("  eins \r\n\n   \n\t\nGr\xfc");
    tail.consume("n\nohne Ende ");
    EXPECT_EQ(tail.text(), "eins\nGr\uFFFDn\nohne Ende");
    tail.consume("!\n");
    EXPECT_EQ(tail.text(), "eins\nGr\uFFFDn\nohne Ende !");
    for (int i = 0; i < 100; ++i) // a line without end
        tail.consume(std::string(65536, 'x'));
    tail.consume("\nFehler\n");
    EXPECT_LT(tail.text().size(), 2'000'000U);
    EXPECT_TRUE(tail.text().ends_with("\nFehler"));
}

// The lines are those of ffmpeg 5.1 and 7.1, some of them shortened, when a disk is full, gone or fails while
// they read, write or close.
TEST(ErrorTail, knowsALossInTheWordsOfEveryVersion)
{
    const auto tellsOfLoss = [](const char *line) {
        ErrorTail tail({"in.mkv"});
        tail.consume(line + std::string("\n"));
        return tail.tellsOfLoss();
    };
    for (const char *line :
         {"in.mkv: No such device", "in.mkv: Stale file handle", "[matroska,webm @ 0x5592] Read error",
          "x.mkv: Input/output error", "av_interleaved_write_frame(): No space left on device",
          "Error writing trailer of out.mkv: No space left on device",
          "Error closing file out.mkv: Disk quota exceeded",
          "[in#0/mpegts @ 0x5587] Error during demuxing: Stale file handle",
          "[vost#0:0/libx264 @ 0x5623] Error submitting a packet to the muxer: No space",
          "[out#0/matroska @ 0x55ae] Error muxing a packet",
          "[out#0/matroska @ 0x55ae] Error writing trailer: No space left on device",
          "[out#0/mp4 @ 0x5591] Error closing file: Disk quota exceeded"})
        EXPECT_TRUE(tellsOfLoss(line)) << line;
    // Of damaged films that were read and written to their end.
    for (const char *line : {"[matroska,webm @ 0x55a8] File ended prematurely",
                             "[h264 @ 0x55b3] Invalid NAL unit size (4069 > 3850).",
                             "[h264 @ 0x557f] error while decoding MB 0 2",
                             "Error while decoding stream #0:0: Invalid data found when processing input",
                             "[vist#0:0/h264 @ 0x55ef] [dec:h264 @ 0x55ef] Decoding error: Invalid data",
                             "[vist#0:0/h264 @ 0x55ef] Error submitting packet to decoder: Invalid data",
                             "[mpeg2video @ 0x5604] ac-tex damaged at 2 13", "Last message repeated 2 times"})
        EXPECT_FALSE(tellsOfLoss(line)) << line;
}

TEST(FFmpegRunner, turnsTheProgressStreamIntoNumbers)
{
    const Sandbox sandbox;
    std::vector<FFmpegRunner::Progress> seen;
    FFmpegRunner runner(
        standIn(sandbox, "ffmpeg",
                "printf 'out_time_us=1500000\\nfps=24.5\\nspeed= 1.23x\\nprogress=continue\\n'\n"
                "echo '  Fehler am Ende ' >&2; printf letzte >&2; exit 7"),
        {}, [&](const auto &progress) { seen.push_back(progress); });
    EXPECT_EQ(runner.run({}), 7);
    EXPECT_THAT(seen, testing::ElementsAre(FFmpegRunner::Progress{1.5, 24.5, 1.23}));
    EXPECT_EQ(runner.errorTail(), "Fehler am Ende\nletzte");
}

TEST(FFmpegRunner, isFrozenResumedAndCancelledFromAnotherThread)
{
    const Sandbox sandbox;
    const fs::path file = sandbox / "pid";
    FFmpegRunner runner(standIn(sandbox, "ffmpeg", "echo $$ > " + quoted(file) + "; exec sleep 1000"), {},
                        {});
    runner.suspend(); // before it runs: nothing happens
    std::atomic<int> status = 0;
    std::jthread worker([&] { status = runner.run({}); });
    ASSERT_TRUE(eventually([&] { return readFile(file).ends_with('\n'); }));
    const int pid = std::stoi(readFile(file));

    runner.suspend();
    EXPECT_TRUE(eventually([&] { return isFrozen(pid); }));
    runner.resume();
    EXPECT_TRUE(eventually([&] { return !isFrozen(pid); }));
    runner.suspend();
    runner.cancel(); // a frozen process ends all the same
    worker.join();
    EXPECT_EQ(status, 128 + 15);
    runner.suspend();
    runner.resume();
}

TEST(FFmpegRunner, aCancelBeforeTheStartEndsItRightAfter)
{
    const Sandbox sandbox;
    const fs::path program = standIn(sandbox, "ffmpeg", "sleep 1000");
    FFmpegRunner cancelled(program, {}, {}), stopped(program, {}, {});
    cancelled.cancel();
    EXPECT_NE(cancelled.run({}), 0);
    std::stop_source stop;
    stop.request_stop();
    EXPECT_NE(stopped.run(stop.get_token()), 0);
    EXPECT_THROW(FFmpegRunner("/nowhere/ffmpeg", {}, {}).run({}), std::system_error);
}

} // namespace
} // namespace kestrel::test
