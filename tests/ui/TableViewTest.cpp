// The rows on a screen, with mouse and keyboard.

#include <QHeaderView>
#include <QScrollBar>

#include "ui/Fixtures.h"
#include "ui/look/Theme.h"
#include "ui/table/RowDelegate.h"

namespace kestrel::test {

using TableViewTest = TableTest;

TEST_F(TableViewTest, checkMarksWorkOnFilesFoldersAndSelections)
{
    LibraryView &view = show({"a/1.mkv", "a/2.mkv", "b.mkv", "c.mkv"});
    const auto included = [&] {
        std::string names;
        for (const char *name : {"a/1.mkv", "a/2.mkv", "b.mkv", "c.mkv"})
            names += item(name).included ? std::string(name, 3) + " " : "";
        return names;
    };
    const auto afterClick = [&](const char *name) {
        clickMark(name);
        return included();
    };
    const auto afterSpace = [&] {
        QTest::keyClick(&view, Qt::Key_Space);
        return included();
    };
    const auto selectTwo = [&] { library().setSelection({folder / "b.mkv", folder / "c.mkv"}); };
    EXPECT_EQ(afterClick("a/1.mkv"), "a/2 b.m c.m ");
    EXPECT_EQ(mark("a"), Qt::PartiallyChecked);
    EXPECT_EQ(afterClick("a"), "a/1 a/2 b.m c.m ");
    EXPECT_EQ(afterClick("a"), "b.m c.m ");
    EXPECT_EQ(mark("a"), Qt::Unchecked);

    // With several rows selected, all follow the one.
    selectTwo();
    EXPECT_EQ(view.selectionModel()->selectedRows().size(), 2);
    EXPECT_EQ(afterClick("c.mkv"), "");
    EXPECT_EQ(library().selection().size(), 2U);
    EXPECT_EQ(afterClick("b.mkv"), "b.m c.m ");
    EXPECT_EQ(afterClick("a/1.mkv"), "a/1 b.m c.m ");
    EXPECT_THAT(library().selection(), ElementsAre(folder / "a/1.mkv")) << "another row is for itself";
    clickMark("a/1.mkv");
    selectTwo();
    view.setFocus();
    EXPECT_EQ(afterSpace(), "");
    EXPECT_EQ(afterSpace(), "b.m c.m ");
}

TEST_F(TableViewTest, theKeyboardReachesEverything)
{
    LibraryView &view = show({"a/1.mkv", "b.mkv"});
    int details = 0, menus = 0;
    QObject::connect(&view, &LibraryView::detailsRequested, [&] { ++details; });
    QObject::connect(&view, &LibraryView::menuRequested, [&] { ++menus; });
    view.setCurrentIndex(at("a"));
    EXPECT_THAT(library().selection(), ElementsAre(folder / "a"));
    EXPECT_THAT(expandedAfter(Qt::Key_Return), IsEmpty());
    EXPECT_THAT(expandedAfter(Qt::Key_Return), ElementsAre(folder / "a"));
    EXPECT_EQ(currentAfter(Qt::Key_Down), "1.mkv");
    EXPECT_EQ(library().selectedItem(), &item("a/1.mkv"));
    QTest::keyClick(&view, Qt::Key_Return);
    EXPECT_EQ(details, 1);
    QContextMenuEvent menu(QContextMenuEvent::Keyboard, QPoint(), QPoint());
    QCoreApplication::sendEvent(view.viewport(), &menu);
    QTest::keyClick(&view, Qt::Key_F10, Qt::ShiftModifier);
    EXPECT_EQ(menus, 2) << "not every keyboard has a menu key";
    QTest::keyClick(&view, Qt::Key_Down, Qt::ControlModifier);
    QTest::keyClick(&view, Qt::Key_Space);
    EXPECT_FALSE(item("b.mkv").included) << "the row with the ring, not the selected one";
    EXPECT_TRUE(item("a/1.mkv").included);
    QTest::keyClick(&view, Qt::Key_Space, Qt::ControlModifier);
    EXPECT_THAT(library().selection(), ElementsAre(folder / "a/1.mkv", folder / "b.mkv"));
    QTest::keyClick(&view, Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(library().selection().size(), 3U);
}

TEST_F(TableViewTest, theNamesTakeWhatTheOtherColumnsLeave)
{
    LibraryView &view = show({"a.mkv"}, 1400, 300);
    const int names = view.columnWidth(Column::name), videos = view.columnWidth(Column::video);
    const auto drag = [&](Column column, int by) {
        QWidget *header = view.header()->viewport();
        const int edge = view.header()->sectionViewportPosition(column) + view.columnWidth(column) - 1;
        const QPoint from(edge, header->height() / 2), to = from + QPoint(by, 0);
        QTest::mouseMove(header, from);
        QTest::mousePress(header, Qt::LeftButton, {}, from);
        QMouseEvent move(QEvent::MouseMove, to, header->mapToGlobal(to), Qt::LeftButton, Qt::LeftButton, {});
        QCoreApplication::sendEvent(header, &move);
        QTest::mouseRelease(header, Qt::LeftButton, {}, to);
        settle();
    };
    const auto resize = [&](int width) {
        view.resize(width, 300);
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
    resize(720);
    EXPECT_EQ(view.header()->length(), view.viewport()->width());
    EXPECT_LT(view.columnWidth(Column::video), videos + 40) << "others give way to the names";
    EXPECT_EQ(heading(), "Vorher");
    resize(2400);
    EXPECT_EQ(view.columnWidth(Column::video), videos + 40) << "as chosen";
    resize(Theme::em(64));
    EXPECT_EQ(view.columnWidth(Column::video), videos + 40) << "others are shorter before";
}

TEST_F(TableViewTest, theHeadsObeyTheKeyboard)
{
    LibraryView &view = show({"a.mkv"}, 1400, 300);
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
    EXPECT_EQ(library().sortOrder().front(), (RowComparator{RowComparator::Column::duration, false}));
    QTest::keyClick(header, Qt::Key_Home);
    QTest::keyClick(header, Qt::Key_Left);
    EXPECT_EQ(view.columns().current(), Column::include);
}

TEST_F(TableViewTest, headersSortAndTheLibraryOpensFolders)
{
    LibraryView &view = show({"a/1.mkv", "a/2.mkv", "b.mkv"});
    QHeaderView &header = *view.header();
    const auto sortedAfterClick = [&](int section) {
        const QPoint place(header.sectionViewportPosition(section) + 20, header.height() / 2);
        QTest::mouseClick(header.viewport(), Qt::LeftButton, {}, place);
        return library().sortOrder().front();
    };
    using By = RowComparator::Column;
    EXPECT_TRUE(view.isExpanded(view.rows().index(0, 0)));
    library().expandAll(false);
    EXPECT_FALSE(view.isExpanded(view.rows().index(0, 0)));
    EXPECT_EQ(header.sortIndicatorSection(), Column::name);
    EXPECT_EQ(sortedAfterClick(Column::sizeBefore), (RowComparator{By::size, false}));
    EXPECT_EQ(sortedAfterClick(Column::sizeBefore), (RowComparator{By::size, true}));
    EXPECT_EQ(sortedAfterClick(Column::status), (RowComparator{By::size, true})) << "cannot be sorted by";
    EXPECT_EQ(header.sortIndicatorSection(), Column::sizeBefore);
    EXPECT_EQ(sortedAfterClick(Column::name), (RowComparator{By::name, true}));
    EXPECT_EQ(library().sortOrder().size(), 2U) << "equal rows by what was chosen before";
}

TEST_F(TableViewTest, theCurrentRowIsAlwaysInSight)
{
    LibraryView &view = show({"a/tief/1.mkv", "a/2.mkv", "b/3.mkv", "z.mkv"});
    const fs::path a = folder / "a", deep = folder / "a/tief";
    view.setCurrentIndex(at("a/tief/1.mkv"));
    library().toggleFolder(a);
    EXPECT_EQ(current(), "a");
    rescan();
    library().expandAll(false);
    EXPECT_EQ(current(), "a");

    EXPECT_THAT(expandedAfter(Qt::Key_Asterisk, Qt::ShiftModifier), ElementsAre(a, deep)) << "and no files";
    EXPECT_TRUE(view.isExpanded(at("a/tief", Column::include)));
    EXPECT_THAT(expandedAfter(Qt::Key_Minus), ElementsAre(deep));
    EXPECT_THAT(expandedAfter(Qt::Key_Plus), ElementsAre(a, deep));
    view.setCurrentIndex(view.rows().index(0, 0));
    EXPECT_THAT(expandedAfter(Qt::Key_Left), ElementsAre(deep));
    EXPECT_EQ(currentAfter(Qt::Key_Z), "z.mkv") << "typing goes by the names";

    library().expandAll(false);
    library().setSelection({folder / "b/3.mkv"});
    EXPECT_THAT(library().expandedFolders(), ElementsAre(folder / "b")) << "what somebody goes to is shown";
    EXPECT_EQ(current(), "3.mkv");
}

TEST_F(TableViewTest, aNameMayBeTypedWithItsBlanksAndSigns)
{
    LibraryView &view =
        show({"a/neu.mkv", "alte Kamera.mkv", "alte Schule.mkv", "S01-E02.mkv", "Zu\u0308ge.mkv"});
    view.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&view));
    view.setFocus();
    const auto typed = [&](const char *text) {
        QTest::keyClicks(&view, text);
        return current();
    };
    EXPECT_EQ(typed("alte Sch"), "alte Schule.mkv");
    EXPECT_TRUE(item("alte Schule.mkv").included) << "the blank is a part of the name";
    EXPECT_TRUE(item("alte Kamera.mkv").included);
    EXPECT_THAT(view, AllOf(says("alte Sch"), Not(says("nicht gefunden"))));
    QTest::keyClick(&view, Qt::Key_Backspace);
    EXPECT_THAT(view, says("alte Sc"));
    EXPECT_EQ(typed("hx"), "alte Schule.mkv");
    EXPECT_THAT(view, says("nicht gefunden"));
    QTest::keyClick(&view, Qt::Key_Escape);
    EXPECT_THAT(view, Not(says("alte")));
    QTest::keyClick(&view, Qt::Key_Space);
    EXPECT_FALSE(item("alte Schule.mkv").included) << "the search is over";

    EXPECT_EQ(typed("s01-"), "S01-E02.mkv");
    QTest::keyClick(&view, Qt::Key_Down);
    QTest::keyClick(&view, Qt::Key_Space);
    EXPECT_FALSE(item("Zu\u0308ge.mkv").included) << "a key that is no letter ends it";
    EXPECT_EQ(typed("ZÜ"), "Zu\u0308ge.mkv");
    EXPECT_TRUE(eventually([&] { return !testing::Value(view, says("ZÜ")); })) << "after a second";
    QTest::keyClick(&view, Qt::Key_Space);
    EXPECT_TRUE(item("Zu\u0308ge.mkv").included);
    EXPECT_EQ(typed("aaa"), "alte Schule.mkv") << "one letter goes from row to row";
}

TEST_F(TableViewTest, whatCannotBeChosenHasNoCheckMark)
{
    ffprobe("case \"$last\" in *kaputt*) echo 'moov atom not found' >&2; exit 1;; esac\n");
    LibraryView &view = show({"a/1.mkv", "a/kaputt.mkv", "b/fertig.mkv", "c.mkv"});
    change("b/fertig.mkv", [](FileItem &file) { file.plan->isNoop = true; });
    settle();
    EXPECT_EQ(mark("a/1.mkv"), Qt::Checked);
    EXPECT_EQ(mark("a"), Qt::Checked);
    for (const char *name : {"a/kaputt.mkv", "b/fertig.mkv", "b"})
        EXPECT_FALSE(mark(name).isValid()) << name;
    view.setCurrentIndex(at("a/1.mkv"));
    QTest::keyClick(&view, Qt::Key_Space);
    EXPECT_EQ(mark("a"), Qt::Unchecked) << "the others do not count";
    EXPECT_TRUE(item("a/kaputt.mkv").included);
    clickMark("b/fertig.mkv");
    EXPECT_TRUE(item("b/fertig.mkv").included);
    set("c.mkv", Status::Done{10, 5});
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
    LibraryView &view = show({"a/1.mkv"}, Theme::em(41), 300);
    const auto fits = [&] { return view.header()->length() <= view.viewport()->width(); };
    EXPECT_TRUE(fits());
    const int empty = view.columnWidth(Column::status), names = view.columnWidth(Column::name);
    EXPECT_LE(empty, Theme::em(5.2));
    set("a/1.mkv", Status::Failed{"x"});
    model->recompute();
    settle();
    EXPECT_GT(view.columnWidth(Column::status), empty) << "now it has something to say";
    EXPECT_LT(view.columnWidth(Column::name), names);
    EXPECT_TRUE(fits());
}

TEST_F(TableViewTest, aNewSearchLeavesTheReaderWhereTheyWere)
{
    std::vector<std::string> names;
    for (int i = 100; i < 160; ++i)
        names.push_back("f" + std::to_string(i) + ".mkv");
    LibraryView &view = show(names);
    view.setCurrentIndex(at("f130.mkv"));
    view.verticalScrollBar()->setValue(900);
    rescan();
    settle();
    EXPECT_EQ(view.verticalScrollBar()->value(), 900);
    EXPECT_EQ(current(), "f130.mkv");
}

// Whatever the files are called and however narrow the columns: painting must not fail.
TEST_F(TableViewTest, hostileNamesArePainted)
{
    LibraryView &view =
        show({std::string(240, 'W') + ".mkv", "\xff\xfe.mkv", "<b>fett</b>\n.mkv", "a/\xe2\x80\xaertl.mkv"},
             120, 300);
    EXPECT_FALSE(view.grab().isNull());
    view.resize(2000, 300);
    EXPECT_FALSE(view.grab().isNull());
    EXPECT_EQ(at("\xff\xfe.mkv").data().toString(), "\uFFFD\uFFFD.mkv");
    EXPECT_THAT(at("<b>fett</b>\n.mkv").data(Qt::ToolTipRole).toString().toStdString(),
                HasSubstr("&lt;b&gt;fett"));
}

} // namespace kestrel::test
