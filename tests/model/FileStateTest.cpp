#include "model/FileState.h"

#include <gtest/gtest.h>

#include "model/Library.h"
#include "support/Builders.h"

namespace kestrel::test {
namespace {

FileItem planned(const MediaInfo &info, const ConversionSettings &settings = {})
{
    FileItem item("/filme/a.mkv", "/filme");
    item.info = info;
    const PlannedFile planned = PlannedFile::of(info, settings, {});
    item.plan = planned.plan;
    item.estimate = planned.estimate;
    return item;
}

// All words for a file, wherever they are shown.
TEST(FileState, everyStateHasItsWordsInOnePlace)
{
    FileItem item = planned(aFilm());
    item.fps = 87.6;
    constexpr std::int64_t gigabyte = 1'073'741'824;
    struct Case {
        JobStatus status;
        const char *id, *cell, *sentence, *line, *page;
    };
    for (const auto &[status, id, cell, sentence, line, page] : std::vector<Case>{
             {Status::Idle{}, "idle", "bereit zum Konvertieren", "bereit zum Konvertieren",
              "bereit zum Konvertieren", "bereit zum Konvertieren"},
             {Status::Queued{}, "idle", "wartet", "wartet", "wartet", "wartet"},
             {Status::Analyzing{0.5}, "analyzing", "Qualitätsprüfung", "Qualitätsprüfung", "Qualitätssuche",
              "Qualitätsprüfung"},
             {Status::Analyzing{0.5, false}, "analyzing", "Qualitätsprüfung", "Qualitätsprüfung",
              "Probekodierung", "Qualitätsprüfung"},
             {Status::Running{0.437}, "running", "43 % · 88 fps", "wird konvertiert 43 % · 88 fps",
              "wird konvertiert", "kodiert 43 % · 88 fps"},
             {Status::Uploading{}, "uploading", "wird hochgeladen", "wird hochgeladen", "wird hochgeladen",
              "wird hochgeladen"},
             {Status::Done{2 * gigabyte, gigabyte}, "done", "Ergebnis: −50 %|2,0 GB → 1,0 GB",
              "Ergebnis: 2,0 GB → 1,0 GB (−50 %)", "fertig, 2,0 GB → 1,0 GB (−50 %)",
              "2,0 GB → 1,0 GB (−50 %)"},
             {Status::Done{2 * gigabyte, gigabyte, "Original\nnoch da."}, "done",
              "Ergebnis: −50 %|2,0 GB → 1,0 GB", "Ergebnis: 2,0 GB → 1,0 GB (−50 %). Original noch da.",
              "fertig, 2,0 GB → 1,0 GB (−50 %). Original noch da.", "2,0 GB → 1,0 GB (−50 %)"},
             {Status::NoSavings{gigabyte}, "noSavings", "Original bleibt|keine Ersparnis",
              "Das Ergebnis (1,0 GB) wäre nicht genug kleiner gewesen – Original bleibt.",
              "Das Ergebnis (1,0 GB) wäre nicht genug kleiner gewesen – Original bleibt.", "keine Ersparnis"},
             {Status::NoSavings{gigabyte, false}, "noSavings", "Original bleibt|keine Ersparnis",
              "Messung: bei gleicher Qualität kaum Ersparnis – bleibt unverändert",
              "Messung: bei gleicher Qualität kaum Ersparnis – bleibt unverändert", "keine Ersparnis"},
             {Status::Failed{"/a.mkv: Invalid\ndata", true}, "failed",
              "Fehler|ffprobe meldet einen Fehler: /a.mkv: Invalid data",
              "ffprobe meldet einen Fehler: /a.mkv: Invalid data",
              "Fehler: ffprobe meldet einen Fehler: /a.mkv: Invalid data", "Fehler"}}) {
        item.status = status;
        const FileState state = FileState::of(item);
        EXPECT_EQ(state.id(), id);
        EXPECT_EQ(state.title() + (state.detail().empty() ? "" : "|" + state.detail()), cell);
        EXPECT_EQ(state.sentence(), sentence);
        EXPECT_EQ(state.line(), line);
        EXPECT_EQ(state.brief(), page);
        EXPECT_EQ(state.isInWork(), isInWork(status));
    }
    item.isSampling = true;
    EXPECT_EQ(FileState::of(item).sentence(), "Stichprobe wird gemessen") << "also after a run";
    EXPECT_EQ(FileState::of(item).brief(), "Qualitätsprüfung");
}

TEST(FileState, saysWhyNothingHappens)
{
    FileItem item = planned(aFilm());
    const auto sentence = [&] { return FileState::of(item).sentence(); };
    item.included = false;
    EXPECT_EQ(sentence(), "nicht angehakt – wird nicht konvertiert");
    item.plan->isNoop = true;
    EXPECT_EQ(sentence(), "nichts zu tun");
    item.plan->leftAlone = "enthält zwei Filme";
    EXPECT_EQ(sentence(), "enthält zwei Filme");
    item.mayBeIncomplete = true;
    EXPECT_EQ(sentence(), "wird evtl. noch kopiert");
    item = FileItem("/filme/Neu.mkv", "/filme");
    EXPECT_EQ(sentence(), "noch nicht analysiert");
    item.probeError = "[mov] moov atom not found\n/a.mkv: Invalid data found when processing input";
    EXPECT_EQ(sentence(), "nicht lesbar: kein Video oder unvollständig");
    EXPECT_EQ(FileState::of(item).title(), "kein Video oder unvollständig");
    EXPECT_EQ(FileState::of(item).help(), "Datei konnte nicht gelesen werden:\n" + *item.probeError);
    item.probeError = "[mov] moov atom not found\n/a.mkv: Protocol not found";
    EXPECT_EQ(FileState::of(item).line(), "nicht lesbar: Protocol not found") << "as the program says it";
}

TEST(FileState, aRunsPlanIsShownAsLongAsTheFileIsInIt)
{
    FileItem item = planned(aFilm(), [] {
        ConversionSettings settings;
        settings.codec = VideoCodecChoice::keepVideo;
        return settings;
    }());
    ASSERT_TRUE(item.plan->isNoop);
    const auto hevc = std::make_shared<const ConversionSettings>();
    SampleResult sample;
    sample.videoBitrate = 2e6;
    sample.qualityValue = 24;
    sample.vmafMean = 95.15;
    sample.vmafTarget = 95;
    sample.megapixelsPerSecond = 50;
    item.status = Status::Running{0.1};
    item.included = false;
    item.inRun = {hevc, PlannedFile::of(*item.info, *hevc, {.sample = &sample})};
    EXPECT_EQ(FileState::of(item).line(), "wird konvertiert mit CRF 24 (VMAF 95,2)");
    EXPECT_TRUE(item.entersSums() && item.willBeConverted());
    EXPECT_LT(item.bytesAfter(), static_cast<double>(item.sizeValue()));
    EXPECT_TRUE(item.isChoosable());
    item.status = Status::Idle{};
    item.inRun.reset();
    EXPECT_FALSE(item.entersSums());
    EXPECT_EQ(item.bytesAfter(), static_cast<double>(item.sizeValue()));
}

TEST(VideoText, saysWhatBecomesOfThePicture)
{
    ConversionSettings settings;
    settings.resolution = TargetResolution::p720;
    const auto text = [&](const MediaInfo &info) {
        return VideoText::of(info, PlannedFile::of(info, settings, {}).plan, settings);
    };
    EXPECT_EQ(text(aFilm()).whole(), "1080p · H.264 → 720p HEVC");
    EXPECT_EQ(text(aFilm()).brief(), "H.264 → 720p HEVC");
    EXPECT_EQ(text(aFilm().interlaced()).fate, "wird neu kodiert: HEVC, CRF 23, 1280×720, Vollbilder");
    EXPECT_EQ(text(aFilm().hdr()).source, "H.264 · HDR");
    EXPECT_EQ(text(aFilm().withoutVideo()).whole(), "kein Video");
    settings.codec = VideoCodecChoice::keepVideo;
    EXPECT_EQ(text(aFilm()).whole(), "1080p · H.264");
    EXPECT_EQ(text(aFilm()).fate, "Video bleibt unverändert");
}

TEST(FolderProgress, isFinishedWhenNothingIsLeftToDo)
{
    std::vector<FileItem> items(4, planned(aFilm()));
    std::vector<FileItem *> files;
    for (FileItem &item : items)
        files.push_back(&item);
    EXPECT_EQ(folderProgress(files).outcome(), "");
    items[0].status = Status::Done{2, 1};
    items[0].isOfRun = true;
    for (std::size_t i = 1; i < items.size(); ++i)
        items[i].isOfRun = false;
    EXPECT_EQ(folderProgress(files).outcome(), "1 von 4 konvertiert");
    EXPECT_EQ(folderProgress(files).count, 1U) << "the run's files";
    items[1].plan->isNoop = true;
    items[2].status = Status::NoSavings{2};
    EXPECT_EQ(folderProgress(files).outcome(), "1 von 2 konvertiert");
    items[3].plan->isNoop = true;
    EXPECT_EQ(folderProgress(files).outcome(), "fertig");
}

} // namespace
} // namespace kestrel::test
