#pragma once

#include <QCoreApplication>
#include <chrono>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "model/AppModel.h"
#include "support/Clips.h"
#include "support/Eventually.h"
#include "support/Sandbox.h"
#include "support/StandIn.h"

namespace kestrel::test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// A folder of files, stand-in tools that a test can change while it runs, and a model on them.
class ModelTest : public testing::Test {
protected:
    ModelTest()
    {
        fs::remove_all(home() / ".config");
        fs::remove_all(home() / ".local");
        fs::remove_all(home() / ".cache");
        ffprobe("");
        ffmpeg("exit 1");
    }

    static bool eventually(const std::function<bool()> &condition) { return test::eventually(condition); }
    // Whatever is on its way arrives.
    static void settle()
    {
        for (int i = 0; i < 5; ++i) {
            QCoreApplication::processEvents();
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }

    // Does the shell commands first, then answers that each file is so many seconds of H.264 with 10 Mbit/s.
    void ffprobe(const std::string &body, const std::string &duration = "2")
    {
        standIn(toolbox, "ffprobe",
                "[ \"$1\" = -version ] && { echo ffprobe stand-in; exit; }\nfor last; do :; done\n" + body +
                    R"(
cat <<'END'
{"format": {"duration": ")" +
                    duration + R"(", "format_name": "matroska"},
 "streams": [{"index": 0, "codec_type": "video", "codec_name": "h264", "width": 1920, "height": 1080,
              "avg_frame_rate": "25/1", "pix_fmt": "yuv420p", "bit_rate": "10000000"}]}
END)");
    }
    // "$last" is the output file.
    void ffmpeg(const std::string &body, const std::string &encoders = "libx265 libsvtav1")
    {
        standIn(toolbox, "ffmpeg",
                "case \"$2\" in -encoders) echo '" + encoders +
                    "'; exit;; -filters|-version) exit;; esac\nfor last; do :; done\n" + body);
    }
    // The same with a libvmaf filter that finds this score; then the quality is measured.
    void scoringFfmpeg(const std::string &body, const std::string &vmaf = "95.2")
    {
        ffmpeg(
            "case \"$*\" in *libvmaf=*) log=${*#*log_path=}; echo '{\"pooled_metrics\":{\"vmaf\":{\"mean\":" +
            vmaf + "}}}' > \"${log%%:*}\"; exit;; esac\n" + body);
        const std::string text = readFile(toolbox / "ffmpeg");
        standIn(toolbox, "ffmpeg", "[ \"$2\" = -filters ] && { echo libvmaf; exit; }\n" + text);
        measuresQuality = true;
    }
    // What a measurement needs: an encode with some bytes.
    static constexpr const char *measurable = "head -c 100000 /dev/zero > \"$last\"\n";
    // Work of a script that notes how many do it at once; and what they noted.
    std::string countsItself(const std::string &work) const
    {
        const std::string running = tool("running");
        return "mkdir -p " + running + "; touch " + running + "/$$; ls " + running + " | wc -l >> " +
               tool("counts") + "; " + work + "; rm " + running + "/$$\n";
    }
    std::vector<int> counts() const
    {
        std::ifstream file(toolbox / "counts");
        return {std::istream_iterator<int>(file), {}};
    }
    // What a conversion needs to end well: as many bytes as the original has, in tenths.
    static std::string writes(int tenths)
    {
        return "head -c " + std::to_string(tenths * 1000) + " /dev/zero > \"$last\"\n";
    }
    fs::path film(const std::string &name) const
    {
        const fs::path file = folder.write(name, std::string(10'000, 'x'));
        fs::last_write_time(file, fs::file_time_type::clock::now() - std::chrono::hours(1));
        return file;
    }

    AppModel &start(AppModel::Options options = {})
    {
        options.toolFolders = {toolbox.path()};
        if (!options.measuresQuality)
            options.measuresQuality = measuresQuality;
        model = std::make_unique<AppModel>(std::move(options));
        EXPECT_TRUE(eventually([&] { return model->tools() || model->toolError(); }));
        return *model;
    }
    AppModel &startAndScan(AppModel::Options options = {})
    {
        start(std::move(options)).open(folder.path());
        EXPECT_TRUE(idle());
        return *model;
    }
    bool idle() const
    {
        return eventually([this] { return !model->isBusy(); });
    }
    FileItem &item(const std::string &name) const { return *model->library().find(folder / name); }
    // These files, scanned; `library` also gives each a sample, so that only the encode runs.
    void scan(const std::vector<std::string> &files, AppModel::Options options = {})
    {
        for (const auto &file : files)
            film(file);
        startAndScan(std::move(options));
    }
    void library(const std::vector<std::string> &files, std::int64_t jobs = 1, AppModel::Options options = {})
    {
        options.settings.emplace().parallelJobs = jobs;
        scan(files, std::move(options));
        for (const auto &file : files)
            giveSample(file);
    }
    void rescan()
    {
        model->rescan();
        EXPECT_TRUE(idle());
    }
    void convert()
    {
        model->startConversion();
        EXPECT_TRUE(idle());
    }
    void sample(std::optional<std::size_t> count = {}, const std::optional<Library::Ids> &only = {})
    {
        model->startSampling(count, only);
        EXPECT_TRUE(idle());
    }
    void stop()
    {
        model->stop();
        EXPECT_TRUE(idle());
    }
    template <typename Change>
    void changeSettings(Change change)
    {
        ConversionSettings settings = model->settings();
        change(settings);
        model->setSettings(settings);
    }
    template <typename Wanted>
    bool reaches(const std::string &name) const
    {
        return eventually([&] { return is<Wanted>(item(name).status); });
    }
    // A file of the stand-ins, as a word of their scripts; one that they wait for; and what makes it.
    std::string tool(const std::string &name) const { return quoted(toolbox / name); }
    std::string waitsFor(const std::string &name) const
    {
        return "while [ ! -e " + tool(name) + " ]; do sleep 0.02; done\n";
    }
    void go(const std::string &name = "go") const { toolbox.write(name, ""); }
    // So that no quality search is needed.
    void giveSample(const std::string &name, double bitrate = 1e6)
    {
        const SampleResult sample{.videoBitrate = bitrate,
                                  .megapixelsPerSecond = 50,
                                  .heuristicBitrate = 2e6,
                                  .qualityValue = 30,
                                  .vmafTarget = 93};
        model->library().setSample(item(name), model->settings().videoKey(), sample);
        model->recompute();
    }

    // Off, so that a test that is not about the quality search is quick; absent: what is stored.
    std::optional<bool> measuresQuality = false;
    Sandbox folder, toolbox;
    std::unique_ptr<AppModel> model;
};

} // namespace kestrel::test
