// The rows on a screen, with mouse and keyboard.

#include <QHeaderView>
#include <QScrollBar>

#include "ui/Find.h"
#include "ui/TableFixture.h"
#include "ui/look/Theme.h"
#include "ui/table/RowDelegate.h"

namespace kestrel::test {
namespace {

using testing::Not;
using TableViewTest = TableTest;

TEST_F(TableViewTest, checkMarksWorkOnFilesFoldersAndSelections)
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

TEST_F(TableViewTest, theKeyboardReachesEverything)
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

TEST_F(TableViewTest, theNamesTakeWhatTheOtherColumnsLeave)
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

TEST_F(TableViewTest, theHeadsObeyTheKeyboard)
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

TEST_F(TableViewTest, headersSortAndTheLibraryOpensFolders)
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

TEST_F(TableViewTest, theCurrentRowIsAlwaysInSight)
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

TEST_F(TableViewTest, aNameMayBeTypedWithItsBlanksAndSigns)
{
    open({"a/neu.mkv", "alte Kamera.mkv", "alte Schule.mkv", "S01-E02.mkv", "Zu\u0308ge.mkv"});
    LibraryView view(*model);
    view.resize(900, 400);
    view.show();
    view.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&view));
    view.setFocus();
    const auto current = [&] { return view.rows().node(view.currentIndex()).name; };
    QTest::keyClicks(&view, "alte Sch");
    EXPECT_EQ(current(), "alte Schule.mkv");
    EXPECT_TRUE(item("alte Schule.mkv").included) << "the blank is a part of the name";
    EXPECT_TRUE(item("alte Kamera.mkv").included);
    EXPECT_THAT(view, says("alte Sch"));
    EXPECT_THAT(view, Not(says("nicht gefunden")));
    QTest::keyClick(&view, Qt::Key_Backspace);
    EXPECT_THAT(view, says("alte Sc"));
    QTest::keyClicks(&view, "hx");
    EXPECT_THAT(view, says("nicht gefunden"));
    EXPECT_EQ(current(), "alte Schule.mkv");
    QTest::keyClick(&view, Qt::Key_Escape);
    EXPECT_THAT(view, Not(says("alte")));
    QTest::keyClick(&view, Qt::Key_Space);
    EXPECT_FALSE(item("alte Schule.mkv").included) << "the search is over";

    QTest::keyClicks(&view, "s01-");
    EXPECT_EQ(current(), "S01-E02.mkv");
    QTest::keyClick(&view, Qt::Key_Down);
    QTest::keyClick(&view, Qt::Key_Space);
    EXPECT_FALSE(item("Zu\u0308ge.mkv").included) << "a key that is no letter ends it";
    QTest::keyClicks(&view, "ZÜ");
    EXPECT_EQ(current(), "Zu\u0308ge.mkv");
    EXPECT_TRUE(eventually([&] { return !testing::Value(view, says("ZÜ")); })) << "after a second";
    QTest::keyClick(&view, Qt::Key_Space);
    EXPECT_TRUE(item("Zu\u0308ge.mkv").included);
    QTest::keyClicks(&view, "aaa");
    EXPECT_EQ(current(), "alte Schule.mkv") << "one letter goes from row to row";
}

TEST_F(TableViewTest, whatCannotBeChosenHasNoCheckMark)
{
    ffprobe("case \"$last\" in *kaputt*) echo 'moov atom not found' >&2; exit 1;; esac\n");
    open({"a/1.mkv", "a/kaputt.mkv", "b/fertig.mkv", "c.mkv"});
    model->library().change(item("b/fertig.mkv"), [](FileItem &file) { file.plan->isNoop = true; });
    LibraryView view(*model);
    view.resize(900, 400);
    view.show();
    settle();
    const auto mark = [&](const char *name) {
        return view.rows().indexOf(folder / name).siblingAtColumn(Column::include).data(Qt::CheckStateRole);
    };
    EXPECT_EQ(mark("a/1.mkv"), Qt::Checked);
    EXPECT_FALSE(mark("a/kaputt.mkv").isValid());
    EXPECT_FALSE(mark("b/fertig.mkv").isValid());
    EXPECT_EQ(mark("a"), Qt::Checked);
    EXPECT_FALSE(mark("b").isValid());
    view.setCurrentIndex(view.rows().indexOf(folder / "a/1.mkv"));
    QTest::keyClick(&view, Qt::Key_Space);
    EXPECT_EQ(mark("a"), Qt::Unchecked) << "the others do not count";
    EXPECT_TRUE(item("a/kaputt.mkv").included);
    QTest::mouseClick(
        view.viewport(), Qt::LeftButton, {},
        view.visualRect(view.rows().indexOf(folder / "b/fertig.mkv").siblingAtColumn(Column::include))
            .center());
    EXPECT_TRUE(item("b/fertig.mkv").included);
    model->library().change(item("c.mkv"), [](FileItem &file) { file.status = Status::Done{10, 5}; });
    EXPECT_FALSE(mark("c.mkv").isValid()) << "nothing is left to do";
}

TEST(RowDelegate, aLongNameTakesTwoLinesBeforeItIsShortened)
{
    const QFontMetrics metrics(Theme::font(Theme::Size::body));
    const QString name = QStringLiteral("Die.Kachelwand.S01E07.German.1080p.WEB.x264.mkv");
    const auto lines = [&](double share) {
        return RowDelegate::nameLines(name, metrics,
                                      static_cast<int>(share * metrics.horizontalAdvance(name)), 0);
    };
    EXPECT_EQ(lines(1.1).first, name);
    EXPECT_EQ(lines(1.1).second, "");
    EXPECT_EQ(lines(0.99).second, "x264.mkv") << "the extension stays with its word";
    EXPECT_EQ(lines(0.7).first + lines(0.7).second, name) << "all of it";
    EXPECT_TRUE(lines(0.7).first.endsWith('.')) << "words stay whole: " << lines(0.7).first.toStdString();
    const auto [first, second] = lines(0.3);
    EXPECT_TRUE(name.startsWith(first + second.section(QStringLiteral("…"), 0, 0))) << second.toStdString();
    EXPECT_TRUE(name.endsWith(second.section(QStringLiteral("…"), 1))) << second.toStdString();
    EXPECT_TRUE(second.endsWith('v'));
}

TEST_F(TableViewTest, aNarrowTableNeedsNoScrollBar)
{
    open({"a/1.mkv"});
    LibraryView view(*model);
    view.resize(Theme::em(41), 300);
    view.show();
    settle();
    const auto fits = [&] { return view.header()->length() <= view.viewport()->width(); };
    EXPECT_TRUE(fits());
    const int empty = view.columnWidth(Column::status), names = view.columnWidth(Column::name);
    EXPECT_LE(empty, Theme::em(5.2));
    model->library().change(item("a/1.mkv"), [](FileItem &file) { file.status = Status::Failed{"x"}; });
    model->recompute();
    settle();
    EXPECT_GT(view.columnWidth(Column::status), empty) << "now it has something to say";
    EXPECT_LT(view.columnWidth(Column::name), names);
    EXPECT_TRUE(fits());
}

TEST_F(TableViewTest, aNewSearchLeavesTheReaderWhereTheyWere)
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
TEST_F(TableViewTest, hostileNamesArePainted)
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
