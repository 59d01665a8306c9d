// What becomes of a comparison whose ffmpegs misbehave, wait or are to stop.

#include "encoding/FrameComparison.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "media/Tools.h"
#include "platform/Cancelled.h"
#include "support/Clips.h"
#include "support/Sandbox.h"
#include "support/StandIn.h"

namespace kestrel::test {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

template <typename Condition>
bool eventually(Condition condition)
{
    for (int i = 0; i < 2000; ++i) {
        if (condition())
            return true;
        std::this_thread::sleep_for(5ms);
    }
    return false;
}

char stateOf(int pid)
{
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string number, name, state;
    stat >> number >> name >> state;
    return state.empty() ? '-' : state[0];
}

// Nothing of the process group moves. A shell starts programs with vfork and sleeps uninterruptibly ('D')
// until its child has called exec; a group that is frozen in between has the child stopped and the shell in
// 'D'.
bool isFrozen(int group)
{
    bool isStopped = false;
    for (const auto &entry : fs::directory_iterator("/proc")) {
        const std::string stat = readFile(entry.path() / "stat");
        const auto end = stat.rfind(") ");
        if (end == std::string::npos)
            continue;
        std::istringstream fields(stat.substr(end + 2));
        char state = 0;
        int parent = 0, processGroup = 0;
        fields >> state >> parent >> processGroup;
        if (processGroup != group)
            continue;
        if (state != 'T' && state != 'D')
            return false;
        isStopped = isStopped || state == 'T';
    }
    return isStopped;
}

class FrameComparisonFaults : public testing::Test {
protected:
    // Each stand-in writes its number into a file, and then does `deed` with the real ffmpeg for the film
    // (input "film.mkv") or for the encode ("encode.mkv").
    FrameComparison::Request request(const std::string &forFilm, const std::string &forEncode) const
    {
        const fs::path clip = Clips::film();
        FrameComparison::Request made;
        made.ffmpeg = standIn(sandbox, "ffmpeg",
                              "echo $$ > " + quoted(sandbox / "pid-") + "$$\ncase \"$*\" in\n*film.mkv*)\n" +
                                  forFilm + "\n;;\n*)\n" + forEncode + "\n;;\nesac");
        made.reference.order.file = sandbox.put(clip, "film.mkv");
        made.distorted.order.file = sandbox.put(clip, "encode.mkv");
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
    void expectNothingLeft() const
    {
        for (const int pid : pids())
            EXPECT_EQ(stateOf(pid), '-');
    }

    const Sandbox sandbox;
};

const std::string real = "exec /usr/bin/ffmpeg \"$@\"";

TEST_F(FrameComparisonFaults, aDecoderThatFailsIsAnError)
{
    const struct {
        const char *deed, *words;
    } cases[] = {
        {"echo 'out of order' >&2; exit 1", "out of order"},
        {"exit 3", "ffmpeg meldet einen Fehler (3)."},
        {"exit 0", "unvollständige Bilder"},
        {"/usr/bin/ffmpeg \"$@\" 2>/dev/null | head -c 1000000; exit 0", "unvollständige Bilder"},
        {"/usr/bin/ffmpeg \"$@\" 2>/dev/null | head -c 1000000; kill -9 $$",
         "ffmpeg meldet einen Fehler (137)."},
        {"/usr/bin/ffmpeg \"$@\"; exit 1", "ffmpeg meldet einen Fehler (1)."},
        {"/usr/bin/ffmpeg \"$@\"; echo 'film.mkv: Input/output error' >&2", "Input/output error"},
        {"exec head -c 30000000 /dev/urandom", "unvollständige Bilder"},
    };
    for (const auto &[deed, words] : cases)
        for (const bool isFilm : {true, false}) {
            for (const int pid : pids())
                fs::remove(sandbox / ("pid-" + std::to_string(pid)));
            try {
                FrameComparison::run(isFilm ? request(deed, real) : request(real, deed), {});
                ADD_FAILURE() << deed;
            } catch (const ToolError &error) {
                EXPECT_THAT(error.what(), HasSubstr(words)) << deed;
                EXPECT_THAT(error.what(), HasSubstr(isFilm ? "„film.mkv“" : "„encode.mkv“"));
            }
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
    for (const int pid : pids())
        EXPECT_EQ(stateOf(pid), '-');

    const std::string endless =
        "exec /usr/bin/ffmpeg -nostdin -v error -f lavfi -i testsrc2=s=320x240:r=25 -vf "
        "format=yuv420p,extractplanes=y -c:v rawvideo -f nut -";
    EXPECT_THROW(FrameComparison::run(request(endless, real), {}), FrameComparison::Mismatch);
    EXPECT_THROW(FrameComparison::run(request(real, endless), {}), FrameComparison::Mismatch);
    for (const int pid : pids())
        EXPECT_EQ(stateOf(pid), '-');
}

TEST_F(FrameComparisonFaults, aStopEndsEverythingAtOnce)
{
    const std::string deaf = "trap '' TERM; while :; do sleep 0.05; done";
    const std::string endless =
        "exec /usr/bin/ffmpeg -nostdin -v error -f lavfi -i testsrc2=s=320x240:r=25 -vf "
        "format=yuv420p,extractplanes=y -c:v rawvideo -f nut -";
    for (const auto &[film, encode] :
         {std::pair(deaf, deaf), std::pair(endless, endless), std::pair(endless, deaf)}) {
        for (const int pid : pids())
            fs::remove(sandbox / ("pid-" + std::to_string(pid)));
        const auto order = request(film, encode);
        std::stop_source stop;
        std::atomic<bool> isCancelled = false;
        std::jthread worker([&] {
            try {
                FrameComparison::run(order, stop.get_token());
            } catch (const Cancelled &) {
                isCancelled = true;
            }
        });
        ASSERT_TRUE(eventually([&] { return pids().size() == 2; }));
        std::this_thread::sleep_for(100ms);
        const auto asked = std::chrono::steady_clock::now();
        stop.request_stop();
        worker.join();
        EXPECT_LT(std::chrono::steady_clock::now() - asked, 1s);
        EXPECT_TRUE(isCancelled);
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
    EXPECT_EQ(frames, 0U);
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
