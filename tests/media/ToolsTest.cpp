#include "media/Tools.h"

#include <gtest/gtest.h>

#include "support/StandIn.h"

namespace kestrel {

namespace {

using test::Sandbox;
using test::standIn;

// Answers the three questions; "$2" is the question.
constexpr const char *fullFFmpeg = R"(
[ "$1" = -hide_banner ] || exit 9
case "$2" in
-encoders) echo " V....D libx265  H.265"; echo " V....D libsvtav1" ;;
-filters) echo " .. libvmaf" ;;
-version) printf '\n\nffmpeg version 7.1\nbuilt with care\n' ;;
esac)";

class Located : public testing::Test {
protected:
    void install(const std::vector<std::string> &tools, const std::string &script = "") const
    {
        for (const auto &tool : tools)
            standIn(sandbox, tool, script);
    }
    Tools locate() const { return Tools::locate(folders, {}); }
    std::string failure() const
    {
        try {
            return locate().version;
        } catch (const ToolError &error) {
            return error.what();
        }
    }

    Sandbox sandbox;
    std::vector<test::fs::path> folders{sandbox / "missing", sandbox / "a", sandbox / "b"};
};

} // namespace

TEST_F(Located, asksFFmpegWhatItWasBuiltWith)
{
    install({"b/ffmpeg", "b/ffprobe"}, fullFFmpeg);
    const Tools tools = locate();
    EXPECT_EQ(tools.ffmpeg, sandbox / "b/ffmpeg");
    EXPECT_EQ(tools.ffprobe, sandbox / "b/ffprobe");
    EXPECT_TRUE(tools.hasX265() && tools.hasSVTAV1() && tools.hasVMAF);
    EXPECT_FALSE(tools.hasEncoder("libvpx-vp9"));
    EXPECT_EQ(tools.version, "ffmpeg version 7.1");
}

TEST_F(Located, knowsNoCapabilitiesOfAnFFmpegThatFails)
{
    install({"a/ffmpeg", "a/ffprobe"}, "echo libx265 libvmaf >&2; exit 1");
    EXPECT_EQ(locate(), (Tools{sandbox / "a/ffmpeg", sandbox / "a/ffprobe", {}, false, "ffmpeg"}));
}

TEST_F(Located, takesTheFirstFolderWithAnExecutableFile)
{
    install({"a/ffmpeg", "b/ffmpeg", "b/ffprobe"});
    sandbox.write("a/ffprobe", "not executable");
    EXPECT_EQ(locate().ffmpeg, sandbox / "a/ffmpeg");
    EXPECT_EQ(locate().ffprobe, sandbox / "b/ffprobe");

    test::fs::remove(sandbox / "a/ffmpeg");
    test::fs::create_directory(sandbox / "a/ffmpeg");
    EXPECT_EQ(locate().ffmpeg, sandbox / "b/ffmpeg");
}

TEST_F(Located, saysWhichToolIsMissingAndWhatToInstall)
{
    EXPECT_EQ(failure(), "ffmpeg wurde nicht gefunden. Installation im Terminal: sudo apt install ffmpeg");
    install({"a/ffmpeg"});
    EXPECT_EQ(failure(), "ffprobe wurde nicht gefunden. Installation im Terminal: sudo apt install ffmpeg");
}

} // namespace kestrel
