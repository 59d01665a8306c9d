#include "encoding/ProgressParser.h"

#include <gtest/gtest.h>

namespace kestrel {

namespace {

std::string block(const std::string &time, const std::string &fps, const std::string &speed)
{
    return "frame=1\nfps=" + fps + "\nout_time_us=" + time + "\nspeed=" + speed + "\nprogress=continue\n";
}

} // namespace

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
    struct Case {
        const char *time, *fps, *speed;
        EncodeProgress expected;
    };
    const Case cases[] = {
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
}

// The lines are those of ffmpeg 5.1 and 7.1 when a disk is full, gone or fails while they read, write or
// close.
TEST(ErrorTail, knowsALossInTheWordsOfEveryVersion)
{
    const auto tellsOfLoss = [](const char *line) {
        ErrorTail tail({"in.mkv"});
        tail.consume(line + std::string("\n"));
        return tail.tellsOfLoss();
    };
    for (const char *line :
         {"in.mkv: No such device", "in.mkv: Stale file handle",
          "[matroska,webm @ 0x5592c7a76100] Read error",
          "av_interleaved_write_frame(): No space left on device",
          "Error writing trailer of out.mkv: No space left on device",
          "Error closing file out.mkv: Disk quota exceeded",
          "[in#0/matroska,webm @ 0x5576ee5355c0] Error during demuxing: No such device",
          "[in#0/mpegts @ 0x5587cfeda5c0] Error during demuxing: Stale file handle",
          "[vost#0:0/libx264 @ 0x5623d6b29780] Error submitting a packet to the muxer: No space left on "
          "device",
          "[out#0/matroska @ 0x55ae3843b800] Error muxing a packet",
          "[out#0/matroska @ 0x55ae3843b800] Error writing trailer: No space left on device",
          "[out#0/mp4 @ 0x55911fb60fc0] Error closing file: Disk quota exceeded"})
        EXPECT_TRUE(tellsOfLoss(line)) << line;
    // Of damaged films that were read and written to their end.
    for (const char *line :
         {"[matroska,webm @ 0x55a8dbf86100] File ended prematurely",
          "[h264 @ 0x55b30f52ea40] Invalid NAL unit size (4069 > 3850).",
          "[h264 @ 0x557fb12778c0] error while decoding MB 0 2",
          "Error while decoding stream #0:0: Invalid data found when processing input",
          "[vist#0:0/h264 @ 0x55ef] [dec:h264 @ 0x55ef] Decoding error: Invalid data found when processing "
          "input",
          "[vist#0:0/h264 @ 0x55ef] Error submitting packet to decoder: Invalid data found when processing "
          "input",
          "[mpeg2video @ 0x560495ce1780] ac-tex damaged at 2 13", "Last message repeated 2 times"})
        EXPECT_FALSE(tellsOfLoss(line)) << line;
}

TEST(ErrorTail, holdsOutAgainstALineWithoutEnd)
{
    ErrorTail tail;
    for (int i = 0; i < 100; ++i)
        tail.consume(std::string(65536, 'x'));
    tail.consume("\nFehler\n");
    EXPECT_LT(tail.text().size(), 2'000'000U);
    EXPECT_TRUE(tail.text().ends_with("\nFehler"));
}

} // namespace kestrel
