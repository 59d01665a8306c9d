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
    const Status::Done done{2 * gigabyte, gigabyte}, doneBut{2 * gigabyte, gigabyte, "Original\nnoch da."};
    const std::string sizes = "2,0 GB → 1,0 GB (−50 %)",
                      words = "ffprobe meldet einen Fehler: /a.mkv: Invalid data",
                      tooLarge = "Das Ergebnis (1,0 GB) wäre nicht genug kleiner gewesen – Original bleibt.",
                      measured = "Messung: bei gleicher Qualität kaum Ersparnis – bleibt unverändert";
    struct Case {
        JobStatus status;
        std::string id, sentence;
        std::string cell = sentence, line = sentence, page = sentence;
    };
    for (const auto &[status, id, sentence, cell, line, page] :
         {Case{Status::Idle{}, "idle", "bereit zum Konvertieren"}, Case{Status::Queued{}, "idle", "wartet"},
          Case{Status::Analyzing{0.5}, "analyzing", "Qualitätsprüfung", "Qualitätsprüfung", "Qualitätssuche"},
          Case{Status::Analyzing{0.5, false}, "analyzing", "Qualitätsprüfung", "Qualitätsprüfung",
               "Probekodierung"},
          Case{Status::Running{0.437}, "running", "wird konvertiert 43 % · 88 fps", "43 % · 88 fps",
               "wird konvertiert", "kodiert 43 % · 88 fps"},
          Case{Status::Uploading{}, "uploading", "wird hochgeladen"},
          Case{done, "done", "Ergebnis: " + sizes, "Ergebnis: −50 %|2,0 GB → 1,0 GB", "fertig, " + sizes,
               sizes},
          Case{doneBut, "done", "Ergebnis: " + sizes + ". Original noch da.",
               "Ergebnis: −50 %|2,0 GB → 1,0 GB", "fertig, " + sizes + ". Original noch da.", sizes},
          Case{Status::NoSavings{gigabyte}, "noSavings", tooLarge, "Original bleibt|keine Ersparnis",
               tooLarge, "keine Ersparnis"},
          Case{Status::NoSavings{gigabyte, false}, "noSavings", measured, "Original bleibt|keine Ersparnis",
               measured, "keine Ersparnis"},
          Case{Status::Failed{"/a.mkv: Invalid\ndata", true}, "failed", words, "Fehler|" + words,
               "Fehler: " + words, "Fehler"}}) {
        item.status = status;
        const FileState state = FileState::of(item);
        EXPECT_EQ(state.id(), id);
        EXPECT_EQ(state.sentence(), sentence);
        EXPECT_EQ(state.title() + (state.detail().empty() ? "" : "|" + state.detail()), cell);
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
    FileItem item = planned(aFilm(), {.codec = VideoCodecChoice::keepVideo});
    ASSERT_TRUE(item.plan->isNoop);
    const auto hevc = std::make_shared<const ConversionSettings>();
    const SampleResult sample{.videoBitrate = 2e6,
                              .vmafMean = 95.15,
                              .megapixelsPerSecond = 50,
                              .qualityValue = 24,
                              .vmafTarget = 95};
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
    ConversionSettings settings{.resolution = TargetResolution::p720};
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

TEST(FolderProgress, saysHowFarAFolderIs)
{
    std::vector<FileItem> items(4, planned(aFilm()));
    std::vector<FileItem *> files;
    for (FileItem &item : items)
        files.push_back(&item);
    const auto outcome = [&] { return folderProgress(files).outcome(); };
    EXPECT_EQ(outcome(), "");
    EXPECT_FALSE(folderProgress(files).isActive);
    items[0].status = Status::Running{0.5};
    items[1].status = Status::Failed{"x"};
    items[2].status = items[3].status = Status::Queued{};
    const FolderProgress progress = folderProgress(files);
    EXPECT_EQ(std::tuple(progress.processed, progress.count, progress.fraction), std::tuple(1, 4, 1.5 / 4));
    EXPECT_TRUE(progress.isActive && progress.isWorking);

    for (FileItem &item : items) {
        item.status = Status::Idle{};
        item.isOfRun = false;
    }
    items[0].status = Status::Done{2, 1};
    items[0].isOfRun = true;
    EXPECT_EQ(outcome(), "1 von 4 konvertiert");
    EXPECT_EQ(folderProgress(files).count, 1U) << "the run's files";
    items[1].plan->isNoop = true;
    items[2].status = Status::NoSavings{2};
    EXPECT_EQ(outcome(), "1 von 2 konvertiert");
    items[3].plan->isNoop = true;
    EXPECT_EQ(outcome(), "fertig");
}

} // namespace
} // namespace kestrel::test
