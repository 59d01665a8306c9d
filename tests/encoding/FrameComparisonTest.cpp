// What becomes of a comparison whose ffmpegs misbehave, wait or are to stop.

#include "encoding/FrameComparison.h"

#include <algorithm>
#include <atomic>
#include <thread>

#include "encoding/JobFixture.h"
#include "encoding/Processes.h"
#include "platform/Cancelled.h"
#include "support/Eventually.h"

namespace kestrel::test {
namespace {

using namespace std::chrono_literals;

const std::string real = "exec /usr/bin/ffmpeg \"$@\"";
const std::string endless = "exec /usr/bin/ffmpeg -nostdin -v error -f lavfi -i testsrc2=s=320x240:r=25 -vf "
                            "format=yuv420p,extractplanes=y -c:v rawvideo -f nut -";

class FrameComparisonFaults : public testing::Test {
protected:
    // Each stand-in writes its number into a file, and then does `deed` with the real ffmpeg for the film
    // (input "film.mkv") or for the encode ("encode.mkv").
    FrameComparison::Request request(const std::string &forFilm, const std::string &forEncode) const
    {
        for (const int pid : pids())
            fs::remove(sandbox / ("pid-" + std::to_string(pid)));
        FrameComparison::Request made;
        made.ffmpeg = standIn(sandbox, "ffmpeg",
                              "echo $$ > " + quoted(sandbox / "pid-") + "$$\ncase \"$*\" in\n*film.mkv*)\n" +
                                  forFilm + "\n;;\n*)\n" + forEncode + "\n;;\nesac");
        made.reference.order.file = sandbox.put(Clips::film(), "film.mkv");
        made.distorted.order.file = sandbox.put(Clips::film(), "encode.mkv");
        for (auto *side : {&made.reference, &made.distorted})
            side->order.filters = {"format=yuv420p", "extractplanes=y"};
        made.patience = 500ms;
        return made;
    }

    std::vector<int> pids() const
    {
        std::vector<int> pids;
        for (const auto &name : names(sandbox.path()))
            if (name.starts_with("pid-"))
                pids.push_back(std::stoi(name.substr(4)));
        return pids;
    }
    void expectNothingLeft() const { EXPECT_THAT(pids(), testing::Each(testing::Truly(isGone))); }

    const Sandbox sandbox;
};

TEST_F(FrameComparisonFaults, aDecoderThatFailsIsAnError)
{
    const std::string part = "/usr/bin/ffmpeg \"$@\" 2>/dev/null | head -c 1000000; ";
    const std::string whole = "/usr/bin/ffmpeg \"$@\"; ";
    const std::pair<std::string, const char *> cases[] = {
        {"echo 'out of order' >&2; exit 1", "out of order"},
        {"exit 3", "ffmpeg meldet einen Fehler (3)."},
        {"exit 0", "unvollständige Bilder"},
        {part + "exit 0", "unvollständige Bilder"},
        {part + "kill -9 $$", "ffmpeg meldet einen Fehler (137)."},
        {whole + "exit 1", "ffmpeg meldet einen Fehler (1)."},
        {whole + "echo 'film.mkv: Input/output error' >&2", "Input/output error"},
        {"exec head -c 30000000 /dev/urandom", "unvollständige Bilder"},
    };
    for (const auto &[deed, words] : cases)
        for (const bool isFilm : {true, false}) {
            const auto order = isFilm ? request(deed, real) : request(real, deed);
            EXPECT_THAT(failureOf([&] { FrameComparison::run(order, {}); }),
                        AllOf(HasSubstr(words), HasSubstr(isFilm ? "„film.mkv“" : "„encode.mkv“")))
                << deed;
            expectNothingLeft();
        }
    auto missing = request(real, real);
    missing.ffmpeg = "/nowhere/ffmpeg";
    EXPECT_THROW(FrameComparison::run(missing, {}), ToolError);
}

TEST_F(FrameComparisonFaults, aDecoderThatNeverEndsIsNotWaitedFor)
{
    // It has shown everything: the comparison is complete.
    const auto result = FrameComparison::run(request("/usr/bin/ffmpeg \"$@\"; exec sleep 1000", real), {});
    EXPECT_EQ(result.frames.size(), 50U);
    EXPECT_EQ(result.unmatched, 0U);
    expectNothingLeft();

    for (const auto &[film, encode] : {std::pair(endless, real), std::pair(real, endless)}) {
        EXPECT_THROW(FrameComparison::run(request(film, encode), {}), FrameComparison::Mismatch);
        expectNothingLeft();
    }
}

TEST_F(FrameComparisonFaults, aStopEndsEverythingAtOnce)
{
    const std::string deaf = "trap '' TERM; while :; do sleep 0.05; done";
    for (const auto &[film, encode] :
         {std::pair(deaf, deaf), std::pair(endless, endless), std::pair(endless, deaf)}) {
        const auto order = request(film, encode);
        std::stop_source stop;
        std::jthread worker([&] { EXPECT_THROW(FrameComparison::run(order, stop.get_token()), Cancelled); });
        ASSERT_TRUE(eventually([&] { return pids().size() == 2; }));
        std::this_thread::sleep_for(100ms);
        const auto asked = std::chrono::steady_clock::now();
        stop.request_stop();
        worker.join();
        EXPECT_LT(std::chrono::steady_clock::now() - asked, 1s);
        expectNothingLeft();
    }
}

TEST_F(FrameComparisonFaults, aPauseFreezesBothDecoders)
{
    CurrentRunner current;
    auto order = request("sleep 2; " + real, "sleep 2; " + real);
    order.current = &current;
    const auto areFrozen = [&] {
        const auto begun = pids();
        return std::all_of(begun.begin(), begun.end(), isFrozen);
    };
    current.suspend(); // before they start
    std::atomic<std::size_t> frames = 0;
    std::jthread worker([&] { frames = FrameComparison::run(order, {}).frames.size(); });
    std::this_thread::sleep_for(600ms);
    EXPECT_TRUE(eventually(areFrozen));
    EXPECT_EQ(frames, 0U);
    current.resume();
    ASSERT_TRUE(eventually([&] { return pids().size() == 2; }));
    current.suspend();
    EXPECT_TRUE(eventually(areFrozen));
    std::this_thread::sleep_for(700ms); // more than a decoder is waited for
    EXPECT_EQ(frames, 0U);
    current.resume();
    worker.join();
    EXPECT_EQ(frames, 50U);
    expectNothingLeft();
}

} // namespace
} // namespace kestrel::test
