// How the window fits what it shows into its size, and how it asks for a folder.

#include <QFileSystemModel>
#include <QLineEdit>
#include <QListView>

#include "format/Fmt.h"
#include "ui/Fixtures.h"
#include "ui/look/Strings.h"
#include "ui/window/FolderDialog.h"

namespace kestrel::test {

using WindowLayoutTest = WindowTest;

TEST_F(WindowLayoutTest, theSumsSayWhereTheyGrowAndWhatTheyRestOn)
{
    openWindow({"a.mkv", "b.mkv"});
    for (const char *name : {"a.mkv", "b.mkv"})
        library().setInfo(item(name), aFilm().fileSize(100 << 20));
    giveSample("a.mkv", 4e6); // an hour of it, and twice as much as was guessed
    const double growth = model->totals().estimatedBytes - (200 << 20);
    ASSERT_GT(growth, 1 << 20);
    EXPECT_THAT(*window, says("+" + Fmt::bytes(growth)));
    EXPECT_THAT(*window, says("Zuwachs"));
    EXPECT_THAT(*window, Not(says("Ersparnis")));
    EXPECT_EQ(named<QLabel>(*window, qt("+" + Fmt::bytes(growth)))->palette().color(QPalette::WindowText),
              Theme::color(Theme::Tone::orange, window->palette()));
    EXPECT_THAT(*window, says("hochgerechnet aus Stichproben (1 Datei)"));
}

TEST_F(WindowLayoutTest, aSmallWindowHasItsPanelOverTheTableAndItsFiguresInALine)
{
    openWindow({"a.mkv"});
    activate();
    const auto resize = [&](double width, double height) {
        window->resize(Theme::em(width), Theme::em(height));
        settle();
    };
    resize(70, 48);
    auto *panel = window->findChild<SettingsPanel *>();
    QAction &shows = *window->commands().showPanel;
    const auto isOverTable = [&] {
        const QWidget &table = window->table();
        return panel->isVisible() &&
               panel->mapToGlobal(QPoint()).x() < table.mapToGlobal(QPoint(table.width(), 0)).x();
    };
    EXPECT_TRUE(panel->isVisible());
    EXPECT_FALSE(isOverTable());
    const int beside = window->table().width(), width = panel->width();
    EXPECT_THAT(*window, says("Vorher"));

    resize(55, 24);
    EXPECT_FALSE(panel->isVisible()) << "the table is to be seen first";
    EXPECT_FALSE(shows.isChecked());
    EXPECT_GT(window->table().width(), beside);
    EXPECT_THAT(*window, says(Fmt::bytes(model->totals().sourceBytes)));
    EXPECT_LT(named<QLabel>(*window, "Vorher")->parentWidget()->height(), Theme::em(2.2)) << "in one line";
    shows.trigger();
    settle();
    EXPECT_TRUE(isOverTable());
    EXPECT_GT(window->table().width(), beside) << "which keeps its width";
    named<Picker>(*panel, "Qualität")->setFocus();
    ASSERT_TRUE(panel->isAncestorOf(QApplication::focusWidget()));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
    EXPECT_FALSE(panel->isVisible());
    EXPECT_FALSE(shows.isChecked());
    EXPECT_EQ(QApplication::focusWidget(), &window->table());

    shows.trigger();
    resize(70, 48);
    EXPECT_TRUE(panel->isVisible());
    EXPECT_FALSE(isOverTable());
    EXPECT_TRUE(shows.isChecked());
    EXPECT_EQ(panel->width(), width);
}

TEST_F(WindowLayoutTest, theFolderDialogOpensWhatIsTyped)
{
    fs::create_directories(home() / "Videos/Serien");
    fs::create_directories(home() / "Bilder");
    std::ofstream(home() / "Videos/film.mkv").put('x');
    const QString base = qt(home().native());
    const auto type = [&](const QString &text) {
        openFreshWindow();
        window->chooseFolder();
        QPointer dialog = window->findChild<FolderDialog *>();
        EXPECT_TRUE(QTest::qWaitForWindowActive(dialog));
        auto *edit = dialog->findChild<QLineEdit *>("fileNameEdit");
        edit->setFocus();
        QTest::keyClicks(edit, text, {}, 20);
        // What Qt marks by itself while a person types.
        auto *list = dialog->findChild<QListView *>("listView");
        auto *files = qobject_cast<QFileSystemModel *>(list->model());
        for (const QString &path : {base, base + "/Videos"})
            list->selectionModel()->select(files->index(path),
                                           QItemSelectionModel::Select | QItemSelectionModel::Rows);
        QTest::keyClick(edit, Qt::Key_Return);
        settle();
        return dialog;
    };
    for (const QString &text : {base + "/Videos", base + "/Videos/", QString("$HOME/Videos"),
                                QString("~/Videos/"), QString("Videos"), '"' + base + "/Videos\""}) {
        const auto dialog = type(text);
        EXPECT_TRUE(eventually([&] { return dialog == nullptr; })) << text.toStdString();
        EXPECT_TRUE(idle());
        EXPECT_EQ(model->rootURL(), home() / "Videos") << text.toStdString();
    }
    for (const auto &[text, why] : std::vector<std::pair<QString, const char *>>{
             {base + "/Vidoes", "gibt es nicht."}, {base + "/Videos/film.mkv", "ist kein Ordner."}}) {
        const auto dialog = type(text);
        ASSERT_NE(dialog, nullptr) << text.toStdString();
        const auto *box = dialog->findChild<QMessageBox *>();
        ASSERT_NE(box, nullptr) << text.toStdString();
        EXPECT_TRUE(box->text().endsWith(why)) << box->text().toStdString();
        EXPECT_EQ(model->rootURL(), std::nullopt);
    }
}

} // namespace kestrel::test
