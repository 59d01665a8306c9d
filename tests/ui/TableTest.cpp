#include <QAbstractItemModelTester>
#include <QHeaderView>
#include <QScrollBar>
#include <QTest>

#include "model/ModelFixture.h"
#include "ui/look/Strings.h"
#include "ui/look/Theme.h"
#include "ui/table/LibraryView.h"
#include "ui/table/RowDelegate.h"

namespace kestrel::test {
namespace {

using Column = LibraryModel::Column;

class TableTest : public ModelTest {
protected:
    void open(const std::vector<std::string> &names)
    {
        for (const auto &name : names)
            film(name);
        AppModel::Options options;
        options.settings = ConversionSettings();
        startAndScan(options);
    }
    QStringList names(const LibraryModel &rows, const QModelIndex &parent = {}) const
    {
        QStringList list;
        for (int row = 0; row < rows.rowCount(parent); ++row)
            list += rows.index(row, Column::name, parent).data().toString();
        return list;
    }
    static Qt::CheckState checked(const QModelIndex &index)
    {
        return static_cast<Qt::CheckState>(
            index.siblingAtColumn(Column::include).data(Qt::CheckStateRole).toInt());
    }
};

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

TEST_F(TableTest, checkMarksWorkOnFilesFoldersAndSelections)
{
    open({"a/1.mkv", "a/2.mkv", "b.mkv", "c.mkv"});
    LibraryView view(*model);
    view.resize(900, 500);
    view.show();
    const LibraryModel &rows = view.rows();
    const auto at = [&](const char *name) { return rows.indexOf(folder / name); };
    const auto click = [&](const char *name) {
        QTest::mouseClick(view.viewport(), Qt::LeftButton, {},
                          view.visualRect(at(name).siblingAtColumn(Column::include)).center());
    };
    click("a/1.mkv");
    EXPECT_FALSE(item("a/1.mkv").included);
    EXPECT_EQ(checked(at("a")), Qt::PartiallyChecked);
    click("a");
    EXPECT_TRUE(item("a/1.mkv").included);
    EXPECT_TRUE(item("a/2.mkv").included);
    click("a");
    EXPECT_EQ(checked(at("a")), Qt::Unchecked);

    // With several rows selected, all follow the one.
    model->library().setSelection({folder / "b.mkv", folder / "c.mkv"});
    EXPECT_EQ(view.selectionModel()->selectedRows().size(), 2);
    click("c.mkv");
    EXPECT_FALSE(item("b.mkv").included);
    EXPECT_FALSE(item("c.mkv").included);
    EXPECT_FALSE(item("a/1.mkv").included);
    EXPECT_EQ(model->library().selection().size(), 2U);
    click("b.mkv");
    click("a/1.mkv");
    EXPECT_TRUE(item("a/1.mkv").included);
    EXPECT_TRUE(item("c.mkv").included);
    EXPECT_THAT(model->library().selection(), ElementsAre(folder / "a/1.mkv")) << "another row is for itself";
    click("a/1.mkv");
    model->library().setSelection({folder / "b.mkv", folder / "c.mkv"});
    view.setFocus();
    QTest::keyClick(&view, Qt::Key_Space);
    EXPECT_FALSE(item("b.mkv").included);
    EXPECT_FALSE(item("c.mkv").included);
    EXPECT_FALSE(item("a/1.mkv").included);
    QTest::keyClick(&view, Qt::Key_Space);
    EXPECT_TRUE(item("b.mkv").included);
    EXPECT_TRUE(item("c.mkv").included);
}

TEST_F(TableTest, theKeyboardReachesEverything)
{
    open({"a/1.mkv", "b.mkv"});
    LibraryView view(*model);
    view.resize(900, 500);
    view.show();
    int details = 0, menus = 0;
    QObject::connect(&view, &LibraryView::detailsRequested, [&] { ++details; });
    QObject::connect(&view, &LibraryView::menuRequested, [&] { ++menus; });
    view.setCurrentIndex(view.rows().indexOf(folder / "a"));
    EXPECT_THAT(model->library().selection(), ElementsAre(folder / "a"));
    QTest::keyClick(&view, Qt::Key_Return);
    EXPECT_THAT(model->library().expandedFolders(), IsEmpty());
    QTest::keyClick(&view, Qt::Key_Return);
    EXPECT_THAT(model->library().expandedFolders(), ElementsAre(folder / "a"));
    QTest::keyClick(&view, Qt::Key_Down);
    EXPECT_EQ(model->library().selectedItem(), &item("a/1.mkv"));
    QTest::keyClick(&view, Qt::Key_Return);
    EXPECT_EQ(details, 1);
    QContextMenuEvent menu(QContextMenuEvent::Keyboard, QPoint(), QPoint());
    QCoreApplication::sendEvent(view.viewport(), &menu);
    EXPECT_EQ(menus, 1);
    QTest::keyClick(&view, Qt::Key_F10, Qt::ShiftModifier);
    EXPECT_EQ(menus, 2) << "not every keyboard has a menu key";
    QTest::keyClick(&view, Qt::Key_Down, Qt::ControlModifier);
    QTest::keyClick(&view, Qt::Key_Space);
    EXPECT_FALSE(item("b.mkv").included) << "the row with the ring, not the selected one";
    EXPECT_TRUE(item("a/1.mkv").included);
    QTest::keyClick(&view, Qt::Key_Space, Qt::ControlModifier);
    EXPECT_THAT(model->library().selection(), ElementsAre(folder / "a/1.mkv", folder / "b.mkv"));
    QTest::keyClick(&view, Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(model->library().selection().size(), 3U);
}

TEST_F(TableTest, theNamesTakeWhatTheOtherColumnsLeave)
{
    open({"a.mkv"});
    LibraryView view(*model);
    view.resize(1400, 300);
    view.show();
    settle();
    const int names = view.columnWidth(Column::name), videos = view.columnWidth(Column::video);
    const auto edgeOf = [&](Column column) {
        return QPoint(view.header()->sectionViewportPosition(column) + view.columnWidth(column) - 1,
                      view.header()->height() / 2);
    };
    const auto drag = [&](Column column, int by) {
        QWidget *header = view.header()->viewport();
        const QPoint from = edgeOf(column);
        QTest::mouseMove(header, from);
        QTest::mousePress(header, Qt::LeftButton, {}, from);
        QMouseEvent move(QEvent::MouseMove, from + QPoint(by, 0), header->mapToGlobal(from + QPoint(by, 0)),
                         Qt::LeftButton, Qt::LeftButton, {});
        QCoreApplication::sendEvent(header, &move);
        QTest::mouseRelease(header, Qt::LeftButton, {}, from + QPoint(by, 0));
        settle();
    };
    drag(Column::video, 40);
    EXPECT_EQ(view.columnWidth(Column::video), videos + 40);
    EXPECT_EQ(view.columnWidth(Column::name), names - 40);
    EXPECT_EQ(view.header()->length(), view.viewport()->width());
    drag(Column::name, 40);
    EXPECT_EQ(view.columnWidth(Column::name), names - 40) << "has no edge of its own";
    const auto heading = [&] {
        return view.rows().headerData(Column::sizeBefore, Qt::Horizontal, Qt::DisplayRole).toString();
    };
    EXPECT_EQ(heading(), "Größe (Vorher)");
    view.resize(720, 300);
    settle();
    EXPECT_EQ(view.header()->length(), view.viewport()->width());
    EXPECT_LT(view.columnWidth(Column::video), videos + 40) << "others give way to the names";
    EXPECT_EQ(heading(), "Vorher");
    view.resize(2400, 300);
    settle();
    EXPECT_EQ(view.columnWidth(Column::video), videos + 40) << "as chosen";
    view.resize(Theme::em(64), 300);
    settle();
    EXPECT_EQ(view.columnWidth(Column::video), videos + 40) << "others are shorter before";
}

TEST_F(TableTest, theHeadsObeyTheKeyboard)
{
    open({"a.mkv"});
    LibraryView view(*model);
    view.resize(1400, 300);
    view.show();
    settle();
    QHeaderView *header = view.header();
    const int names = view.columnWidth(Column::name), durations = view.columnWidth(Column::duration);
    QTest::keyClick(header, Qt::Key_Right, Qt::ShiftModifier);
    EXPECT_EQ(view.columnWidth(Column::name), names) << "takes what the others leave";
    QTest::keyClick(header, Qt::Key_Right);
    EXPECT_EQ(view.columns().current(), Column::duration);
    QTest::keyClick(header, Qt::Key_Right, Qt::ShiftModifier);
    QTest::keyClick(header, Qt::Key_Right, Qt::ShiftModifier);
    QTest::keyClick(header, Qt::Key_Left, Qt::ShiftModifier);
    EXPECT_EQ(view.columnWidth(Column::duration), durations + Theme::em(0.5));
    EXPECT_EQ(header->length(), view.viewport()->width());
    QTest::keyClick(header, Qt::Key_Space);
    EXPECT_EQ(model->library().sortOrder().front(), (RowComparator{RowComparator::Column::duration, false}));
    QTest::keyClick(header, Qt::Key_Home);
    QTest::keyClick(header, Qt::Key_Left);
    EXPECT_EQ(view.columns().current(), Column::include);
}

TEST_F(TableTest, headersSortAndTheLibraryOpensFolders)
{
    open({"a/1.mkv", "a/2.mkv", "b.mkv"});
    LibraryView view(*model);
    view.resize(900, 500);
    view.show();
    const auto clickHeader = [&](int section) {
        QTest::mouseClick(
            view.header()->viewport(), Qt::LeftButton, {},
            QPoint(view.header()->sectionViewportPosition(section) + 20, view.header()->height() / 2));
    };
    EXPECT_TRUE(view.isExpanded(view.rows().index(0, 0)));
    model->library().expandAll(false);
    EXPECT_FALSE(view.isExpanded(view.rows().index(0, 0)));
    EXPECT_EQ(view.header()->sortIndicatorSection(), Column::name);
    clickHeader(Column::sizeBefore);
    EXPECT_EQ(model->library().sortOrder().front(), (RowComparator{RowComparator::Column::size, false}));
    clickHeader(Column::sizeBefore);
    EXPECT_EQ(model->library().sortOrder().front(), (RowComparator{RowComparator::Column::size, true}));
    clickHeader(Column::status);
    EXPECT_EQ(view.header()->sortIndicatorSection(), Column::sizeBefore) << "cannot be sorted by";
    clickHeader(Column::name);
    EXPECT_EQ(model->library().sortOrder().front(), (RowComparator{RowComparator::Column::name, true}));
    EXPECT_EQ(model->library().sortOrder().size(), 2U) << "equal rows by what was chosen before";
}

TEST_F(TableTest, aRowSaysWhatHappensToItsFile)
{
    open({"a.mkv"});
    FileItem &file = item("a.mkv");
    struct Case {
        JobStatus status;
        const char *text, *detail, *icon, *help;
    };
    for (const auto &[status, text, detail, icon, help] : std::vector<Case>{
             {Status::Idle{}, "", "", "", ""},
             {Status::Queued{}, "wartet", "", "clock", ""},
             {Status::Analyzing{0.5}, "Qualitätsprüfung", "", "",
              "Probiert an kurzen Ausschnitten aus, wie stark sich die Datei komprimieren lässt, ohne dass "
              "man einen "
              "Unterschied sieht – danach wird kodiert."},
             {Status::Running{0.437}, "43 % · 88 fps", "", "", ""},
             {Status::Uploading{}, "wird hochgeladen", "", "",
              "Fertige Datei wird aufs Netzlaufwerk kopiert und geprüft – erst danach wird getauscht."},
             {Status::Done{2'147'483'648, 1'073'741'824}, "Ergebnis: −50 %", "2,0 GB → 1,0 GB",
              "check-circle", "Ergebnis: 2,0 GB → 1,0 GB (−50 %)"},
             {Status::NoSavings{1'073'741'824}, "Original bleibt", "keine Ersparnis", "info",
              "Das Ergebnis (1,0 GB) wäre nicht genug kleiner gewesen – Original bleibt."},
             {Status::Failed{"kaputt\nganz"}, "Fehler", "kaputt ganz", "warning", "kaputt\nganz"}}) {
        model->library().change(file, [&](FileItem &changed) {
            changed.status = status;
            changed.fps = is<Status::Running>(status) ? 87.6 : 0;
        });
        const RowText::Cell cell = RowText::status(file);
        EXPECT_EQ(cell.text, text);
        EXPECT_EQ(cell.detail, detail) << text;
        EXPECT_EQ(cell.icon, icon) << text;
        EXPECT_EQ(cell.help, help) << text;
        EXPECT_EQ(cell.bar.has_value(), isInWork(status)) << text;
    }
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
    EXPECT_EQ(RowText::status(file).text, "wird evtl. noch kopiert");
    EXPECT_EQ(RowText::status(file).icon, "clock");

    EXPECT_EQ(RowText::video(file, model->settings()).text, "1080p · H.264 → HEVC");
    EXPECT_THAT(RowText::estimate(file).detail.toStdString(), HasSubstr(" % · "));
    giveSample("a.mkv");
    EXPECT_THAT(RowText::estimate(file).detail.toStdString(), HasSubstr("gemessen"));
    model->library().change(file, [](FileItem &changed) { changed.plan->isNoop = true; });
    EXPECT_EQ(RowText::estimate(file).text, "nichts zu tun");
    model->library().change(file, [](FileItem &changed) { changed.info->video.reset(); });
    EXPECT_EQ(RowText::video(file, model->settings()).text, "kein Video");
    model->library().change(file, [](FileItem &changed) {
        changed.info.reset();
        changed.probeError = "x";
    });
    EXPECT_EQ(RowText::video(file, model->settings()).text, "nicht lesbar");
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

TEST_F(TableTest, theCurrentRowIsAlwaysInSight)
{
    open({"a/tief/1.mkv", "a/2.mkv", "b/3.mkv", "z.mkv"});
    LibraryView view(*model);
    view.resize(900, 400);
    view.show();
    settle();
    const auto current = [&] { return view.rows().node(view.currentIndex()).name; };
    Library &library = model->library();
    view.setCurrentIndex(view.rows().indexOf(folder / "a/tief/1.mkv"));
    library.toggleFolder(folder / "a");
    EXPECT_EQ(current(), "a");
    model->rescan();
    EXPECT_TRUE(idle());
    library.expandAll(false);
    EXPECT_EQ(current(), "a");

    QTest::keyClick(&view, '*', Qt::ShiftModifier);
    EXPECT_THAT(library.expandedFolders(), ElementsAre(folder / "a", folder / "a/tief")) << "and no files";
    EXPECT_TRUE(view.isExpanded(view.rows().indexOf(folder / "a/tief").siblingAtColumn(0)));
    QTest::keyClick(&view, '-');
    EXPECT_THAT(library.expandedFolders(), ElementsAre(folder / "a/tief"));
    QTest::keyClick(&view, '+');
    EXPECT_THAT(library.expandedFolders(), ElementsAre(folder / "a", folder / "a/tief"));
    view.setCurrentIndex(view.rows().index(0, 0));
    QTest::keyClick(&view, Qt::Key_Left);
    EXPECT_THAT(library.expandedFolders(), ElementsAre(folder / "a/tief"));
    QTest::keyClick(&view, Qt::Key_Z);
    EXPECT_EQ(current(), "z.mkv") << "typing goes by the names";

    library.expandAll(false);
    library.setSelection({folder / "b/3.mkv"});
    EXPECT_THAT(library.expandedFolders(), ElementsAre(folder / "b")) << "what somebody goes to is shown";
    EXPECT_EQ(current(), "3.mkv");
}

TEST_F(TableTest, aNewSearchLeavesTheReaderWhereTheyWere)
{
    for (int i = 0; i < 60; ++i)
        film("f" + std::to_string(100 + i) + ".mkv");
    open({});
    LibraryView view(*model);
    view.resize(900, 400);
    view.show();
    settle();
    view.setCurrentIndex(view.rows().indexOf(folder / "f130.mkv"));
    view.verticalScrollBar()->setValue(900);
    model->rescan();
    EXPECT_TRUE(idle());
    settle();
    EXPECT_EQ(view.verticalScrollBar()->value(), 900);
    EXPECT_EQ(view.rows().node(view.currentIndex()).name, "f130.mkv");
}

// Whatever the files are called and however narrow the columns: painting must not fail.
TEST_F(TableTest, hostileNamesArePainted)
{
    std::string wide(240, 'W');
    wide += ".mkv";
    film(wide);
    film("\xff\xfe.mkv");
    open({"<b>fett</b>\n.mkv", "a/\xe2\x80\xaertl.mkv"});
    LibraryView view(*model);
    view.resize(120, 300);
    view.show();
    EXPECT_FALSE(view.grab().isNull());
    view.resize(2000, 300);
    EXPECT_FALSE(view.grab().isNull());
    const QModelIndex broken = view.rows().indexOf(folder / "\xff\xfe.mkv");
    EXPECT_EQ(broken.data().toString(), "\uFFFD\uFFFD.mkv");
    EXPECT_THAT(
        view.rows().indexOf(folder / "<b>fett</b>\n.mkv").data(Qt::ToolTipRole).toString().toStdString(),
        HasSubstr("&lt;b&gt;fett"));
}

} // namespace
} // namespace kestrel::test
