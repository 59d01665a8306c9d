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

namespace {

FileItem planned(const MediaInfo &info, const ConversionSettings &settings = {})
{
    FileItem item(info.url, info.url.parent_path());
    item.info = info;
    item.plan = Planner::plan(info, settings, std::nullopt);
    item.estimate = Estimator::estimate(info, *item.plan, settings, nullptr, std::nullopt, std::nullopt);
    return item;
}

struct Said {
    std::string title, details, word, reason;
    bool operator==(const Said &) const = default;
};
std::ostream &operator<<(std::ostream &out, const Said &said)
{
    return out << said.title << " | " << said.details << " | " << said.word << " | " << said.reason;
}

std::vector<Said> said(const FileItem &item, const ConversionSettings &settings = {})
{
    std::vector<Said> rows;
    for (const auto &track : TrackText::tracks(item, settings).rows)
        rows.push_back({track.title.toStdString(), track.details.toStdString(),
                        track.fate ? TrackText::word(track.fate->action).toStdString() : "",
                        track.fate ? track.fate->reason.toStdString() : ""});
    return rows;
}

Sampler::Step step(int crf, double vmaf, double bitrate)
{
    return {crf, bitrate, vmaf, vmaf - 2, 41.472, 50};
}

// Its steps in the order in which they were tried.
SampleResult aSearch()
{
    SampleResult sample;
    sample.qualityValue = 24;
    sample.vmafTarget = 95;
    sample.vmafMean = 95.2;
    sample.videoBitrate = 2'400'000;
    sample.heuristicBitrate = 3'000'000;
    sample.megapixelsPerSecond = 41.472;
    sample.measuredSeconds = 50;
    sample.steps = {step(23, 95.75, 2'700'000), step(26, 94.1, 1'900'000), step(24, 95.2, 2'400'000)};
    return sample;
}

} // namespace

TEST(DetailText, saysWhatBecomesOfEachTrackAndWhy)
{
    ConversionSettings settings;
    settings.resolution = TargetResolution::p720;
    settings.convertLosslessAudio = true;
    MediaInfo film = aFilm()
                         .video("h264", 1920, 1080, 24000 / 1001.0)
                         .interlaced()
                         .audio("truehd", "deu", 8)
                         .asDefault()
                         .audio("ac3", "eng", 6)
                         .audio("aac", "deu", 2)
                         .asCommentary()
                         .subtitle("subrip", "deu")
                         .asForced()
                         .subtitle("eia_608", "eng");
    film.audio[1].bitrate = 448'000;
    film.audio[2].title = "Der Regisseur erzählt";
    EXPECT_THAT(
        said(planned(film, settings), settings),
        ElementsAre(
            Said{"H.264 · 1920×1080", "23,976 fps · 8 Bit · Zeilensprungverfahren (interlaced) · 10,0 Mbit/s",
                 "umwandeln", "wird neu kodiert: HEVC, CRF 23, 1280×720, Vollbilder"},
            Said{"Deutsch · TrueHD 7.1", "Standard", "umwandeln", "verlustfrei → E-AC3 640 kbit/s, 5.1"},
            Said{"Englisch · AC3 5.1", "448 kbit/s", "entfernen", "Englisch nicht gewählt"},
            Said{"Deutsch · AAC Stereo", "Kommentar · „Der Regisseur erzählt“", "entfernen",
                 "Kommentar/Audiodeskription"},
            Said{"Deutsch · SRT", "erzwungen", "behalten", "wird kopiert"},
            Said{"Englisch · EIA_608", "", "entfernen", "Format EIA_608 in MKV nicht möglich"}));
    EXPECT_EQ(said(planned(aFilm().video("hevc", 3840, 2160).bitrate(3'000'000).hdr().dolbyVision()))[0],
              (Said{"HEVC · 3840×2160", "25 fps · 8 Bit · HDR (PQ) · Dolby Vision · 3,0 Mbit/s", "behalten",
                    "bereits HEVC in passender Qualität – bleibt unverändert"}));
}

TEST(DetailText, leavesOutWhatIsNotKnown)
{
    MediaInfo film =
        aFilm().video("", 0, 0, 0).unknownBitrate().duration(0).container("").audio("aac", "und", 0);
    film.video->bitDepth = 0;
    film.audio[0].bitrate = 0;
    film.audio.push_back(film.audio[0]);
    film.audio[1].channels = -1;
    film.audio[0].title = "  ";
    const FileItem item = planned(film);
    const auto rows = said(item);
    EXPECT_EQ(rows[0].title + rows[0].details, "");
    EXPECT_EQ(rows[1].title, "Unbekannt · AAC");
    EXPECT_EQ(rows[1].details, "");
    EXPECT_EQ(rows[2], rows[1]);
    for (const auto &fact : DetailText::facts(item)) {
        const bool isKnown = fact.name == QStringLiteral("Größe");
        EXPECT_EQ(fact.value == QStringLiteral("–"), !isKnown) << fact.name.toStdString();
    }
}

