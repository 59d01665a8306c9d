// What the panel says of the sound of the open library.

#include "ui/SettingsFixture.h"

namespace kestrel::test {
namespace {

using SettingsSoundTest = SettingsTest;
using testing::Contains;
using testing::Not;

TEST_F(SettingsSoundTest, languagesStandByTheirNumberOfFilesThenByName)
{
    open({aFilm().audio("ac3", "eng").audio("ac3", "spa"), aFilm().audio("ac3", "eng").audio("ac3", "ita"),
          aFilm().audio("ac3", "und")});
    ConversionSettings settings;
    settings.audioLanguages = {"deu", "und"};
    model->setSettings(settings);
    show();
    EXPECT_THAT(languages(), ElementsAre("Englisch: 2 Dateien", "Italienisch: 1 Datei", "Spanisch: 1 Datei",
                                         "*Deutsch: 0 Dateien"));
    auto *const english = &row("Englisch");
    give({aFilm().audio("ac3", "spa"), aFilm().audio("ac3", "spa"), aFilm().audio("ac3", "eng")});
    settle();
    EXPECT_THAT(languages(), ElementsAre("Spanisch: 2 Dateien", "Englisch: 1 Datei", "*Deutsch: 0 Dateien",
                                         "Italienisch: 0 Dateien"));
    EXPECT_EQ(&row("Englisch"), english) << "rows stay, and only move";
    EXPECT_THAT(*panel,
                says("Hat eine Datei keine der gewählten Sprachen, bleiben alle ihre Tonspuren erhalten."));
}

TEST_F(SettingsSoundTest, beforeAFolderIsOpenTheChosenLanguagesStandWithoutNumbers)
{
    show();
    EXPECT_THAT(languages(), ElementsAre("*Deutsch"));
    EXPECT_THAT(*panel, says("Sobald ein Ordner geöffnet ist"));
    EXPECT_THAT(*panel, Not(says("Keine solchen Spuren gefunden."))) << "nobody has looked yet";
    click(row("Deutsch"));
    settle();
    EXPECT_THAT(languages(), ElementsAre("Deutsch")) << "can be chosen again";

    film("0.mkv");
    model->open(folder.path());
    EXPECT_TRUE(idle());
    settle();
    EXPECT_THAT(languages(), ElementsAre("Deutsch: 0 Dateien"));
    EXPECT_THAT(*panel, Not(says("Sobald ein Ordner geöffnet ist")));
}

TEST_F(SettingsSoundTest, warnsOfFilesWhoseLanguageNobodyKnows)
{
    open({aFilm().audio("ac3", "und"), aFilm().audio("ac3", "und"), aFilm().audio("ac3", "deu")});
    show();
    const std::string warning =
        "2 Dateien haben keine Spur in den gewählten Sprachen, aber Spuren ohne Kennung. „Nur Standardspur“ "
        "behält die als Standard markierte – bei deutschen Releases meist Deutsch. Vorher per Probeclip "
        "anhören.";
    EXPECT_THAT(texts(*panel), Contains(warning));
    give({aFilm().audio("ac3", "deu"), aFilm().audio("ac3", "deu")});
    settle();
    EXPECT_THAT(*panel, Not(says("Spuren ohne Kennung")));
    click(row("Deutsch"));
    settle();
    EXPECT_THAT(*panel, Not(says("Spuren ohne Kennung"))) << "none of the files has such a track";
}

TEST_F(SettingsSoundTest, tellsHowManyTracksAreLossless)
{
    open({aFilm().audio("flac", "deu").audio("truehd", "eng"), aFilm().audio("ac3", "deu")});
    show();
    const std::string help = "TrueHD, DTS-HD MA, FLAC, PCM → E-AC3 640 kbit/s (max. 5.1). Spart viel, klingt "
                             "praktisch gleich.";
    EXPECT_THAT(texts(*panel), Contains(help + " Betrifft 2 Spuren."));
    give({aFilm().audio("ac3", "deu")});
    settle();
    EXPECT_THAT(texts(*panel), Contains(help + " Keine solchen Spuren gefunden."));
}

TEST_F(SettingsSoundTest, nothingIsCountedWhileNobodySeesIt)
{
    open({aFilm().audio("ac3", "eng")});
    show();
    panel->hide();
    give({aFilm().audio("ac3", "jpn")});
    settle();
    EXPECT_THAT(languages(), ElementsAre("Englisch: 1 Datei", "*Deutsch: 0 Dateien"));
    panel->show();
    settle();
    EXPECT_THAT(languages(), Contains("Japanisch: 1 Datei"));
}

TEST_F(SettingsSoundTest, followsAScanWhileItGoesOn)
{
    open({aFilm(), aFilm()});
    show();
    model->library().setInfo(item("0.mkv"), aFilm().audio("ac3", "jpn"));
    EXPECT_TRUE(eventually([this] { return languages().front() == "Japanisch: 1 Datei"; }));
}

} // namespace
} // namespace kestrel::test
