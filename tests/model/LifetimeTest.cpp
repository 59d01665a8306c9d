// What happens between the threads, and when the model goes.

#include <atomic>

#include "model/ModelFixture.h"
#include "model/Outbox.h"

namespace kestrel::test {
namespace {

TEST(Outbox, deliversOnlyTheLatestAndSeldom)
{
    int deliveries = 0;
    std::size_t reports = 0;
    std::map<int, int> last;
    Outbox<int, int> outbox([&](const auto &delivered) {
        ++deliveries;
        reports += delivered.size();
        for (const auto &[key, value] : delivered)
            last[key] = value;
    });
    const auto begun = std::chrono::steady_clock::now();
    std::atomic<int> working = 4;
    std::vector<std::jthread> workers;
    for (int key = 0; key < 4; ++key)
        workers.emplace_back([&, key] {
            for (int i = 0; i <= 50'000; ++i)
                outbox.post(key, i);
            --working;
        });
    while (working > 0 || last != std::map<int, int>{{0, 50'000}, {1, 50'000}, {2, 50'000}, {3, 50'000}})
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    const auto lasted = std::chrono::steady_clock::now() - begun;
    EXPECT_LE(deliveries, lasted / std::chrono::milliseconds(50) + 1);
    EXPECT_LE(reports, 4U * static_cast<std::size_t>(deliveries));
}

// The model goes in the middle of everything that it can do, at any moment.
enum class Moment { scanning, measuringOfRun, running, paused, sampling, clip };

class Ending : public ModelTest, public testing::WithParamInterface<Moment> {};

TEST_P(Ending, mayComeAtAnyTime)
{
    const Moment moment = GetParam();
    ffmpeg("echo out_time_us=1000000; echo progress=continue; sleep 0.02\n" + writes(5));
    const std::vector<std::string> films{"0.mkv", "1.mkv", "2.mkv", "3.mkv"};
    for (const auto &name : films)
        film(name);
    for (int round = 0; round < 200; ++round) {
        start({.settings = ConversionSettings{.outputMode = OutputMode::separateFolder}});
        model->open(folder.path());
        if (moment != Moment::scanning) {
            ASSERT_TRUE(idle());
            model->library().setSelection({folder / "1.mkv"});
        }
        if (moment == Moment::running || moment == Moment::paused)
            for (const auto &name : films)
                giveSample(name);
        if (moment == Moment::measuringOfRun || moment == Moment::running || moment == Moment::paused)
            model->startConversion();
        if (moment == Moment::sampling)
            model->startSampling({}, {});
        if (moment == Moment::clip)
            model->makeProbeClip();
        for (int i = 0; i < round % 7; ++i)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        if (moment == Moment::paused)
            model->togglePause();
        model.reset();
    }
    for (const auto &process : fs::directory_iterator("/proc"))
        EXPECT_EQ(readFile(process.path() / "cmdline").find(toolbox.path().native()), std::string::npos);
    EXPECT_EQ(names(folder.path()).size(), 4U);
    fs::remove_all(folder.path().native() + " (Kestrel)");
}

INSTANTIATE_TEST_SUITE_P(Model, Ending,
                         testing::Values(Moment::scanning, Moment::measuringOfRun, Moment::running,
                                         Moment::paused, Moment::sampling, Moment::clip));

} // namespace
} // namespace kestrel::test
