// How the window fits what it shows into its size, and how it asks for a folder.

#include <QFileSystemModel>
#include <QLineEdit>
#include <QListView>

#include "format/Fmt.h"
#include "ui/Find.h"
#include "ui/WindowFixture.h"
#include "ui/look/Strings.h"
#include "ui/settings/SettingsPanel.h"
#include "ui/window/FolderDialog.h"

namespace kestrel::test {
namespace {

using testing::Not;

using WindowLayoutTest = WindowTest;

TEST_F(WindowLayoutTest, theSumsSayWhereTheyGrowAndWhatTheyRestOn)
{
    film("a.mkv");
    film("b.mkv");
    ready().open(folder.path());
    EXPECT_TRUE(idle());
    openWindow();
    for (const char *name : {"a.mkv", "b.mkv"}) {
        MediaInfo info = *item(name).info;
        info.fileSize = 100 << 20;
        info.duration = 3600;
        model->library().setInfo(item(name), info);
    }
    giveSample("a.mkv", 4e6); // an hour of it, and twice as much as was guessed
    const double growth = model->totals().estimatedBytes - (200 << 20);
    ASSERT_GT(growth, 1 << 20);
    EXPECT_THAT(*window, says("+" + Fmt::bytes(growth)));
    EXPECT_THAT(*window, says("Zuwachs"));
    EXPECT_THAT(*window, Not(says("Ersparnis")));
    const auto *value = named<QLabel>(*window, qt("+" + Fmt::bytes(growth)));
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(value->palette().color(QPalette::WindowText),
              Theme::color(Theme::Tone::orange, window->palette()));
    EXPECT_THAT(*window, says("hochgerechnet aus Stichproben (1 Datei)"));
}

TEST_F(WindowLayoutTest, aSmallWindowHasItsPanelOverTheTableAndItsFiguresInALine)
{
    film("a.mkv");
    ready().open(folder.path());
    EXPECT_TRUE(idle());
    openWindow();
    window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
    window->resize(Theme::em(70), Theme::em(48));
    settle();
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

    window->resize(Theme::em(55), Theme::em(24));
    settle();
    EXPECT_FALSE(panel->isVisible()) << "the table is to be seen first";
    EXPECT_FALSE(shows.isChecked());
    EXPECT_GT(window->table().width(), beside);
    const auto *files = named<QLabel>(*window, "Vorher");
    ASSERT_NE(files, nullptr);
    EXPECT_THAT(*window, says(Fmt::bytes(model->totals().sourceBytes))) << "in one line";
    EXPECT_LT(files->parentWidget()->height(), Theme::em(2.2));
    shows.trigger();
    settle();
    EXPECT_TRUE(isOverTable());
    EXPECT_GT(window->table().width(), beside) << "which keeps its width";
    for (auto *child : panel->findChildren<QWidget *>())
        if (child->focusPolicy() & Qt::TabFocus && child->isVisible()) {
            child->setFocus();
            break;
        }
    ASSERT_TRUE(panel->isAncestorOf(QApplication::focusWidget()));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
    EXPECT_FALSE(panel->isVisible());
    EXPECT_FALSE(shows.isChecked());
    EXPECT_EQ(QApplication::focusWidget(), &window->table());

    shows.trigger();
    window->resize(Theme::em(70), Theme::em(48));
    settle();
    EXPECT_TRUE(panel->isVisible());
    EXPECT_FALSE(isOverTable());
    EXPECT_TRUE(shows.isChecked());
    EXPECT_EQ(panel->width(), width);
}

TEST_F(WindowLayoutTest, theFolderDialogOpensWhatIsTyped)
{
    fs::create_directories(home() / "Videos/Serien");
    fs::create_directories(home() / "Bilder");
    std::ofstream(home() / "Videos/film.mkv") << "x";
    const QString base = qt(home().native());
    const auto type = [&](const QString &text) {
        window.reset();
        ready();
        openWindow();
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
    for (const QString &text :
         {base + "/Videos", base + "/Videos/", QStringLiteral("$HOME/Videos"), QStringLiteral("~/Videos/"),
          QStringLiteral("Videos"), '"' + base + "/Videos\""}) {
        const auto dialog = type(text);
        EXPECT_TRUE(eventually([&] { return dialog == nullptr; })) << text.toStdString();
        EXPECT_TRUE(idle());
        EXPECT_EQ(model->rootURL(), home() / "Videos") << text.toStdString();
    }
    for (const auto &[text, why] : std::vector<std::pair<QString, const char *>>{
             {base + "/Vidoes", "gibt es nicht."}, {base + "/Videos/film.mkv", "ist kein Ordner."}}) {
        const auto dialog = type(text);
        ASSERT_NE(dialog, nullptr) << text.toStdString();
        EXPECT_TRUE(dialog->isVisible());
        const auto *box = dialog->findChild<QMessageBox *>();
        ASSERT_NE(box, nullptr) << text.toStdString();
        EXPECT_TRUE(box->text().endsWith(why)) << box->text().toStdString();
        EXPECT_EQ(model->rootURL(), std::nullopt);
    }
}

} // namespace
} // namespace kestrel::test
