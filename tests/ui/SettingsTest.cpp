#include <QAccessible>
#include <QScrollArea>
#include <QWheelEvent>
#include <set>

#include "support/Mounts.h"
#include "ui/Fixtures.h"
#include "ui/look/Theme.h"

namespace kestrel::test {
namespace {

// As a person does: with the keyboard in a picker, with a click on anything else.
void use(QWidget &control, int index = 0)
{
    if (qobject_cast<Picker *>(&control) == nullptr)
        return click(control);
    control.setFocus();
    QTest::keyClick(&control, Qt::Key_Home);
    for (int i = 0; i < index; ++i)
        QTest::keyClick(&control, Qt::Key_Down);
}

// What it is set to: the text of a picker, "*" for anything else that is checked.
QString shown(const QWidget &control)
{
    const auto *picker = qobject_cast<const Picker *>(&control);
    return picker != nullptr ? picker->currentText() : control.property("checked").toBool() ? "*" : "";
}

TEST_F(SettingsTest, eachControlShowsItsFieldAndChangesNoOther)
{
    // None at its default, so that a field that is lost shows.
    ConversionSettings unusual;
    unusual.codec = VideoCodecChoice::av1SVT;
    unusual.quality = QualityLevel::veryHigh;
    unusual.resolution = TargetResolution::p720;
    unusual.audioLanguages = {"deu", "jpn", "und"};
    unusual.dropCommentary = false;
    unusual.unknownAudio = UnknownAudioPolicy::keepDefault;
    unusual.convertLosslessAudio = true;
    unusual.container = OutputContainer::mp4;
    unusual.outputMode = OutputMode::separateFolder;
    unusual.parallelJobs = 3;
    unusual.preventSleep = false;
    unusual.statusPage = false;
    show();
    int changes = 0;
    QObject::connect(model.get(), &AppModel::settingsChanged, [&] { ++changes; });
    model->setSettings(unusual);
    settle();
    EXPECT_EQ(changes, 1) << "the panel writes nothing back";
    EXPECT_EQ(model->settings(), unusual);

    struct Case {
        QWidget &control;
        const char *shown;
        int choice;
        std::function<void(ConversionSettings &)> change;
    };
    for (const auto &[control, value, choice, change] : std::vector<Case>{
             {card("AV1"), "*", 0, [](auto &) {}},
             {card("HEVC / H.265"), "", 0, [](auto &s) { s.codec = VideoCodecChoice::hevcX265; }},
             {picker("Qualität"), "Sehr hoch", 3, [](auto &s) { s.quality = QualityLevel::medium; }},
             {picker("Zielauflösung"), "Höchstens 720p (HD)", 1,
              [](auto &s) { s.resolution = TargetResolution::p2160; }},
             {row("Japanisch"), "*", 0, [](auto &s) { s.audioLanguages.erase("jpn"); }},
             {row("Kommentar- und Audiodeskriptionsspuren entfernen"), "", 0,
              [](auto &s) { s.dropCommentary = true; }},
             {picker("Spuren ohne Sprachkennung"), "Nur Standardspur", 0,
              [](auto &s) { s.unknownAudio = UnknownAudioPolicy::keepAll; }},
             {row("Verlustfreie Tonspuren in E-AC3 umwandeln"), "*", 0,
              [](auto &s) { s.convertLosslessAudio = false; }},
             {picker("Container"), "MP4", 0, [](auto &s) { s.container = OutputContainer::mkv; }},
             {picker("Ausgabe"), "Original beibehalten", 0,
              [](auto &s) { s.outputMode = OutputMode::replaceOriginal; }},
             {picker("Gleichzeitig"), "3", 3, [](auto &s) { s.parallelJobs = 4; }}}) {
        const std::string name = control.accessibleName().toStdString();
        model->setSettings(unusual);
        EXPECT_EQ(shown(control), value) << name;
        use(control, choice);
        ConversionSettings expected = unusual;
        change(expected);
        EXPECT_EQ(model->settings(), expected) << name;
    }
}

TEST_F(SettingsTest, aCodecThatFfmpegLacksSaysSoAndCannotBeChosen)
{
    ffmpeg("exit 1", "libx265");
    show();
    const std::string sentence = "Der installierte ffmpeg kann diesen Encoder nicht.";
    EXPECT_THAT(card("AV1"), says(sentence));
    EXPECT_THAT(card("HEVC / H.265"), Not(says(sentence)));
    EXPECT_THAT(card("Codec beibehalten"), Not(says(sentence)));
    click(card("AV1"));
    EXPECT_EQ(model->settings().codec, VideoCodecChoice::hevcX265);

    const auto *hevc = QAccessible::queryAccessibleInterface(&card("HEVC / H.265"));
    EXPECT_EQ(hevc->role(), QAccessible::RadioButton);
    EXPECT_EQ(hevc->text(QAccessible::Name), "HEVC / H.265");
    EXPECT_EQ(hevc->text(QAccessible::Description), "Etwa halb so groß wie H.264 bei gleicher Qualität");
    EXPECT_TRUE(hevc->state().checked);
    const auto *av1 = QAccessible::queryAccessibleInterface(&card("AV1"));
    EXPECT_TRUE(av1->state().disabled);
    EXPECT_TRUE(av1->text(QAccessible::Description).endsWith("kann diesen Encoder nicht."));

    card("HEVC / H.265").setFocus();
    QTest::keyClick(&card("HEVC / H.265"), Qt::Key_Down);
    EXPECT_EQ(model->settings().codec, VideoCodecChoice::keepVideo) << "the arrow keys pass it over";
}

TEST_F(SettingsTest, qualityNamesItsTarget)
{
    scoringFfmpeg("");
    show();
    const std::string rest = " VMAF · der CRF-Wert wird je Datei so gemessen, dass das Ziel erreicht wird.";
    EXPECT_THAT(*panel, says("Ziel ca. 95" + rest));
    EXPECT_THAT(*panel, says("Kein sichtbarer Unterschied bei normalem Sehabstand. Bester Kompromiss."));
    use(picker("Qualität"), 4);
    EXPECT_THAT(*panel, says("Ziel ca. 92,5" + rest));
    EXPECT_THAT(*panel, says("Sichtbar weicher, Details und Körnung gehen verloren."));
    EXPECT_THAT(*panel, says("Verfahren: libvmaf von ffmpeg"));
}

TEST_F(SettingsTest, whereNothingMeasuresTheFixedValueIsNamedInstead)
{
    measuresQuality = true;
    show();
    EXPECT_THAT(*panel, says("Verfahren: Eigene Messung"));
    EXPECT_THAT(*panel, says("Ziel ca. 95 VMAF"));
    EXPECT_THAT(*panel, Not(says("den festen Wert")));
    model->setMeasuresQuality(false);
    EXPECT_THAT(*panel, says("Jede Datei bekommt den festen Wert CRF 23, weil das Messen der Qualität "
                             "abgeschaltet ist."));
    EXPECT_THAT(*panel, Not(says("Ziel ca.")));
    EXPECT_THAT(*panel, Not(says("Verfahren")));
    click(card("AV1"));
    use(picker("Qualität"), 4);
    EXPECT_THAT(*panel, says("den festen Wert CRF 32"));
}

TEST_F(SettingsTest, whereTheVideoIsKeptQualityAndResolutionTellWhyTheyDoNothing)
{
    measuresQuality = true;
    show();
    const std::string reason = "Das Video wird nicht neu kodiert";
    for (const bool measures : {false, true}) {
        model->setMeasuresQuality(measures);
        click(card("Codec beibehalten"));
        EXPECT_FALSE(picker("Qualität").isEnabled());
        EXPECT_FALSE(picker("Zielauflösung").isEnabled());
        EXPECT_THAT(*panel, says(reason + " und behält seine Qualität."));
        EXPECT_THAT(*panel, says(reason + " und behält seine Auflösung."));
        for (const char *text : {"VMAF", "Verfahren", "Messen der Qualität"})
            EXPECT_THAT(*panel, Not(says(text)));
        click(card("AV1"));
        EXPECT_TRUE(picker("Qualität").isEnabled());
        EXPECT_TRUE(picker("Zielauflösung").isEnabled());
        EXPECT_THAT(*panel, Not(says(reason)));
    }
}

TEST_F(SettingsTest, warnsWhereAShareWouldDeleteTheOriginals)
{
    const Sandbox server;
    server.write("0.mkv", std::string(10'000, 'x'));
    fs::create_directories(folder / "nas");
    const Mount share = Mount::share(server.path(), folder / "nas");
    SKIP_WITHOUT(share);
    start();
    show();
    EXPECT_THAT(*panel, Not(says("Achtung")));
    model->open(folder / "nas");
    EXPECT_TRUE(idle());
    EXPECT_THAT(*panel, says("Achtung: Das Netzlaufwerk hat keinen Papierkorb – das Original wird nach "
                             "erfolgreicher Prüfung endgültig gelöscht."));
    EXPECT_THAT(*panel, Not(says("in den Papierkorb")));
    use(picker("Ausgabe"), 1);
    EXPECT_THAT(*panel, Not(says("Achtung")));
    EXPECT_THAT(*panel, says("„nas (Kestrel)“"));
    use(picker("Ausgabe"), 0);
    fs::create_directories(server / "#recycle");
    model->open(folder / "nas");
    EXPECT_TRUE(idle());
    EXPECT_THAT(*panel, Not(says("Achtung")));
}

TEST_F(SettingsTest, aNumberOfJobsThatIsNotOfferedIsShownAsItIs)
{
    show({.settings = ConversionSettings{.parallelJobs = 12}});
    Picker &jobs = picker("Gleichzeitig");
    EXPECT_EQ(jobs.currentText(), "12");
    changeSettings([](auto &settings) { settings.parallelJobs = -1; });
    EXPECT_EQ(jobs.currentText(), "-1");
    EXPECT_EQ(jobs.count(), 5);
    use(jobs, 2);
    EXPECT_EQ(model->settings().parallelJobs, 2);
    EXPECT_EQ(jobs.count(), 4);
}

TEST_F(SettingsTest, aTurningWheelScrollsPastAPicker)
{
    show();
    Picker &resolution = picker("Zielauflösung");
    picker("Qualität").setFocus();
    const QPointF middle = resolution.rect().center();
    QWheelEvent wheel(middle, resolution.mapToGlobal(middle), {}, {0, -120}, Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(&resolution, &wheel);
    EXPECT_EQ(model->settings(), ConversionSettings());
    EXPECT_FALSE(wheel.isAccepted());
}

TEST_F(SettingsTest, theTabKeyGoesFromTopToBottom)
{
    openFilms({aFilm().audio("ac3", "eng").audio("ac3", "jpn")});
    show();
    give({aFilm().audio("ac3", "eng").audio("ac3", "fra")});
    auto *contents = panel->findChild<QScrollArea *>()->widget();
    std::vector<int> heights;
    card("HEVC / H.265").setFocus();
    QWidget *first = panel->focusWidget();
    QWidget *last = nullptr;
    do {
        last = panel->focusWidget();
        heights.push_back(last->mapTo(contents, QPoint()).y());
        QTest::keyClick(last, Qt::Key_Tab);
    } while (panel->focusWidget() != first && panel->focusWidget() != last && heights.size() < 50);
    EXPECT_EQ(heights.size(), 13U) << "codec, 6 pickers, 2 switches, 4 languages";
    EXPECT_TRUE(std::is_sorted(heights.begin(), heights.end()));
}

TEST_F(SettingsTest, everyPickerHasALetterThatLeadsToIt)
{
    show();
    std::set<QChar> letters;
    std::set<const QWidget *> reached;
    for (const auto *label : panel->findChildren<QLabel *>())
        if (const qsizetype mark = label->text().indexOf('&'); mark >= 0 && label->buddy() != nullptr) {
            letters.insert(label->text().at(mark + 1).toLower());
            reached.insert(label->buddy());
        }
    for (const auto *one : panel->findChildren<Picker *>())
        EXPECT_TRUE(reached.contains(one)) << one->accessibleName().toStdString();
    EXPECT_EQ(letters.size(), reached.size());

    panel->resize(panel->width(), Theme::em(10));
    settle();
    Picker &last = picker("Gleichzeitig");
    EXPECT_TRUE(last.visibleRegion().isEmpty());
    panel->activateWindow();
    card("AV1").setFocus();
    last.setFocus(Qt::ShortcutFocusReason);
    EXPECT_FALSE(last.visibleRegion().isEmpty()) << "comes into sight";
}

TEST_F(SettingsTest, duringARunChangesAreForTheNext)
{
    open({"0.mkv"});
    giveSample("0.mkv");
    show();
    const std::string note = "Änderungen gelten ab dem nächsten Lauf.";
    EXPECT_THAT(*panel, Not(says(note)));
    ffmpeg(waitsFor("go"));
    model->startConversion();
    EXPECT_THAT(*panel, says(note));
    EXPECT_TRUE(picker("Qualität").isEnabled());
    stop();
    EXPECT_THAT(*panel, Not(says(note)));
}

} // namespace
} // namespace kestrel::test
