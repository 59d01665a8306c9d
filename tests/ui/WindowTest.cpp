#include <QAccessible>
#include <QCloseEvent>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QScreen>
#include <QToolBar>
#include <QToolButton>
#include <set>

#include "ui/WindowFixture.h"
#include "ui/look/Strings.h"
#include "ui/settings/SettingsPanel.h"
#include "ui/window/Banner.h"
#include "ui/window/RunPanel.h"

namespace kestrel::test {
namespace {

TEST_F(WindowTest, commandsArePossibleWhenTheyMakeSense)
{
    film("a.mkv");
    ready();
    openWindow();
    Commands &can = window->commands();
    const auto possible = [&] {
        std::string text;
        for (const auto &[action, name] :
             std::vector<std::pair<QAction *, const char *>>{{can.openFolder, "open "},
                                                             {can.chooseFolder, "choose "},
                                                             {can.rescan, "rescan "},
                                                             {can.measure, "measure "},
                                                             {can.measure3, "3 "},
                                                             {can.probeClip, "clip "},
                                                             {can.convert, "convert "},
                                                             {can.pause, "pause "},
                                                             {can.stop, "stop "},
                                                             {can.details, "details "},
                                                             {can.check, "check "}})
            text += action->isVisible() && action->isEnabled() ? name : "";
        return text;
    };
    EXPECT_EQ(possible(), "open choose ");
    model->open(folder.path());
    EXPECT_EQ(possible(), "open ") << "while it searches";
    EXPECT_TRUE(idle());
    EXPECT_EQ(possible(), "open choose rescan measure 3 convert ");
    model->library().setSelection({folder / "a.mkv"});
    EXPECT_EQ(possible(), "open choose rescan measure 3 clip convert details check ");

    slowFfmpeg();
    model->startSampling(1, std::nullopt);
    EXPECT_EQ(possible(), "open measure details check ");
    EXPECT_EQ(can.measure->iconText(), "Stichproben stoppen (0/1)");
    EXPECT_EQ(can.measure->statusTip(), "Messung beenden – bisherige Stichproben bleiben erhalten");
    can.measure->trigger();
    EXPECT_TRUE(idle());
    EXPECT_EQ(can.measure->iconText(), "Genau schätzen");

    can.probeClip->trigger();
    EXPECT_EQ(can.probeClip->iconText(), "Probeclip 0 %");
    EXPECT_EQ(possible(), "open details check ");
    model->stop();
    EXPECT_TRUE(idle());

    giveSample("a.mkv");
    can.convert->trigger();
    EXPECT_EQ(possible(), "open pause stop details check ");
    EXPECT_EQ(can.pause->iconText(), "Pause");
    EXPECT_EQ(can.pause->statusTip(),
              "Konvertierung anhalten (ffmpeg wird eingefroren, nichts geht verloren)");
    can.pause->trigger();
    EXPECT_EQ(can.pause->iconText(), "Fortsetzen");
    EXPECT_EQ(can.pause->statusTip(), "Konvertierung fortsetzen");
    can.stop->trigger();
    EXPECT_EQ(possible(), "open details check ") << "it is about to end";
    EXPECT_EQ(RunPanel::lookOf(*model)->detail, "wird gestoppt …");
    EXPECT_TRUE(idle());
    EXPECT_EQ(possible(), "open choose rescan measure 3 clip convert details check ");
    EXPECT_EQ(RunPanel::lookOf(*model)->headline, "Gestoppt");
    EXPECT_TRUE(RunPanel::lookOf(*model)->sentence.startsWith("Fertig: 0 konvertiert · 1 abgebrochen"));
    EXPECT_TRUE(RunPanel::turnOf(*model).startsWith("Gestoppt. Fertig: 0"));

    can.uncheckAll->trigger();
    EXPECT_EQ(possible(), "open choose rescan measure 3 clip details check ") << "nothing is chosen";
    can.checkAll->trigger();
    EXPECT_TRUE(can.convert->isEnabled());
    model->library().change(item("a.mkv"), [](FileItem &file) { file.plan->isNoop = true; });
    can.update();
    EXPECT_FALSE(can.convert->isEnabled());
}

TEST_F(WindowTest, aScreenReaderIsToldWhatTheToolsDo)
{
    film("a.mkv");
    ready().open(folder.path());
    EXPECT_TRUE(idle());
    openWindow();
    slowFfmpeg();
    model->startSampling(1, std::nullopt);
    std::set<std::string> told;
    for (auto *button : window->findChild<QToolBar *>()->findChildren<QToolButton *>())
        if (button->isVisible() && button->defaultAction() != nullptr)
            told.insert(
                QAccessible::queryAccessibleInterface(button)->text(QAccessible::Description).toStdString());
    EXPECT_THAT(told, testing::Contains("Messung beenden – bisherige Stichproben bleiben erhalten"));
    for (const char *help : {"Ordner mit Videos wählen (Strg+O)", "Ordner neu einlesen (Strg+R)",
                             "Allgemeine Einstellungen (Strg+,)",
                             "60 Sekunden der ausgewählten Datei mit den aktuellen Einstellungen erzeugen – "
                             "zum Testen am Fernseher "
                             "(landet in Movies/Kestrel Probeclips)"})
        EXPECT_THAT(told, testing::Contains(help));
    EXPECT_THAT(told, testing::Each(testing::Not(HasSubstr("<")))) << "no markup";
    model->stop();
    EXPECT_TRUE(idle());
}

TEST_F(WindowTest, showsThePageThatFits)
{
    const auto shows = [&](const QString &text) {
        for (const Label *label : window->findChildren<Label *>())
            if (label->isVisible() && label->text() == text)
                return true;
        return false;
    };
    ready();
    openWindow();
    EXPECT_TRUE(window->windowTitle().startsWith("Kestrel"));
    EXPECT_TRUE(shows("Ordner mit Videos hierher ziehen"));
    EXPECT_FALSE(shows("ffmpeg wird gesucht …"));
    model->open(folder.path());
    EXPECT_TRUE(idle());
    EXPECT_FALSE(shows("Ordner mit Videos hierher ziehen"));
    EXPECT_TRUE(shows("In diesem Ordner wurden keine Videodateien gefunden."));
    ASSERT_NE(window->findChild<Banner *>(), nullptr);
    window->findChild<Banner *>()->findChild<QAbstractButton *>()->click();
    EXPECT_EQ(model->message(), std::nullopt);
    EXPECT_FALSE(shows("In diesem Ordner wurden keine Videodateien gefunden."));

    window.reset();
    fs::remove(toolbox / "ffmpeg");
    ready();
    openWindow();
    EXPECT_TRUE(shows("ffmpeg fehlt"));
    EXPECT_TRUE(shows(qt(*model->toolError())));
    EXPECT_TRUE(shows("Danach Kestrel neu starten.")) << "how to install it is told once";
}

TEST_F(WindowTest, theFolderOfLastTimeIsOfferedWhereItIsThere)
{
    const auto offer = [&]() -> QPushButton * {
        for (auto *button : window->findChildren<QPushButton *>())
            if (button->isVisible() && button->text().startsWith("Zuletzt geöffnet: "))
                return button;
        return nullptr;
    };
    const fs::path films = folder / "Filme";
    fs::create_directory(films);
    ready().open(films);
    EXPECT_TRUE(idle());
    openWindow();
    EXPECT_TRUE(window->close());
    window.reset();

    ready();
    openWindow();
    ASSERT_TRUE(eventually([&] { return offer() != nullptr; }));
    offer()->click();
    EXPECT_TRUE(idle());
    EXPECT_EQ(model->rootURL(), films);
    window.reset();

    fs::remove(films);
    ready();
    openWindow();
    workFor(std::chrono::milliseconds(300));
    EXPECT_EQ(offer(), nullptr);
}

TEST_F(WindowTest, aDroppedFolderIsOpenedAndNothingElse)
{
    film("a.mkv");
    const fs::path odd = folder / "x\xff%41";
    fs::create_directory(odd);
    ready();
    openWindow();
    const auto drop = [&](const QByteArray &url) {
        QMimeData data;
        data.setData("text/uri-list", url);
        QDragEnterEvent enter({5, 5}, Qt::CopyAction | Qt::MoveAction, &data, Qt::LeftButton, {});
        enter.ignore();
        QCoreApplication::sendEvent(window.get(), &enter);
        if (!enter.isAccepted())
            return false;
        QDropEvent event({5, 5}, Qt::MoveAction | Qt::CopyAction, &data, Qt::LeftButton, Qt::ShiftModifier);
        QCoreApplication::sendEvent(window.get(), &event);
        EXPECT_EQ(event.dropAction(), Qt::CopyAction) << "or who gave it might remove it";
        return true;
    };
    const QByteArray base = "file://" + QByteArray::fromStdString(folder.path().native());
    EXPECT_FALSE(drop(base + "/a.mkv\r\n"));
    EXPECT_FALSE(drop("https://example.org/\r\n"));
    EXPECT_FALSE(drop(base + "/gibt-es-nicht\r\n"));
    EXPECT_EQ(model->rootURL(), std::nullopt);
    EXPECT_TRUE(drop(base + "/x%FF%2541\r\n"));
    EXPECT_EQ(model->rootURL(), odd);
    EXPECT_TRUE(idle());
}

TEST_F(WindowTest, whatIsOpenedBeforeFfmpegIsFoundIsSearchedThen)
{
    film("a.mkv");
    standIn(toolbox, "ffmpeg",
            "while [ ! -e " + quoted(toolbox / "go") +
                " ]; do sleep 0.02; done\n[ $2 = -encoders ] && echo libx265");
    const Sandbox other;
    AppModel::Options options;
    options.openFolder = other.path(); // the folder of the call; somebody was faster
    options.settings = ConversionSettings();
    options.toolFolders = {toolbox.path()};
    model = std::make_unique<AppModel>(options);
    ASSERT_FALSE(model->tools());
    openWindow();
    window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
    model->open(folder.path());
    std::ofstream(toolbox / "go").put('1');
    EXPECT_TRUE(eventually([&] { return model->tools().has_value(); }));
    EXPECT_TRUE(idle());
    EXPECT_EQ(model->library().items().size(), 1U);
    EXPECT_TRUE(item("a.mkv").info.has_value());
    EXPECT_EQ(QApplication::focusWidget(), &window->table()) << "not a button of the page that has gone";
}

TEST_F(WindowTest, aSearchThatWasGivenUpSaysSo)
{
    film("a.mkv");
    ffprobe("sleep 60");
    ready().open(folder.path());
    openWindow();
    EXPECT_TRUE(eventually([&] { return model->activity().total == 1; }));
    window->commands().cancel->trigger();
    EXPECT_TRUE(idle());
    const auto look = RunPanel::lookOf(*model);
    ASSERT_TRUE(look.has_value());
    EXPECT_EQ(look->headline, "Die Suche wurde abgebrochen");
    EXPECT_EQ(look->detail, "1 Datei noch nicht analysiert");
}

TEST_F(WindowTest, quittingAsksOnlyWhileWorkRuns)
{
    film("a.mkv");
    film("b.mkv");
    ready().open(folder.path());
    EXPECT_TRUE(idle());
    openWindow();
    EXPECT_TRUE(window->close());
    EXPECT_EQ(question(), nullptr);
    window->show();

    slowFfmpeg();
    for (const bool samples : {true, false}) { // every kind of work counts
        model->library().setSelection({folder / "a.mkv"});
        samples ? model->startSampling(1, std::nullopt) : model->makeProbeClip();
        ASSERT_TRUE(model->isBusy());
        EXPECT_FALSE(window->close());
        ASSERT_NE(question(), nullptr);
        QTest::keyClick(question(), Qt::Key_Escape);
        EXPECT_TRUE(eventually([&] { return question() == nullptr; }));
        EXPECT_TRUE(model->isBusy());
        model->stop();
        EXPECT_TRUE(idle());
    }

    for (const char *name : {"a.mkv", "b.mkv"})
        giveSample(name);
    model->startConversion();
    EXPECT_FALSE(window->close());
    EXPECT_EQ(question()->text(), "Kestrel arbeitet noch");
    EXPECT_EQ(
        question()->informativeText(),
        "Laufende Konvertierungen werden abgebrochen. Bereits fertige Dateien bleiben erhalten, die gerade "
        "bearbeitete Datei bleibt unverändert.");
    EXPECT_EQ(question()->defaultButton(), button("Abbrechen und beenden"));
    EXPECT_FALSE(window->close()) << "one question is enough";
    EXPECT_EQ(window->findChildren<QMessageBox *>().size(), 1);
    button("Weiterlaufen lassen")->click();
    EXPECT_TRUE(eventually([&] { return question() == nullptr; }));
    EXPECT_TRUE(model->isBusy());

    int closed = 0;
    QObject::connect(window.get(), &MainWindow::closed, [&] { ++closed; });
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_FALSE(window->close());
    button("Abbrechen und beenden")->click();
    EXPECT_FALSE(window->close()) << "it is about to";
    EXPECT_TRUE(eventually([&] { return closed == 1; }));
    const auto lasted = std::chrono::steady_clock::now() - begun;
    EXPECT_GE(lasted, std::chrono::milliseconds(1500));
    EXPECT_LT(lasted, std::chrono::seconds(10));
    EXPECT_FALSE(model->isBusy());
    EXPECT_EQ(readFile(folder / "a.mkv"), std::string(10'000, 'x'));
}

TEST_F(WindowTest, remembersHowItWasLeft)
{
    film("a/1.mkv");
    film("b/2.mkv");
    ready().open(folder.path());
    EXPECT_TRUE(idle());
    openWindow();
    window->resize(1100, 700);
    settle(); // the panel may have lain over the table
    window->table().setColumnWidth(Columns::video, 333);
    auto *panel = window->findChild<SettingsPanel *>();
    const int usual = panel->width();
    QTest::keyClick(window->findChild<PanelSplitter *>()->handle(1), Qt::Key_Left);
    const int chosen = panel->width();
    EXPECT_EQ(chosen, usual + Theme::em(1));
    EXPECT_LT(chosen, Theme::em(26));
    window->commands().showPanel->setChecked(false);
    model->library().toggleFolder(folder / "b");
    EXPECT_TRUE(window->close());

    window.reset();
    ready();
    openWindow();
    model->open(folder.path());
    EXPECT_TRUE(idle());
    EXPECT_EQ(window->size(), QSize(1100, 700));
    EXPECT_EQ(window->table().columnWidth(Columns::video), 333);
    EXPECT_FALSE(window->commands().showPanel->isChecked());
    window->commands().showPanel->setChecked(true);
    settle();
    EXPECT_EQ(window->findChild<SettingsPanel *>()->width(), chosen);
    EXPECT_THAT(model->library().expandedFolders(), ElementsAre(folder / "a"));
    model->library().toggleFolder(folder / "b");
    model->library().toggleFolder(folder / "a");
    model->rescan();
    EXPECT_TRUE(idle());
    EXPECT_THAT(model->library().expandedFolders(), ElementsAre(folder / "b")) << "as it was a moment ago";
    window.reset();

    std::ofstream(home() / "window.conf")
        << "[Window]\ngeometry=\"\xff\xff\"\ncolumns=1 2 x\nsplitter=@Invalid()\n";
    openWindow();
    EXPECT_EQ(window->width(), std::min(Theme::em(76), window->screen()->availableSize().width() * 95 / 100));
    EXPECT_NE(window->table().columnWidth(Columns::video), 333);
    fs::remove(home() / "window.conf");
}

TEST_F(WindowTest, thePanelTellsWhatIsGoingOn)
{
    film("a.mkv");
    film("b.mkv");
    ffprobe("while [ ! -e " + quoted(toolbox / "go") + " ]; do sleep 0.02; done");
    ready().open(folder.path());
    EXPECT_EQ(RunPanel::lookOf(*model)->headline, "Suche Videodateien …");
    EXPECT_TRUE(eventually([&] { return model->activity().total == 2; }));
    EXPECT_EQ(RunPanel::lookOf(*model)->count, "0 von 2 Dateien");
    EXPECT_TRUE(RunPanel::lookOf(*model)->canBeStopped);
    std::ofstream(toolbox / "go") << "";
    EXPECT_TRUE(idle());
    EXPECT_FALSE(RunPanel::lookOf(*model).has_value());
    ffmpeg("case \"$last\" in *b.*) exit 1;; esac\n" + writes(4));
    giveSample("a.mkv");
    giveSample("b.mkv");
    model->startConversion();
    EXPECT_EQ(RunPanel::lookOf(*model)->count, "0 von 2 Dateien");
    EXPECT_EQ(Fmt::shareOfFiles(0, 1), "0 von 1 Datei");
    EXPECT_EQ(RunPanel::turnOf(*model), "Konvertierung läuft");
    model->togglePause();
    EXPECT_EQ(RunPanel::turnOf(*model), "Pausiert");
    EXPECT_EQ(RunPanel::lookOf(*model)->detail, "Pausiert");
    model->togglePause();
    EXPECT_TRUE(idle());
    const auto end = RunPanel::lookOf(*model);
    ASSERT_TRUE(end.has_value());
    EXPECT_THAT(end->headline.toStdString(), StartsWith("Fertig: 1 konvertiert · 1 mit Fehler – Dauer "));
    EXPECT_EQ(end->icon, "warning");
    EXPECT_EQ(RunPanel::turnOf(*model), end->headline);
    EXPECT_FALSE(end->progress.has_value());
}

} // namespace
} // namespace kestrel::test
