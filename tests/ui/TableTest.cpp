// What the rows are and say.

#include <QAbstractItemModelTester>

#include "ui/Fixtures.h"
#include "ui/look/Strings.h"

namespace kestrel::test {

TEST_F(TableTest, rowsAreTheLibrarysThroughAllThatHappensToIt)
{
    ready();
    LibraryModel rows(*model);
    const QAbstractItemModelTester tester(&rows, QAbstractItemModelTester::FailureReportingMode::Fatal);
    const auto names = [&](const QModelIndex &parent = {}) {
        QStringList list;
        for (int row = 0; row < rows.rowCount(parent); ++row)
            list += rows.index(row, Column::name, parent).data().toString();
        return list;
    };
    EXPECT_EQ(rows.rowCount(), 0);
    for (const char *name : {"b.mkv", "a/x 10.mkv", "a/x 9.mkv", "a/tief/y.mkv"})
        film(name);
    scan();
    EXPECT_EQ(names(), QStringList({"a", "b.mkv"}));
    EXPECT_EQ(names(rows.index(0, 0)), QStringList({"tief", "x 9.mkv", "x 10.mkv"}));

    const QPersistentModelIndex ten = rows.indexOf(folder / "a/x 10.mkv");
    const QPersistentModelIndex b = rows.indexOf(folder / "b.mkv");
    library().setSortOrder({{RowComparator::Column::name, false}});
    EXPECT_EQ(names(rows.index(1, 0)), QStringList({"x 10.mkv", "x 9.mkv", "tief"}));
    EXPECT_EQ(ten.row(), 0);
    EXPECT_EQ(ten.data().toString(), "x 10.mkv");
    EXPECT_EQ(b.row(), 0);

    int changes = 0;
    QObject::connect(&rows, &LibraryModel::dataChanged, [&](const QModelIndex &from) {
        changes += rows.node(from).item == &item("a/x 9.mkv") ? 1 : 0;
    });
    for (int i = 0; i < 100; ++i)
        set("a/x 9.mkv", Status::Running{i / 100.0});
    EXPECT_EQ(changes, 0) << "told together";
    EXPECT_TRUE(eventually([&] { return changes == 1; }));
    EXPECT_EQ(rows.indexOf(folder / "a/x 9.mkv").siblingAtColumn(Column::status).data().toString(), "99 %");

    rescan();
    EXPECT_FALSE(ten.isValid()) << "the rows are new ones";
    fs::remove_all(folder / "a");
    fs::remove(folder / "b.mkv");
    rescan();
    EXPECT_EQ(rows.rowCount(), 0);
}

TEST_F(TableTest, aRowSaysWhatHappensToItsFile)
{
    show({"a.mkv"});
    FileItem &file = item("a.mkv");
    using Theme::Tone;
    for (const auto &[status, icon, tone] : std::vector<std::tuple<JobStatus, const char *, Tone>>{
             {Status::Idle{}, "", Tone::text},
             {Status::Analyzing{0.5}, "", Tone::purple},
             {Status::Done{2, 1}, "check-circle", Tone::green},
             {Status::Done{2, 1, "Das Original wurde nicht gelöscht."}, "warning", Tone::orange},
             {Status::Failed{"kaputt\nganz"}, "warning", Tone::red}}) {
        set("a.mkv", status);
        const RowText::Cell cell = RowText::status(file);
        EXPECT_EQ(cell.icon, icon);
        EXPECT_EQ(cell.tone, tone) << icon;
        EXPECT_EQ(cell.bar.has_value(), isInWork(status)) << icon;
    }
    EXPECT_EQ(RowText::status(file).detail, "kaputt ganz");
    EXPECT_EQ(RowText::status(file).help, "kaputt\nganz");
    set("a.mkv", Status::Analyzing{0.5});
    EXPECT_EQ(at("a.mkv", Column::status).data(Qt::AccessibleTextRole).toString(), "Qualitätsprüfung, 50 %")
        << "the bar, in words";
    change("a.mkv", [&](FileItem &changed) { changed.url = folder / "a.mp4"; });
    EXPECT_EQ(at("a.mkv").data().toString(), "a.mp4") << "as it is called now";
    set("a.mkv", Status::Idle{});
    change("a.mkv", [](FileItem &changed) { changed.mayBeIncomplete = true; });
    EXPECT_EQ(RowText::status(file).icon, "clock");
}

TEST_F(TableTest, aRowSaysWhatIsToBecomeOfItsFile)
{
    show({"a.mkv"});
    const auto video = [&] { return RowText::video(item("a.mkv"), model->settings()).text; };
    const auto estimate = [&] { return RowText::estimate(item("a.mkv")); };
    EXPECT_EQ(video(), "1080p · H.264 → HEVC");
    EXPECT_THAT(estimate().detail.toStdString(), HasSubstr(" % · "));
    giveSample("a.mkv");
    EXPECT_THAT(estimate().detail.toStdString(), HasSubstr("gemessen"));
    change("a.mkv", [](FileItem &file) { file.plan->isNoop = true; });
    EXPECT_EQ(estimate().text, "nichts zu tun");
    change("a.mkv", [](FileItem &file) { file.plan->leftAlone = "enthält zwei Filme"; });
    EXPECT_EQ(estimate().text, "enthält zwei Filme");
    EXPECT_EQ(estimate().help, "enthält zwei Filme");
    change("a.mkv", [](FileItem &file) {
        file.info.reset();
        file.probeError = "[mov] moov atom not found\n/a.mkv: Protocol not found";
    });
    EXPECT_EQ(video(), "nicht lesbar");
    EXPECT_EQ(RowText::status(item("a.mkv")).text, "Protocol not found");
}

TEST_F(TableTest, tracksAreChipsThatSayWhatHappens)
{
    open({"a.mkv"});
    library().setInfo(item("a.mkv"), aFilm()
                                         .interlaced()
                                         .audio("ac3", "deu", 6)
                                         .audio("ac3", "eng")
                                         .titled("<b>Kommentar</b>")
                                         .subtitle("mov_text", "und"));
    model->recompute();
    using RowText::Chip;
    EXPECT_THAT(
        RowText::chips(item("a.mkv")),
        ElementsAre(Chip{"interlaced", StreamAction::convert, "Zeilensprungverfahren (interlaced)"},
                    Chip{"DE 5.1", StreamAction::keep, "Tonspur Deutsch AC3 5.1: bleibt (wird kopiert)"},
                    Chip{"EN Stereo", StreamAction::drop,
                         "Tonspur Englisch „<b>Kommentar</b>“ AC3 Stereo: entfällt (Englisch nicht gewählt)"},
                    testing::AllOf(testing::Field(&Chip::label, QString("UT ??")),
                                   testing::Field(&Chip::action, StreamAction::convert))));
}

TEST_F(TableTest, aFolderSumsUpItsFiles)
{
    const auto &rows = show({"a/1.mkv", "a/2.mkv", "a/3.mkv"}).rows();
    const auto cell = [&](Column column) { return rows.cell(at("a", column)); };
    const auto status = [&] { return cell(Column::status); };
    EXPECT_EQ(cell(Column::name).detail, "3 Dateien");
    EXPECT_EQ(cell(Column::video).text, "1080p · H.264");
    EXPECT_EQ(cell(Column::video).detail, "");
    library().setInfo(item("a/2.mkv"), aFilm().video("hevc", 1920, 1080));
    EXPECT_EQ(cell(Column::video).detail, "1 abweichend");
    EXPECT_EQ(status().text, "");
    set("a/1.mkv", Status::Done{10, 5});
    set("a/2.mkv", Status::Queued{});
    set("a/3.mkv", Status::Running{0.5});
    EXPECT_EQ(status().text, "1 von 3");
    EXPECT_DOUBLE_EQ(*status().bar, 0.5);
    set("a/2.mkv", Status::Done{10, 5});
    set("a/3.mkv", Status::Done{10, 5});
    EXPECT_EQ(status().text, "fertig");
    for (const char *name : {"a/1.mkv", "a/2.mkv", "a/3.mkv"}) // as the files are that took their place
        library().setInfo(item(name), aFilm().fileSize(5));
    model->recompute();
    EXPECT_EQ(rows.node(at("a")).sizeValue, 30) << "what the rows below show, too";
    EXPECT_EQ(rows.node(at("a")).estimateValue, 15);
    EXPECT_EQ(status().icon, "check-circle");
    set("a/3.mkv", Status::Failed{"x"});
    EXPECT_EQ(status().text, "1 mit Fehler");
}

} // namespace kestrel::test
