#include "media/ProcessRunner.h"
#include "model/ModelFixture.h"
#include "planning/Planner.h"
#include "support/Builders.h"
#include "ui/detail/DetailText.h"
#include "ui/detail/SearchChart.h"
#include "ui/detail/SearchText.h"
#include "ui/detail/TrackText.h"
#include "ui/look/Theme.h"

namespace kestrel::test {

using testing::AllOf;
using testing::DoubleEq;
using testing::EndsWith;
using testing::FieldsAre;
using testing::Not;

namespace {

const Tools usualTools{.ffmpeg = "/usr/bin/ffmpeg"};

FileItem planned(const MediaInfo &info, const ConversionSettings &settings = {})
{
    FileItem item(info.url, info.url.parent_path());
    item.info = info;
    item.plan = Planner::plan(info, settings, std::nullopt);
    item.estimate = Estimator::estimate(info, *item.plan, settings, nullptr, std::nullopt, std::nullopt);
    return item;
}

// "title | details | word | reason" of each track.
std::vector<std::string> said(const FileItem &item, const ConversionSettings &settings = {})
{
    std::vector<std::string> rows;
    for (const auto &track : TrackText::tracks(item, settings).rows) {
        QStringList row{track.title, track.details};
        if (track.fate)
            row << TrackText::word(track.fate->action) << track.fate->reason;
        rows.push_back(row.join(" | ").toStdString());
    }
    return rows;
}

// Its steps in the order in which they were tried.
SampleResult aSearch()
{
    return {.videoBitrate = 2'400'000,
            .vmafMean = 95.2,
            .megapixelsPerSecond = 41.472,
            .measuredSeconds = 50,
            .heuristicBitrate = 3'000'000,
            .qualityValue = 24,
            .vmafTarget = 95,
            .steps = {{23, 2'700'000, 95.75, 93.75, 41.472, 50},
                      {26, 1'900'000, 94.1, 92.1, 41.472, 50},
                      {24, 2'400'000, 95.2, 93.2, 41.472, 50}}};
}

std::string summary(const SampleResult &sample)
{
    return SearchText::search(sample, {}).summary.toStdString();
}

} // namespace

TEST(DetailText, saysWhatBecomesOfEachTrackAndWhy)
{
    ConversionSettings settings;
    settings.resolution = TargetResolution::p720;
    settings.convertLosslessAudio = true;
    const MediaInfo film = aFilm()
                               .video("h264", 1920, 1080, 24000 / 1001.0)
                               .interlaced()
                               .audio("truehd", "deu", 8)
                               .asDefault()
                               .audio("ac3", "eng", 6)
                               .audioBitrate(448'000)
                               .audio("aac", "deu", 2)
                               .asCommentary()
                               .titled("Der Regisseur erzählt")
                               .subtitle("subrip", "deu")
                               .asForced()
                               .subtitle("eia_608", "eng");
    EXPECT_THAT(
        said(planned(film, settings), settings),
        ElementsAre(
            "H.264 · 1920×1080 | 23,976 fps · 8 Bit · Zeilensprungverfahren (interlaced) · 10,0 Mbit/s | "
            "umwandeln | wird neu kodiert: HEVC, CRF 23, 1280×720, Vollbilder",
            "Deutsch · TrueHD 7.1 | Standard | umwandeln | verlustfrei → E-AC3 640 kbit/s, 5.1",
            "Englisch · AC3 5.1 | 448 kbit/s | entfernen | Englisch nicht gewählt",
            "Deutsch · AAC Stereo | Kommentar · „Der Regisseur erzählt“ | entfernen | "
            "Kommentar/Audiodeskription",
            "Deutsch · SRT | erzwungen | behalten | wird kopiert",
            "Englisch · EIA_608 |  | entfernen | Format EIA_608 in MKV nicht möglich"));
    EXPECT_EQ(said(planned(aFilm().video("hevc", 3840, 2160).bitrate(3'000'000).hdr().dolbyVision()))[0],
              "HEVC · 3840×2160 | 25 fps · 8 Bit · HDR (PQ) · Dolby Vision · 3,0 Mbit/s | behalten | bereits "
              "HEVC in passender Qualität – bleibt unverändert");
}

TEST(DetailText, leavesOutWhatIsNotKnownOrCannotBeTrue)
{
    MediaInfo film =
        aFilm().video("", 0, 0, 0).unknownBitrate().duration(0).container("").audio("aac", "und", 0);
    film.video->bitDepth = 0;
    film.audio[0].bitrate = 0;
    film.audio.push_back(film.audio[0]);
    film.audio[1].channels = -1;
    film.audio[0].title = "  ";
    FileItem item = planned(film);
    item.plan.reset();
    EXPECT_THAT(said(item), ElementsAre(" | ", "Unbekannt · AAC | ", "Unbekannt · AAC | "));
    for (const auto &[name, value] : DetailText::facts(item))
        EXPECT_EQ(value == "–", name != "Größe") << name.toStdString();

    MediaInfo endless = aFilm().duration(1e308);
    EXPECT_EQ(DetailText::facts(planned(endless))[1].value, "–");
    endless.lastPacket = 3600;
    EXPECT_EQ(DetailText::facts(planned(endless))[1].value, "1:00:00");
}

TEST(DetailText, aFileThatIsDoneHasNothingBeforeIt)
{
    FileItem item = planned(aFilm().audio("ac3", "eng"));
    EXPECT_THAT(said(item)[0], HasSubstr(" | umwandeln | "));
    item.status = Status::Done{4'000'000'000, 2'000'000'000};
    EXPECT_THAT(said(item)[0], EndsWith(" Mbit/s"));
    EXPECT_FALSE(DetailText::command(item, {}, usualTools));
    EXPECT_FALSE(DetailText::estimate(item));
}

TEST(DetailText, splitsTheExpectedSizeAndNeverMoreThanTheWhole)
{
    const auto estimate = [](const FileItem &item) { return DetailText::estimate(item).value(); };
    const auto explanation = [](const FileItem &item) {
        return DetailText::estimate(item)->explanation.toStdString();
    };
    const FileItem film = planned(aFilm().audio("ac3", "deu", 6));
    double sum = 0;
    for (const auto &part : estimate(film).parts)
        sum += part.bytes;
    EXPECT_DOUBLE_EQ(sum, film.estimate->total());
    EXPECT_EQ(estimate(film).whole, 4'500'000'000.0);
    EXPECT_FALSE(estimate(film).saving.isEmpty());

    const FileItem grown = planned(aFilm().fileSize(2'000'000));
    EXPECT_GT(estimate(grown).whole, 2e6);
    EXPECT_TRUE(estimate(grown).saving.isEmpty());
    EXPECT_EQ(estimate(planned(aFilm().duration(0))).sizes, "4,2 GB → –");

    FileItem same = planned(aFilm().video("hevc", 1920, 1080).bitrate(1'000'000));
    EXPECT_TRUE(estimate(same).parts.empty());
    EXPECT_THAT(explanation(same), HasSubstr("nichts zu tun"));
    same.plan->leftAlone = "enthält zwei Filme";
    EXPECT_EQ(explanation(same), "Diese Datei bleibt, wie sie ist: enthält zwei Filme");

    FileItem measured = film;
    measured.estimate->kind = SizeEstimate::Kind::measured;
    EXPECT_THAT(explanation(measured), HasSubstr("probeweise kodiert wurden"));
    measured.estimate->vmaf = 95;
    EXPECT_THAT(explanation(measured), HasSubstr("Qualität bewertet"));
}

TEST(DetailText, saysWhatHappensToTheFile)
{
    FileItem item = planned(aFilm());
    item.status = Status::Analyzing{0.3};
    EXPECT_EQ(DetailText::state(item).bar, 0.3);
    item.status = Status::Failed{"Kaputt.\nGanz\tund gar."};
    EXPECT_EQ(DetailText::state(item).text, "Kaputt. Ganz und gar.");
    EXPECT_EQ(DetailText::error(item), "Kaputt.\nGanz und gar.");
    item = FileItem("/filme/Neu.mkv", "/filme");
    item.probeError = "/filme/Neu.mkv: Invalid data found when processing input";
    EXPECT_TRUE(DetailText::error(item)->startsWith("Datei konnte nicht gelesen werden:\n"));
}

TEST(DetailText, cleansWhatComesFromFiles)
{
    EXPECT_EQ(DetailText::line("Film \xff\xc3.mkv"), "Film \uFFFD\uFFFD.mkv");
    EXPECT_EQ(DetailText::line("eins\nzwei\x1b[31m"), "eins zwei [31m");
    EXPECT_EQ(DetailText::line("gut\u202Egnp.exe"), "gutgnp.exe");
    EXPECT_EQ(DetailText::line("<b>Titel</b> \U0001F3AC"), "<b>Titel</b> \U0001F3AC");
    EXPECT_EQ(DetailText::lines("a\nb\r\n"), "a\nb \n");
}

TEST(DetailText, listsTheStepsOfASearchByCrf)
{
    const auto search = SearchText::search(aSearch(), {1920, 1080});
    ASSERT_EQ(search.rows.size(), 3U);
    EXPECT_EQ(search.rows[1], (SearchText::Search::Row{"24", "95,2", "93,2", "2,4 Mbit/s", "20 fps", true}));
    EXPECT_FALSE(search.rows[0].isChosen || search.rows[2].isChosen);
    EXPECT_EQ(SearchText::searchInWords(aSearch()),
              "CRF 23: VMAF 95,8; CRF 24: VMAF 95,2 (gewählt); CRF 26: VMAF 94,1. Ziel: VMAF 95,0");

    SampleResult sample = aSearch();
    EXPECT_THAT(summary(sample), Not(HasSubstr("Ziel erreicht")));
    sample.scorer = "Eigene Messung 1";
    EXPECT_THAT(summary(sample), EndsWith("Eigene Messung 1"));
    sample.vmafMean = 94.8;
    EXPECT_THAT(summary(sample), HasSubstr("Kein Wert hat das Ziel erreicht"));

    const SampleResult unscored{
        .videoBitrate = 2'400'000, .qualityValue = 24, .steps = {{24, 2'400'000, {}, {}, 0, 50}}};
    EXPECT_FALSE(SearchText::search(unscored, {}).hasScores);
    EXPECT_EQ(SearchText::search(unscored, {}).rows[0].speed, "–");
    EXPECT_THAT(summary(unscored), HasSubstr("weil das Messen abgeschaltet war"));
}

TEST(DetailText, hasACommandOnlyWhereSomethingIsToBeDone)
{
    const FileItem film = planned(aFilm().named("Ein Film.avi"));
    EXPECT_THAT(DetailText::command(film, {}, usualTools)->toStdString(),
                AllOf(StartsWith("/usr/bin/ffmpeg -nostdin"), HasSubstr(" -i '/filme/Ein Film.avi' "),
                      EndsWith("'/filme/Ein Film (ffmpeg).mkv'"), HasSubstr(" -n "), Not(HasSubstr(" -y "))));
    EXPECT_FALSE(DetailText::command(film, {}, std::nullopt));
    EXPECT_FALSE(
        DetailText::command(planned(aFilm().video("hevc", 1920, 1080).bitrate(1'000'000)), {}, usualTools));
}

// As a shell reads it.
TEST(DetailText, commandsCanBePastedWhateverFilesAreCalled)
{
    for (const std::string name :
         {"A$HOME `id` \\ 'x' \"y\" *.avi", "a|b>c&d;e#f!g{h}[i]~.avi", "-ä \xc2\xa0.avi",
          "x\n\t\x1b[31m.avi", "B\u00e4cker\t1.avi", "gut\u202Egnp'\\.avi", "\xff\xfe 1.avi"}) {
        const auto command = DetailText::command(planned(aFilm().named(name)), {}, usualTools);
        ASSERT_TRUE(command);
        EXPECT_EQ(DetailText::line(command->toStdString()), *command) << "all of it is seen";
        const std::string script = "set -- " + command->toStdString() +
                                   "; while [ \"$1\" != -i ]; do shift; done; "
                                   "printf %s \"$2\"";
        EXPECT_EQ(ProcessRunner::run("/bin/bash", {"-c", script}, {}).standardOutput, "/filme/" + name);
    }
}

TEST(SearchChart, axesHaveRoundTicksAroundTheValues)
{
    using Case = std::tuple<double, double, int, double, Chart::Axis>;
    for (const auto &[lowest, highest, most, least, axis] :
         std::vector<Case>{{23, 26, 12, 1, {22, 27, 1}},
                           {24, 24, 12, 1, {23, 25, 1}},
                           {14, 24, 8, 1, {12, 26, 2}},
                           {94.9, 95.3, 6, 0.2, {94.8, 95.4, 0.2}},
                           {14, 36, 6, 1, {10, 40, 5}},
                           {94.1, 95.8, 6, 0.2, {93.5, 96, 0.5}}})
        EXPECT_THAT(Chart::axisOver(lowest, highest, most, least),
                    FieldsAre(DoubleEq(axis.from), DoubleEq(axis.to), DoubleEq(axis.step)))
            << lowest;
    const Chart::Axis whole{22, 24, 1}, tenths{94.8, 95.4, 0.2};
    EXPECT_THAT(whole.ticks(), ElementsAre(22, 23, 24));
    EXPECT_THAT(tenths.ticks(), testing::SizeIs(4));
    EXPECT_EQ(whole.digits(), 0);
    EXPECT_EQ(tenths.digits(), 1);
    const Chart::Plane plane{QRectF(40, 10, 200, 100), {20, 30, 1}, {90, 100, 1}};
    EXPECT_EQ(plane.at(20, 90), QPointF(40, 110));
    EXPECT_EQ(plane.at(25, 97.5), QPointF(140, 35));
}

TEST(SearchChart, textsKeepClearOfTheLines)
{
    const QRectF within(0, 0, 100, 100), first(0, 0, 20, 20), second(40, 40, 20, 20), outside(90, 0, 20, 20);
    EXPECT_EQ(Chart::freePlace({first, second}, within, {}), first);
    EXPECT_EQ(Chart::freePlace({first, second}, within, {{-5, 10, 50, 10}}), second);
    EXPECT_EQ(Chart::freePlace({first, second}, within, {{5, 5, 10, 10}}), second);
    EXPECT_EQ(Chart::freePlace({outside, second}, within, {}), second);
    EXPECT_EQ(Chart::freePlace({first, second}, within, {{0, 0, 100, 100}}), first);
}

} // namespace kestrel::test
