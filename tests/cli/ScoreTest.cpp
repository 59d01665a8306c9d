// "kestrel score" from outside.

#include <chrono>
#include <cmath>
#include <csignal>
#include <thread>

#include "cli/Program.h"
#include "platform/ChildProcess.h"

namespace kestrel::test {
namespace {

const std::string motion = "-f lavfi -i testsrc2=s=320x240:r=24000/1001:d=6 -vf scroll=h=0.0125:v=0.00833";
const std::string x264 = " -c:v libx264 -preset ultrafast -crf 10";

fs::path original()
{
    return Clips::make("scored.mkv", motion + x264);
}

// The film with these arguments of ffmpeg.
fs::path made(const std::string &name, const std::string &arguments)
{
    return Clips::make(name, "-i " + quoted(original()) + " " + arguments);
}

fs::path coarse()
{
    return made("scored-coarse.mp4", "-c:v libx264 -preset ultrafast -crf 40");
}

Json scored(const Words &arguments)
{
    const auto output = kestrel({"score", "--json"}, arguments);
    EXPECT_EQ(output.status, 0) << output.standardError;
    EXPECT_EQ(output.standardError, "");
    return lines(output.standardOutput).at(0);
}

TEST(Score, tellsTheScoreOfEveryPicture)
{
    const Json all = scored({original(), coarse()});
    EXPECT_EQ(keys(all), "vmaf frames");
    ASSERT_EQ(all["frames"].size(), 144U);
    double sum = 0;
    for (std::size_t i = 0; i < all["frames"].size(); ++i) {
        const Json &frame = all["frames"][i];
        EXPECT_EQ(keys(frame), "time vmaf integer_adm2 integer_motion2 integer_vif_scale0 integer_vif_scale1 "
                               "integer_vif_scale2 integer_vif_scale3");
        EXPECT_NEAR(frame["time"], static_cast<double>(i) * 1001 / 24000, 0.001);
        EXPECT_GT(frame["integer_motion2"], i > 0 ? 2 : -1) << "else a wrong picture would not show";
        sum += frame["vmaf"].get<double>();
    }
    EXPECT_NEAR(all["vmaf"], sum / 144, 1e-6);
    EXPECT_LT(all["vmaf"], 95);

    const Json third = scored({original(), coarse(), "--every", "3"});
    ASSERT_EQ(third["frames"].size(), 48U);
    EXPECT_EQ(third["frames"][5], all["frames"][15]);

    EXPECT_THAT(said({"score", original(), coarse(), "--every=3"}),
                testing::AllOf(ContainsRegex("VMAF [0-9]+,[0-9]{2}\n"),
                               ContainsRegex("niedrigstes Bild +[0-9]+,[0-9]{2} bei 0:0[0-9],[0-9]{3}\n"),
                               ContainsRegex("harmonisches Mittel +[0-9]+,[0-9]{2}\n"),
                               HasSubstr("48 (jedes 3.)\n")));
}

// Wherever the stretch begins, the same pictures meet, though the two films round their times differently.
TEST(Score, aStretchHasTheScoresOfTheWhole)
{
    const fs::path later =
        made("scored-later.ts", "-c:v libx264 -preset ultrafast -crf 40 -output_ts_offset 7");
    for (const auto &result : {coarse(), later}) {
        const Json all = scored({original(), result});
        for (const char *start : {"0", "1.001", "2.0", "2.085", "2.086", "3.3"}) {
            const Json part = scored({original(), result, "--start", start, "--length", "1.5"});
            ASSERT_GE(part["frames"].size(), 34U) << start;
            for (std::size_t i = 1; i < part["frames"].size() - 1; ++i) { // the ends have other neighbours
                const auto index = static_cast<std::size_t>(
                    std::lround(part["frames"][i]["time"].get<double>() * 24000 / 1001));
                EXPECT_NEAR(part["frames"][i]["vmaf"], all["frames"].at(index)["vmaf"], 0.01)
                    << result << " from " << start << ": " << i;
            }
        }
    }
}

TEST(Score, bringsFilmsOfDifferentKindTogether)
{
    // Nothing is lost but what the smaller size or depth costs.
    const fs::path large = Clips::make("scored-large.mkv", "-f lavfi -i testsrc2=s=640x480:r=24:d=3 -vf "
                                                           "scroll=h=0.0125:v=0.00833" +
                                                               x264);
    using Case = std::tuple<std::string, std::string, double>;
    for (const auto &[name, arguments, least] : std::vector<Case>{
             {"scored-small.mkv", "-vf scale=320:240:flags=bicubic", 99},
             {"scored-deep.mkv", "-pix_fmt yuv420p10le", 99},
             {"scored-full.mkv", "-vf scale=out_range=pc -pix_fmt yuv420p -color_range pc", 98.9},
             {"scored-rgb.mkv", "-pix_fmt gbrp10le", 98.9}}) {
        const fs::path other = Clips::make(name, "-i " + quoted(large) + " -c:v ffv1 " + arguments);
        EXPECT_GT(scored({large, other})["vmaf"], least) << name;
    }
    EXPECT_GT(scored({Clips::make("scored-small.mkv", ""), large})["vmaf"], 99);
}

TEST(Score, saysWhyFilmsDoNotBelongTogether)
{
    const Sandbox sandbox;
    const fs::path text = sandbox.write("text.mkv", "no film");
    const fs::path sound = Clips::make("scored-sound.mka", "-f lavfi -i sine=d=6 -c:a ac3");
    const std::vector<std::pair<Words, std::string>> cases{
        {{original()}, "Es fehlt ein Film, zum Beispiel: kestrel score Original.mkv Ergebnis.mkv"},
        {{original(), original(), original()}, "Unbekanntes Argument: "},
        {{original(), original(), "--codec", "av1SVT"}, "Unbekanntes Argument: --codec"},
        {{original(), original(), "--every", "0"}, "--every erwartet eine ganze Zahl ab 1."},
        {{original(), original(), "--start", "-1"}, "--start erwartet Sekunden ab 0"},
        {{original(), original(), "--start", "zwei"}, "--start erwartet Sekunden"},
        {{original(), original(), "--length", "0"}, "--length erwartet Sekunden ab 0.1"},
        {{original(), original(), "--start", "60"}, "--start liegt hinter dem Ende des Films."},
        {{original(), sandbox / "nichts"},
         "nichts“ kann nicht gelesen werden: Datei oder Ordner ist nicht vorhanden."},
        {{sandbox.path(), original()}, "ist ein Ordner; verglichen werden zwei Filme."},
        {{text, original()}, "text.mkv“ ist kein lesbarer Film."},
        {{original(), sound}, "scored-sound.mka“ enthält kein Bild."},
        {{original(), made("scored-short.mkv", "-t 2 -c:v ffv1")},
         "Die Filme gehören nicht zusammen: Der eine dauert 0:06, der andere 0:02."},
        {{original(), made("scored-wide.mkv", "-vf crop=320:180 -c:v ffv1")},
         "Die Filme gehören nicht zusammen: Ihre Bilder haben verschiedene Formen."},
        {{original(), made("scored-slower.mkv", "-vf fps=12 -c:v ffv1")},
         " von 144 Bildern haben im anderen Film kein Gegenstück."},
        {{Clips::make("scored-tiny.mkv", "-f lavfi -i testsrc2=s=8x8:d=1 -c:v ffv1"),
          Clips::make("scored-tiny.mkv", "")},
         "Die Filme gehören nicht zusammen: Die Bilder sind verschieden groß oder kleiner als 16 × 16 "
         "Pixel."},
    };
    for (const auto &[films, sentence] : cases) {
        Words words{"score"};
        words.insert(words.end(), films.begin(), films.end());
        expectRefused(words, HasSubstr(sentence));
    }
}

TEST(Score, anInterruptEndsItAtOnce)
{
    const fs::path slow =
        Clips::make("scored-slow.mkv", "-f lavfi -i testsrc2=s=1920x1080:r=25:d=20 -c:v libx264 "
                                       "-preset ultrafast -crf 30");
    ChildProcess program(KESTREL_PROGRAM, {"score", slow.native(), slow.native()});
    std::jthread interrupter([&] {
        std::this_thread::sleep_for(std::chrono::seconds(2));
        program.signal(SIGINT);
    });
    const auto begin = std::chrono::steady_clock::now();
    std::string complaint;
    EXPECT_EQ(program.communicate([](std::string_view) {}, [&](std::string_view text) { complaint += text; }),
              130);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4));
    EXPECT_EQ(complaint, "Abgebrochen.\n");
    for (const auto &process : fs::directory_iterator("/proc"))
        EXPECT_EQ(readFile(process.path() / "cmdline").find(slow.native()), std::string::npos);
}

} // namespace
} // namespace kestrel::test
