#include <QAccessible>
#include <QScrollArea>
#include <QTest>
#include <QWheelEvent>

#include "support/Mounts.h"
#include "ui/SettingsFixture.h"
#include "ui/look/Strings.h"
#include "ui/look/Theme.h"

namespace kestrel::test {
namespace {

using testing::Contains;
using testing::Not;

// As a person does with the keyboard.
void choose(Picker &picker, int index)
{
    picker.setFocus();
    QTest::keyClick(&picker, Qt::Key_Home);
    for (int i = 0; i < index; ++i)
        QTest::keyClick(&picker, Qt::Key_Down);
}

TEST_F(SettingsTest, eachControlChangesItsFieldAndNoOther)
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
    struct Case {
        const char *what;
        std::function<void()> act;
        std::function<void(ConversionSettings &)> expected;
    };
    show({.settings = unusual});
    const std::vector<Case> cases{
        {"codec", [&] { click(card("HEVC / H.265")); },
         [](auto &s) { s.codec = VideoCodecChoice::hevcX265; }},
        {"quality", [&] { choose(picker("Qualität"), 3); },
         [](auto &s) { s.quality = QualityLevel::medium; }},
        {"resolution", [&] { choose(picker("Zielauflösung"), 1); },
         [](auto &s) { s.resolution = TargetResolution::p2160; }},
        {"language", [&] { click(row("Japanisch")); },
         [](auto &s) {
             s.audioLanguages = {"deu", "und"};
         }},
        {"commentary", [&] { click(row("Kommentar- und Audiodeskriptionsspuren entfernen")); },
         [](auto &s) { s.dropCommentary = true; }},
        {"unknown audio", [&] { choose(picker("Spuren ohne Sprachkennung"), 0); },
         [](auto &s) { s.unknownAudio = UnknownAudioPolicy::keepAll; }},
        {"lossless audio", [&] { click(row("Verlustfreie Tonspuren in E-AC3 umwandeln")); },
         [](auto &s) { s.convertLosslessAudio = false; }},
        {"container", [&] { choose(picker("Container"), 0); },
         [](auto &s) { s.container = OutputContainer::mkv; }},
        {"output", [&] { choose(picker("Ausgabe"), 0); },
         [](auto &s) { s.outputMode = OutputMode::replaceOriginal; }},
        {"jobs", [&] { choose(picker("Gleichzeitig"), 3); }, [](auto &s) { s.parallelJobs = 4; }},
    };
    for (const auto &one : cases) {
        model->setSettings(unusual);
        one.act();
        ConversionSettings expected = unusual;
        one.expected(expected);
        EXPECT_EQ(model->settings(), expected) << one.what;
    }
}

TEST_F(SettingsTest, thePanelShowsWhatTheModelHoldsAndWritesNothingBack)
{
    show();
    int changes = 0;
    QObject::connect(model.get(), &AppModel::settingsChanged, [&] { ++changes; });
    ConversionSettings other;
    other.codec = VideoCodecChoice::av1SVT;
    other.quality = QualityLevel::small;
    other.resolution = TargetResolution::p576;
    other.audioLanguages = {"eng"};
    other.dropCommentary = false;
    other.unknownAudio = UnknownAudioPolicy::keepDefault;
    other.convertLosslessAudio = true;
    other.container = OutputContainer::mp4;
    other.outputMode = OutputMode::separateFolder;
    other.parallelJobs = 1;
    model->setSettings(other);
    settle();

    EXPECT_EQ(changes, 1);
    EXPECT_EQ(model->settings(), other);
    EXPECT_TRUE(card("AV1").isChecked());
    EXPECT_FALSE(card("HEVC / H.265").isChecked());
    EXPECT_EQ(picker("Qualität").currentText(), "Gering");
    EXPECT_EQ(picker("Zielauflösung").currentText(), "Höchstens 576p (SD)");
    EXPECT_THAT(languages(), ElementsAre("Deutsch", "*Englisch"));
    EXPECT_FALSE(row("Kommentar- und Audiodeskriptionsspuren entfernen").isChecked());
    EXPECT_EQ(picker("Spuren ohne Sprachkennung").currentText(), "Nur Standardspur");
    EXPECT_TRUE(row("Verlustfreie Tonspuren in E-AC3 umwandeln").isChecked());
    EXPECT_EQ(picker("Container").currentText(), "MP4");
    EXPECT_EQ(picker("Ausgabe").currentText(), "Original beibehalten");
    EXPECT_EQ(picker("Gleichzeitig").currentText(), "1");
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
    card("HEVC / H.265").setFocus();
    QTest::keyClick(&card("HEVC / H.265"), Qt::Key_Down);
    EXPECT_EQ(model->settings().codec, VideoCodecChoice::keepVideo) << "the arrow keys pass it over";
}

TEST_F(SettingsTest, codecsAreRadioButtonsToAScreenReader)
{
    ffmpeg("exit 1", "libx265");
    show();
    const auto *hevc = QAccessible::queryAccessibleInterface(&card("HEVC / H.265"));
    EXPECT_EQ(hevc->role(), QAccessible::RadioButton);
    EXPECT_EQ(hevc->text(QAccessible::Name), "HEVC / H.265");
    EXPECT_EQ(hevc->text(QAccessible::Description), "Etwa halb so groß wie H.264 bei gleicher Qualität");
    EXPECT_TRUE(hevc->state().checked);
    const auto *av1 = QAccessible::queryAccessibleInterface(&card("AV1"));
    EXPECT_TRUE(av1->state().disabled);
    EXPECT_TRUE(av1->text(QAccessible::Description).endsWith("kann diesen Encoder nicht."));
}

TEST_F(SettingsTest, qualityNamesItsTarget)
{
    ffmpegWithVmaf();
    show();
    const std::string rest = " VMAF · der CRF-Wert wird je Datei so gemessen, dass das Ziel erreicht wird.";
    EXPECT_THAT(texts(*panel), Contains("Ziel ca. 95" + rest));
    EXPECT_THAT(*panel, says("Kein sichtbarer Unterschied bei normalem Sehabstand. Bester Kompromiss."));
    choose(picker("Qualität"), 4);
    EXPECT_THAT(texts(*panel), Contains("Ziel ca. 92,5" + rest));
    EXPECT_THAT(*panel, says("Sichtbar weicher, Details und Körnung gehen verloren."));
    EXPECT_THAT(texts(*panel), Contains("Verfahren: libvmaf von ffmpeg"));
}

TEST_F(SettingsTest, whereNothingMeasuresTheFixedValueIsNamedInstead)
{
    measuresQuality = true;
    show();
    const char *warning =
        "Jede Datei bekommt den festen Wert CRF 23, weil das Messen der Qualität abgeschaltet ist.";
    EXPECT_THAT(texts(*panel), Contains("Verfahren: Eigene Messung"));
    EXPECT_THAT(*panel, says("Ziel ca. 95 VMAF"));
    EXPECT_THAT(texts(*panel), Not(Contains(warning)));
    model->setMeasuresQuality(false);
    EXPECT_THAT(texts(*panel), Contains(warning));
    EXPECT_THAT(*panel, Not(says("Ziel ca.")));
    EXPECT_THAT(*panel, Not(says("Verfahren")));
    click(card("AV1"));
    choose(picker("Qualität"), 4);
    EXPECT_THAT(*panel, says("den festen Wert CRF 32"));
}

TEST_F(SettingsTest, whereTheVideoIsKeptQualityAndResolutionTellWhyTheyDoNothing)
{
    const std::string reason = "Das Video wird nicht neu kodiert";
    for (const bool measures : {false, true}) {
        panel.reset();
        model.reset();
        if (measures)
            ffmpegWithVmaf();
        show();
        click(card("AV1"));
        EXPECT_THAT(*panel, Not(says(reason)));
        click(card("Codec beibehalten"));
        EXPECT_FALSE(picker("Qualität").isEnabled());
        EXPECT_FALSE(picker("Zielauflösung").isEnabled());
        EXPECT_THAT(*panel, says(reason + " und behält seine Qualität."));
        EXPECT_THAT(*panel, says(reason + " und behält seine Auflösung."));
        EXPECT_THAT(*panel, Not(says("VMAF")));
        EXPECT_THAT(*panel, Not(says("Verfahren")));
        EXPECT_THAT(*panel, Not(says("Messen der Qualität")));
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
    const std::string warning =
        "Achtung: Das Netzlaufwerk hat keinen Papierkorb – das Original wird nach erfolgreicher Prüfung "
        "endgültig gelöscht.";
    start();
    show();
    EXPECT_THAT(*panel, Not(says("Achtung")));
    model->open(folder / "nas");
    EXPECT_TRUE(idle());
    EXPECT_THAT(texts(*panel), Contains(warning));
    EXPECT_THAT(*panel, Not(says("in den Papierkorb")));
    choose(picker("Ausgabe"), 1);
    EXPECT_THAT(*panel, Not(says("Achtung")));
    EXPECT_THAT(*panel, says("„nas (Kestrel)“"));
    choose(picker("Ausgabe"), 0);
    fs::create_directories(server / "#recycle");
    model->open(folder / "nas");
    EXPECT_TRUE(idle());
    EXPECT_THAT(*panel, Not(says("Achtung")));
}

TEST_F(SettingsTest, aNumberOfJobsThatIsNotOfferedIsShownAsItIs)
{
    ConversionSettings many;
    many.parallelJobs = 12;
    show({.settings = many});
    EXPECT_EQ(picker("Gleichzeitig").currentText(), "12");
    many.parallelJobs = -1;
    model->setSettings(many);
    EXPECT_EQ(picker("Gleichzeitig").currentText(), "-1");
    EXPECT_EQ(picker("Gleichzeitig").count(), 5);
    choose(picker("Gleichzeitig"), 2);
    EXPECT_EQ(model->settings().parallelJobs, 2);
    EXPECT_EQ(picker("Gleichzeitig").count(), 4);
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
    open({aFilm().audio("ac3", "eng").audio("ac3", "jpn")});
    show();
    give({aFilm().audio("ac3", "eng").audio("ac3", "fra")});
    settle();
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
    auto *last = named<Picker>(*panel, QStringLiteral("Gleichzeitig"));
    EXPECT_TRUE(last->visibleRegion().isEmpty());
    panel->activateWindow();
    panel->findChild<CodecCard *>()->setFocus();
    last->setFocus(Qt::ShortcutFocusReason);
    EXPECT_FALSE(last->visibleRegion().isEmpty()) << "comes into sight";
}

TEST_F(SettingsTest, duringARunChangesAreForTheNext)
{
    film("0.mkv");
    startAndScan();
    giveSample("0.mkv");
    show();
    const std::string note = "Änderungen gelten ab dem nächsten Lauf.";
    EXPECT_THAT(*panel, Not(says(note)));
    ffmpeg("while [ ! -e " + quoted(toolbox / "go") + " ]; do sleep 0.02; done");
    model->startConversion();
    EXPECT_THAT(texts(*panel), Contains(note));
    EXPECT_TRUE(picker("Qualität").isEnabled());
    model->stop();
    EXPECT_TRUE(idle());
    EXPECT_THAT(*panel, Not(says(note)));
}

} // namespace
} // namespace kestrel::test