TEST(DetailText, doesNotShowADurationThatCannotBeTrue)
{
    MediaInfo film = aFilm().duration(1e308);
    film.lastPacket = 3600;
    EXPECT_EQ(DetailText::facts(planned(film))[1].value, QStringLiteral("1:00:00"));
    film.lastPacket.reset();
    EXPECT_EQ(DetailText::facts(planned(film))[1].value, QStringLiteral("–"));
}

TEST(DetailText, aFileThatIsDoneHasNothingBeforeIt)
{
    FileItem item = planned(aFilm().audio("ac3", "eng"));
    EXPECT_EQ(said(item)[0].word, "umwandeln");
    item.status = Status::Done{4'000'000'000, 2'000'000'000};
    EXPECT_EQ(said(item)[0].word, "");
    EXPECT_FALSE(DetailText::command(item, {}, Tools{.ffmpeg = "/usr/bin/ffmpeg"}));
    EXPECT_FALSE(DetailText::estimate(item));
}

TEST(DetailText, splitsTheExpectedSizeAndNeverMoreThanTheWhole)
{
    const FileItem film = planned(aFilm().audio("ac3", "deu", 6));
    const auto estimate = *DetailText::estimate(film);
    double sum = 0;
    for (const auto &part : estimate.parts)
        sum += part.bytes;
    EXPECT_DOUBLE_EQ(sum, film.estimate->total());
    EXPECT_EQ(estimate.whole, 4'500'000'000.0);
    EXPECT_FALSE(estimate.saving.isEmpty());

    const auto grown = *DetailText::estimate(planned(aFilm().fileSize(2'000'000)));
    EXPECT_GT(grown.whole, 2e6);
    EXPECT_TRUE(grown.saving.isEmpty());

    const auto same = *DetailText::estimate(planned(aFilm().video("hevc", 1920, 1080).bitrate(1'000'000)));
    EXPECT_TRUE(same.parts.empty());
    EXPECT_EQ(DetailText::estimate(planned(aFilm().duration(0)))->sizes.toStdString(), "4,2 GB → –");
    EXPECT_THAT(same.explanation.toStdString(), HasSubstr("nichts zu tun"));

    FileItem measured = film;
    measured.estimate->kind = SizeEstimate::Kind::measured;
    EXPECT_THAT(DetailText::estimate(measured)->explanation.toStdString(),
                HasSubstr("probeweise kodiert wurden"));
    measured.estimate->vmaf = 95;
    EXPECT_THAT(DetailText::estimate(measured)->explanation.toStdString(), HasSubstr("Qualität bewertet"));
}

TEST(DetailText, saysWhatHappensToTheFile)
{
    FileItem item = planned(aFilm());
    const auto text = [&](const JobStatus &status) {
        item.status = status;
        return DetailText::state(item).text.toStdString();
    };
    text(Status::Analyzing{0.3});
    EXPECT_EQ(DetailText::state(item).bar, 0.3);
    EXPECT_EQ(text(Status::Failed{"Kaputt.\nGanz\tund gar."}), "Kaputt. Ganz und gar.");
    EXPECT_EQ(DetailText::error(item)->toStdString(), "Kaputt.\nGanz und gar.");
    item = FileItem("/filme/Neu.mkv", "/filme");
    item.probeError = "/filme/Neu.mkv: Invalid data found when processing input";
    text(Status::Idle{});
    EXPECT_TRUE(DetailText::error(item)->startsWith("Datei konnte nicht gelesen werden:\n"));
    item.probeError = "Datei konnte nicht gelesen werden";
    EXPECT_EQ(DetailText::error(item), "Datei konnte nicht gelesen werden");
}

TEST(DetailText, saysWhyAFileIsLeftAlone)
{
    FileItem item = planned(aFilm());
    item.plan->isNoop = true;
    item.plan->leftAlone = "enthält zwei Filme";
    EXPECT_EQ(DetailText::estimate(item)->explanation, "Diese Datei bleibt, wie sie ist: enthält zwei Filme");
}

TEST(DetailText, cleansWhatComesFromFiles)
{
    EXPECT_EQ(DetailText::line("Film \xff\xc3.mkv").toStdString(), "Film \uFFFD\uFFFD.mkv");
    EXPECT_EQ(DetailText::line("eins\nzwei\x1b[31m").toStdString(), "eins zwei [31m");
    EXPECT_EQ(DetailText::line("gut\u202Egnp.exe").toStdString(), "gutgnp.exe");
    EXPECT_EQ(DetailText::line("<b>Titel</b> \U0001F3AC").toStdString(), "<b>Titel</b> \U0001F3AC");
    EXPECT_EQ(DetailText::lines("a\nb\r\n").toStdString(), "a\nb \n");
}

TEST(DetailText, listsTheStepsOfASearchByCrf)
{
    const auto search = SearchText::search(aSearch(), {1920, 1080});
    ASSERT_EQ(search.rows.size(), 3U);
    EXPECT_EQ(search.rows[1],
              (SearchText::Search::Row{QStringLiteral("24"), QStringLiteral("95,2"), QStringLiteral("93,2"),
                                       QStringLiteral("2,4 Mbit/s"), QStringLiteral("20 fps"), true}));
    EXPECT_FALSE(search.rows[0].isChosen || search.rows[2].isChosen);
    EXPECT_EQ(SearchText::searchInWords(aSearch()).toStdString(),
              "CRF 23: VMAF 95,8; CRF 24: VMAF 95,2 (gewählt); CRF 26: VMAF 94,1. Ziel: VMAF 95,0");

    SampleResult missed = aSearch();
    EXPECT_THAT(search.summary.toStdString(), testing::Not(HasSubstr("Ziel erreicht")));
    missed.vmafMean = 94.8;
    EXPECT_THAT(SearchText::search(missed, {}).summary.toStdString(),
                HasSubstr("Kein Wert hat das Ziel erreicht"));

    SampleResult unscored = aSearch();
    unscored.steps = {{24, 2'400'000, {}, {}, 0, 50}};
    unscored.vmafTarget.reset();
    unscored.vmafMean.reset();
    const auto measured = SearchText::search(unscored, {});
    EXPECT_FALSE(measured.hasScores);
    EXPECT_EQ(measured.rows[0].speed.toStdString(), "–");
    EXPECT_THAT(measured.summary.toStdString(), HasSubstr("weil das Messen abgeschaltet war"));
    SampleResult scored = aSearch();
    scored.scorer = "Eigene Messung 1";
    EXPECT_THAT(SearchText::search(scored, {}).summary.toStdString(), testing::EndsWith("Eigene Messung 1"));
}

TEST(DetailText, hasACommandOnlyWhereSomethingIsToBeDone)
{
    const Tools tools{.ffmpeg = "/usr/bin/ffmpeg"};
    const FileItem film = planned(aFilm().named("Ein Film.avi"));
    const auto command = DetailText::command(film, {}, tools);
    ASSERT_TRUE(command);
    EXPECT_THAT(command->toStdString(), StartsWith("/usr/bin/ffmpeg -nostdin"));
    EXPECT_THAT(command->toStdString(), HasSubstr(" -i '/filme/Ein Film.avi' "));
    EXPECT_THAT(command->toStdString(), testing::EndsWith("'/filme/Ein Film (ffmpeg).mkv'"));
    EXPECT_THAT(command->toStdString(), HasSubstr(" -n "));
    EXPECT_THAT(command->toStdString(), testing::Not(HasSubstr(" -y ")));
    EXPECT_FALSE(DetailText::command(film, {}, std::nullopt));
    EXPECT_FALSE(
        DetailText::command(planned(aFilm().video("hevc", 1920, 1080).bitrate(1'000'000)), {}, tools));
}

// As a shell reads it.
TEST(DetailText, commandsCanBePastedWhateverFilesAreCalled)
{
    for (const std::string name :
         {"A$HOME `id` \\ 'x' \"y\" *.avi", "a|b>c&d;e#f!g{h}[i]~.avi", "-ä \xc2\xa0.avi",
          "x\n\t\x1b[31m.avi", "B\u00e4cker\t1.avi", "gut\u202Egnp'\\.avi", "\xff\xfe 1.avi"}) {
        const auto command =
            DetailText::command(planned(aFilm().named(name)), {}, Tools{.ffmpeg = "/usr/bin/printf"});
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
    struct Case {
        double lowest, highest;
        int most;
        double least;
        Chart::Axis axis;
    };
    for (const Case &entry : std::vector<Case>{{23, 26, 12, 1, {22, 27, 1}},
                                               {24, 24, 12, 1, {23, 25, 1}},
                                               {14, 24, 8, 1, {12, 26, 2}},
                                               {94.9, 95.3, 6, 0.2, {94.8, 95.4, 0.2}},
                                               {14, 36, 6, 1, {10, 40, 5}},
                                               {94.1, 95.8, 6, 0.2, {93.5, 96, 0.5}}}) {
        const auto axis = Chart::axisOver(entry.lowest, entry.highest, entry.most, entry.least);
        EXPECT_DOUBLE_EQ(axis.from, entry.axis.from) << entry.lowest;
        EXPECT_DOUBLE_EQ(axis.to, entry.axis.to) << entry.lowest;
        EXPECT_DOUBLE_EQ(axis.step, entry.axis.step) << entry.lowest;
    }
    EXPECT_THAT((Chart::Axis{22, 24, 1}.ticks()), ElementsAre(22, 23, 24));
    EXPECT_THAT((Chart::Axis{94.8, 95.4, 0.2}.ticks()), testing::SizeIs(4));
    EXPECT_EQ((Chart::Axis{22, 24, 1}.digits()), 0);
    EXPECT_EQ((Chart::Axis{94.8, 95.4, 0.2}.digits()), 1);
}

TEST(SearchChart, drawsEachValueInItsPlace)
{
    const Chart::Plane plane{QRectF(40, 10, 200, 100), {20, 30, 1}, {90, 100, 1}};
    EXPECT_EQ(plane.at(20, 90), QPointF(40, 110));
    EXPECT_EQ(plane.at(30, 100), QPointF(240, 10));
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
