// What the rows are and say.

#include <QAbstractItemModelTester>

#include "ui/TableFixture.h"
#include "ui/look/Strings.h"

namespace kestrel::test {
namespace {

TEST_F(TableTest, rowsAreTheLibrarysThroughAllThatHappensToIt)
{
    AppModel::Options options;
    options.settings = ConversionSettings();
    start(options);
    LibraryModel rows(*model);
    const QAbstractItemModelTester tester(&rows, QAbstractItemModelTester::FailureReportingMode::Fatal);
    EXPECT_EQ(rows.rowCount(), 0);
    for (const char *name : {"b.mkv", "a/x 10.mkv", "a/x 9.mkv", "a/tief/y.mkv"})
        film(name);
    model->open(folder.path());
    EXPECT_TRUE(idle());
    EXPECT_EQ(names(rows), QStringList({"a", "b.mkv"}));
    const QModelIndex a = rows.index(0, 0);
    EXPECT_EQ(names(rows, a), QStringList({"tief", "x 9.mkv", "x 10.mkv"}));

    const QPersistentModelIndex ten = rows.indexOf(folder / "a/x 10.mkv");
    const QPersistentModelIndex b = rows.indexOf(folder / "b.mkv");
    model->library().setSortOrder({{RowComparator::Column::name, false}});
    EXPECT_EQ(names(rows, rows.index(1, 0)), QStringList({"x 10.mkv", "x 9.mkv", "tief"}));
    EXPECT_EQ(ten.row(), 0);
    EXPECT_EQ(ten.data().toString(), "x 10.mkv");
    EXPECT_EQ(b.row(), 0);

    int changes = 0;
    QObject::connect(&rows, &LibraryModel::dataChanged, [&](const QModelIndex &from) {
        changes += rows.node(from).item == &item("a/x 9.mkv") ? 1 : 0;
    });
    for (int i = 0; i < 100; ++i)
        model->library().change(item("a/x 9.mkv"),
                                [&](FileItem &file) { file.status = Status::Running{i / 100.0}; });
    EXPECT_EQ(changes, 0) << "told together";
    EXPECT_TRUE(eventually([&] { return changes == 1; }));
    EXPECT_EQ(rows.indexOf(folder / "a/x 9.mkv").siblingAtColumn(Column::status).data().toString(), "99 %");

    model->rescan();
    EXPECT_TRUE(idle());
    EXPECT_FALSE(ten.isValid()) << "the rows are new ones";
    fs::remove_all(folder / "a");
    fs::remove(folder / "b.mkv");
    model->rescan();
    EXPECT_TRUE(idle());
    EXPECT_EQ(rows.rowCount(), 0);
}

TEST_F(TableTest, aRowSaysWhatHappensToItsFile)
{
    open({"a.mkv"});
    FileItem &file = item("a.mkv");
    struct Case {
        JobStatus status;
        const char *icon;
        Theme::Tone tone;
    };
    for (const auto &[status, icon, tone] : std::vector<Case>{
             {Status::Idle{}, "", Theme::Tone::text},
             {Status::Queued{}, "clock", Theme::Tone::muted},
             {Status::Analyzing{0.5}, "", Theme::Tone::purple},
             {Status::Uploading{}, "", Theme::Tone::accent},
             {Status::Done{2, 1}, "check-circle", Theme::Tone::green},
             {Status::Done{2, 1, "Das Original wurde nicht gelöscht."}, "warning", Theme::Tone::orange},
             {Status::NoSavings{1}, "info", Theme::Tone::muted},
             {Status::Failed{"kaputt\nganz"}, "warning", Theme::Tone::red}}) {
        model->library().change(file, [&](FileItem &changed) { changed.status = status; });
        const RowText::Cell cell = RowText::status(file);
        EXPECT_EQ(cell.icon, icon);
        EXPECT_EQ(cell.tone, tone) << icon;
        EXPECT_EQ(cell.bar.has_value(), isInWork(status)) << icon;
    }
    EXPECT_EQ(RowText::status(file).detail, "kaputt ganz");
    EXPECT_EQ(RowText::status(file).help, "kaputt\nganz");
    LibraryModel rows(*model);
    const QModelIndex state = rows.indexOf(file.id).siblingAtColumn(Column::status);
    model->library().change(file, [](FileItem &changed) { changed.status = Status::Analyzing{0.5}; });
    EXPECT_EQ(state.data(Qt::AccessibleTextRole).toString(), "Qualitätsprüfung, 50 %") << "the bar, in words";
    model->library().change(file, [&](FileItem &changed) {
        changed.status = Status::NoSavings{5};
        changed.isSampling = true;
        changed.url = folder / "a.mp4";
    });
    EXPECT_EQ(state.data().toString(), "Stichprobe wird gemessen") << "also after a run";
    EXPECT_EQ(state.siblingAtColumn(Column::name).data().toString(), "a.mp4") << "as it is called now";
    model->library().change(file, [](FileItem &changed) {
        changed.isSampling = false;
        changed.status = Status::Idle{};
        changed.mayBeIncomplete = true;
    });
    EXPECT_EQ(RowText::status(file).icon, "clock");

    EXPECT_EQ(RowText::video(file, model->settings()).text, "1080p · H.264 → HEVC");
    EXPECT_THAT(RowText::estimate(file).detail.toStdString(), HasSubstr(" % · "));
    giveSample("a.mkv");
    EXPECT_THAT(RowText::estimate(file).detail.toStdString(), HasSubstr("gemessen"));
    model->library().change(file, [](FileItem &changed) { changed.plan->isNoop = true; });
    EXPECT_EQ(RowText::estimate(file).text, "nichts zu tun");
    model->library().change(file, [](FileItem &changed) { changed.plan->leftAlone = "enthält zwei Filme"; });
    EXPECT_EQ(RowText::estimate(file).text, "enthält zwei Filme");
    EXPECT_EQ(RowText::estimate(file).help, "enthält zwei Filme");
    model->library().change(file, [](FileItem &changed) { changed.info->video.reset(); });
    EXPECT_EQ(RowText::video(file, model->settings()).text, "kein Video");
    model->library().change(file, [](FileItem &changed) {
        changed.info.reset();
        changed.mayBeIncomplete = false;
        changed.probeError = "[mov] moov atom not found\n/a.mkv: Protocol not found";
    });
    EXPECT_EQ(RowText::video(file, model->settings()).text, "nicht lesbar");
    EXPECT_EQ(RowText::status(file).text, "Protocol not found");
}

TEST_F(TableTest, tracksAreChipsThatSayWhatHappens)
{
    open({"a.mkv"});
    MediaInfo info = *item("a.mkv").info;
    AudioStreamInfo german;
    german.codec = "ac3";
    german.channels = 6;
    german.language = "deu";
    AudioStreamInfo english = german;
    english.language = "eng";
    english.channels = 2;
    english.title = "<b>Kommentar</b>";
    SubtitleStreamInfo text;
    text.codec = "mov_text";
    text.language = "und";
    info.audio = {german, english};
    info.subtitles = {text};
    info.video->fieldOrder = "tt";
    model->library().setInfo(item("a.mkv"), info);
    model->recompute();
    const auto chips = RowText::chips(item("a.mkv"));
    ASSERT_EQ(chips.size(), 4U);
    EXPECT_EQ(chips[0].help, "Zeilensprungverfahren (interlaced)");
    EXPECT_EQ(chips[1].label, "DE 5.1");
    EXPECT_EQ(chips[1].action, StreamAction::keep);
    EXPECT_EQ(chips[2].label, "EN Stereo");
    EXPECT_EQ(chips[2].action, StreamAction::drop);
    EXPECT_EQ(chips[2].help,
              "Tonspur Englisch „<b>Kommentar</b>“ AC3 Stereo: entfällt (Englisch nicht gewählt)");
    EXPECT_EQ(chips[3].label, "UT ??");
    EXPECT_EQ(chips[3].action, StreamAction::convert);
}

TEST_F(TableTest, aFolderSumsUpItsFiles)
{
    open({"a/1.mkv", "a/2.mkv", "a/3.mkv"});
    LibraryModel rows(*model);
    const QModelIndex a = rows.index(0, 0);
    EXPECT_EQ(rows.cell(a.siblingAtColumn(Column::name)).detail, "3 Dateien");
    EXPECT_EQ(rows.cell(a.siblingAtColumn(Column::video)).text, "1080p · H.264");
    EXPECT_EQ(rows.cell(a.siblingAtColumn(Column::video)).detail, "");
    MediaInfo info = *item("a/2.mkv").info;
    info.video->codec = "hevc";
    model->library().setInfo(item("a/2.mkv"), info);
    EXPECT_EQ(rows.cell(a.siblingAtColumn(Column::video)).detail, "1 abweichend");
    const auto set = [&](const char *name, const JobStatus &status) {
        model->library().change(item(name), [&](FileItem &file) { file.status = status; });
    };
    const auto status = [&] { return rows.cell(a.siblingAtColumn(Column::status)); };
    EXPECT_EQ(status().text, "");
    set("a/1.mkv", Status::Done{10, 5});
    set("a/2.mkv", Status::Queued{});
    set("a/3.mkv", Status::Running{0.5});
    EXPECT_EQ(status().text, "1 von 3");
    EXPECT_DOUBLE_EQ(*status().bar, 0.5);
    set("a/2.mkv", Status::Done{10, 5});
    set("a/3.mkv", Status::Done{10, 5});
    EXPECT_EQ(status().text, "fertig");
    for (const char *name : {"a/1.mkv", "a/2.mkv", "a/3.mkv"}) { // as the files are that took their place
        MediaInfo smaller = *item(name).info;
        smaller.fileSize = 5;
        model->library().setInfo(item(name), smaller);
    }
    model->recompute();
    EXPECT_EQ(rows.node(a).sizeValue, 30) << "what the rows below show, too";
    EXPECT_EQ(rows.node(a).estimateValue, 15);
    EXPECT_EQ(status().icon, "check-circle");
    set("a/3.mkv", Status::Failed{"x"});
    EXPECT_EQ(status().text, "1 mit Fehler");
}

} // namespace
} // namespace kestrel::test
