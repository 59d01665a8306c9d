// The rows on a screen, with mouse and keyboard.

#include <QHeaderView>
#include <QScrollBar>

#include "ui/TableFixture.h"
#include "ui/look/Theme.h"

namespace kestrel::test {
namespace {

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
