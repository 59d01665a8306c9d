#include <QAccessible>
#include <QMimeData>
#include <QScreen>
#include <QToolBar>
#include <QToolButton>
#include <set>

#include "ui/Fixtures.h"
#include "ui/look/Strings.h"
#include "ui/window/Banner.h"
#include "ui/window/RunPanel.h"

namespace kestrel::test {

TEST_F(WindowTest, commandsArePossibleWhenTheyMakeSense)
{
    film("a.mkv");
    openFreshWindow();
    Commands &can = window->commands();
    const std::map<std::string, QAction *> actions{{"check", can.check},       {"choose", can.chooseFolder},
                                                   {"clip", can.probeClip},    {"convert", can.convert},
                                                   {"details", can.details},   {"measure", can.measure},
                                                   {"measure3", can.measure3}, {"open", can.openFolder},
                                                   {"pause", can.pause},       {"rescan", can.rescan},
                                                   {"stop", can.stop}};
    const auto possible = [&] {
        std::string text;
        for (const auto &[name, action] : actions)
            text += action->isVisible() && action->isEnabled() ? name + " " : "";
        return text;
    };
    const std::string all = "check choose clip convert details measure measure3 open rescan ";
    EXPECT_EQ(possible(), "choose open ");
    model->open(folder.path());
    EXPECT_EQ(possible(), "open ") << "while it searches";
    EXPECT_TRUE(idle());
    EXPECT_EQ(possible(), "choose convert measure measure3 open rescan ");
    library().setSelection({folder / "a.mkv"});
    EXPECT_EQ(possible(), all);

    ffmpeg(waitsFor("go") + writes(4));
    model->startSampling(1, std::nullopt);
    EXPECT_EQ(possible(), "check details measure open ");
    EXPECT_EQ(can.measure->iconText(), "Stichproben stoppen (0/1)");
    const QString help = "Messung beenden – bisherige Stichproben bleiben erhalten";
    EXPECT_EQ(can.measure->statusTip(), help);
    std::vector<QString> told; // by a screen reader
    for (auto *tool : window->findChild<QToolBar *>()->findChildren<QToolButton *>())
        if (tool->isVisible() && tool->defaultAction() != nullptr)
            told.push_back(QAccessible::queryAccessibleInterface(tool)->text(QAccessible::Description));
    EXPECT_THAT(told, testing::IsSupersetOf({help, QString("Ordner neu einlesen (Strg+R)")}));
    for (const QString &text : told)
        EXPECT_FALSE(text.contains('<')) << "no markup: " << text.toStdString();
    can.measure->trigger();
    EXPECT_TRUE(idle());
    EXPECT_EQ(can.measure->iconText(), "Genau schätzen");

    can.probeClip->trigger();
    EXPECT_EQ(can.probeClip->iconText(), "Probeclip 0 %");
    EXPECT_EQ(possible(), "check details open ");
    stop();

    giveSample("a.mkv");
    can.convert->trigger();
    EXPECT_EQ(possible(), "check details open pause stop ");
    EXPECT_EQ(can.pause->iconText(), "Pause");
    can.pause->trigger();
    EXPECT_EQ(can.pause->iconText(), "Fortsetzen");
    EXPECT_EQ(can.pause->statusTip(), "Konvertierung fortsetzen");
    can.stop->trigger();
    EXPECT_EQ(possible(), "check details open ") << "it is about to end";
    EXPECT_EQ(RunPanel::lookOf(*model)->detail, "wird gestoppt …");
    EXPECT_TRUE(idle());
    EXPECT_EQ(possible(), all);
    EXPECT_EQ(RunPanel::lookOf(*model)->headline, "Gestoppt");
    EXPECT_TRUE(RunPanel::lookOf(*model)->sentence.startsWith("Fertig: 0 konvertiert · 1 abgebrochen"));
    EXPECT_TRUE(RunPanel::turnOf(*model).startsWith("Gestoppt. Fertig: 0"));

    can.uncheckAll->trigger();
    EXPECT_EQ(possible(), "check choose clip details measure measure3 open rescan ") << "nothing is chosen";
    can.checkAll->trigger();
    EXPECT_TRUE(can.convert->isEnabled());
    change("a.mkv", [](FileItem &file) { file.plan->isNoop = true; });
    can.update();
    EXPECT_FALSE(can.convert->isEnabled());
}

TEST_F(WindowTest, showsThePageThatFits)
{
    const auto drag = says("Ordner mit Videos hierher ziehen");
    const auto nothing = says("In diesem Ordner wurden keine Videodateien gefunden.");
    openFreshWindow();
    EXPECT_TRUE(window->windowTitle().startsWith("Kestrel"));
    EXPECT_THAT(*window, drag);
    EXPECT_THAT(*window, Not(says("ffmpeg wird gesucht …")));
    scan();
    EXPECT_THAT(*window, testing::AllOf(Not(drag), nothing));
    window->findChild<Banner *>()->findChild<QAbstractButton *>()->click();
    EXPECT_EQ(model->message(), std::nullopt);
    EXPECT_THAT(*window, Not(nothing));

    fs::remove(toolbox / "ffmpeg");
    openFreshWindow();
    EXPECT_THAT(texts(*window), testing::IsSupersetOf({std::string("ffmpeg fehlt"), *model->toolError(),
                                                       std::string("Danach Kestrel neu starten.")}));
}

TEST_F(WindowTest, theFolderOfLastTimeIsOfferedWhereItIsThere)
{
    const auto offer = [&]() -> QPushButton * {
        for (auto *one : window->findChildren<QPushButton *>())
            if (one->isVisible() && one->text().startsWith("Zuletzt geöffnet: "))
                return one;
        return nullptr;
    };
    const fs::path films = folder / "Filme";
    fs::create_directory(films);
    ready().open(films);
    EXPECT_TRUE(idle());
    openWindow();
    EXPECT_TRUE(window->close());
    openFreshWindow();
    ASSERT_TRUE(eventually([&] { return offer() != nullptr; }));
    offer()->click();
    EXPECT_TRUE(idle());
    EXPECT_EQ(model->rootURL(), films);
    fs::remove(films);
    openFreshWindow();
    workFor(std::chrono::milliseconds(300));
    EXPECT_EQ(offer(), nullptr);
}

TEST_F(WindowTest, aDroppedFolderIsOpenedAndNothingElse)
{
    film("a.mkv");
    const fs::path odd = folder / "x\xff%41";
    fs::create_directory(odd);
    openFreshWindow();
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
    standIn(toolbox, "ffmpeg", waitsFor("go") + "[ $2 = -encoders ] && echo libx265");
    const Sandbox other;
    // The folder of the call; somebody was faster.
    model = std::make_unique<AppModel>(
        AppModel::Options{.toolFolders = {toolbox.path()}, .openFolder = other.path()});
    ASSERT_FALSE(model->tools());
    openWindow();
    activate();
    model->open(folder.path());
    go();
    EXPECT_TRUE(eventually([&] { return model->tools().has_value(); }));
    EXPECT_TRUE(idle());
    EXPECT_EQ(library().items().size(), 1U);
    EXPECT_TRUE(item("a.mkv").info.has_value());
    EXPECT_EQ(QApplication::focusWidget(), &window->table()) << "not a button of the page that has gone";
}

TEST_F(WindowTest, quittingAsksOnlyWhileWorkRuns)
{
    openWindow({"a.mkv", "b.mkv"});
    EXPECT_TRUE(window->close());
    EXPECT_EQ(question(), nullptr);
    window->show();

    const auto press = [&](const QString &text) { button(*question(), text)->click(); };
    ffmpeg(waitsFor("go") + writes(4));
    for (const bool samples : {true, false}) { // every kind of work counts
        library().setSelection({folder / "a.mkv"});
        samples ? model->startSampling(1, std::nullopt) : model->makeProbeClip();
        ASSERT_TRUE(model->isBusy());
        EXPECT_FALSE(window->close());
        ASSERT_NE(question(), nullptr);
        QTest::keyClick(question(), Qt::Key_Escape);
        EXPECT_TRUE(eventually([&] { return question() == nullptr; }));
        EXPECT_TRUE(model->isBusy());
        stop();
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
    EXPECT_EQ(question()->defaultButton(), button(*question(), "Abbrechen und beenden"));
    EXPECT_FALSE(window->close()) << "one question is enough";
    EXPECT_EQ(window->findChildren<QMessageBox *>().size(), 1);
    press("Weiterlaufen lassen");
    EXPECT_TRUE(eventually([&] { return question() == nullptr; }));
    EXPECT_TRUE(model->isBusy());

    int closed = 0;
    QObject::connect(window.get(), &MainWindow::closed, [&] { ++closed; });
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_FALSE(window->close());
    press("Abbrechen und beenden");
    EXPECT_FALSE(window->close()) << "it is about to";
    EXPECT_TRUE(eventually([&] { return closed == 1; }));
    EXPECT_GE(std::chrono::steady_clock::now() - begun, std::chrono::milliseconds(1500));
    EXPECT_FALSE(model->isBusy());
    EXPECT_EQ(readFile(folder / "a.mkv"), std::string(10'000, 'x'));
}

TEST_F(WindowTest, remembersHowItWasLeft)
{
    openWindow({"a/1.mkv", "b/2.mkv"});
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
    library().toggleFolder(folder / "b");
    EXPECT_TRUE(window->close());

    openFreshWindow();
    scan();
    EXPECT_EQ(window->size(), QSize(1100, 700));
    EXPECT_EQ(window->table().columnWidth(Columns::video), 333);
    EXPECT_FALSE(window->commands().showPanel->isChecked());
    window->commands().showPanel->setChecked(true);
    settle();
    EXPECT_EQ(window->findChild<SettingsPanel *>()->width(), chosen);
    EXPECT_THAT(library().expandedFolders(), ElementsAre(folder / "a"));
    library().toggleFolder(folder / "b");
    library().toggleFolder(folder / "a");
    rescan();
    EXPECT_THAT(library().expandedFolders(), ElementsAre(folder / "b")) << "as it was a moment ago";
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
    ffprobe(waitsFor("go"));
    ready(1).open(folder.path());
    openWindow();
    const auto look = [&] { return RunPanel::lookOf(*model).value(); };
    EXPECT_EQ(look().headline, "Suche Videodateien …");
    EXPECT_TRUE(eventually([&] { return model->activity().total == 2; }));
    EXPECT_EQ(look().count, "0 von 2 Dateien");
    EXPECT_TRUE(look().canBeStopped);
    window->commands().cancel->trigger();
    EXPECT_TRUE(idle());
    EXPECT_EQ(look().headline, "Die Suche wurde abgebrochen");
    EXPECT_EQ(look().detail, "2 Dateien noch nicht analysiert");
    go();
    rescan();
    EXPECT_FALSE(RunPanel::lookOf(*model).has_value());
    ffmpeg("case \"$last\" in *b.*) exit 1;; esac\n" + writes(4));
    giveSample("a.mkv");
    giveSample("b.mkv");
    model->startConversion();
    EXPECT_EQ(look().count, "0 von 2 Dateien");
    EXPECT_EQ(Fmt::shareOfFiles(0, 1), "0 von 1 Datei");
    EXPECT_EQ(RunPanel::turnOf(*model), "Konvertierung läuft");
    model->togglePause();
    EXPECT_EQ(RunPanel::turnOf(*model), "Pausiert");
    EXPECT_EQ(look().detail, "Pausiert");
    model->togglePause();
    EXPECT_TRUE(idle());
    EXPECT_THAT(look().headline.toStdString(), StartsWith("Fertig: 1 konvertiert · 1 mit Fehler – Dauer "));
    EXPECT_EQ(look().icon, "warning");
    EXPECT_EQ(RunPanel::turnOf(*model), look().headline);
    EXPECT_FALSE(look().progress.has_value());
}

} // namespace kestrel::test
