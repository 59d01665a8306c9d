// What the panel says of the sound of the open library.

#include "ui/Fixtures.h"

namespace kestrel::test {

using SettingsSoundTest = SettingsTest;

TEST_F(SettingsSoundTest, languagesStandByTheirNumberOfFilesThenByName)
{
    openFilms({aFilm().audio("ac3", "eng").audio("ac3", "spa"),
               aFilm().audio("ac3", "eng").audio("ac3", "ita"), aFilm().audio("ac3", "und")});
    changeSettings([](auto &settings) { settings.audioLanguages = {"deu", "und"}; });
    show();
    EXPECT_THAT(languages(), ElementsAre("Englisch: 2 Dateien", "Italienisch: 1 Datei", "Spanisch: 1 Datei",
                                         "*Deutsch: 0 Dateien"));
    auto *const english = &row("Englisch");
    give({aFilm().audio("ac3", "spa"), aFilm().audio("ac3", "spa"), aFilm().audio("ac3", "eng")});
    EXPECT_THAT(languages(), ElementsAre("Spanisch: 2 Dateien", "Englisch: 1 Datei", "*Deutsch: 0 Dateien",
                                         "Italienisch: 0 Dateien"));
    EXPECT_EQ(&row("Englisch"), english) << "rows stay, and only move";
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
    scan();
    settle();
    EXPECT_THAT(languages(), ElementsAre("Deutsch: 0 Dateien"));
    EXPECT_THAT(*panel, Not(says("Sobald ein Ordner geöffnet ist")));
}

TEST_F(SettingsSoundTest, warnsOfFilesWhoseLanguageNobodyKnows)
{
    openFilms({aFilm().audio("ac3", "und"), aFilm().audio("ac3", "und"), aFilm().audio("ac3", "deu")});
    show();
    const auto warns =
        says("2 Dateien haben keine Spur in den gewählten Sprachen, aber Spuren ohne Kennung.");
    EXPECT_THAT(*panel, warns);
    give({aFilm().audio("ac3", "deu"), aFilm().audio("ac3", "deu")});
    EXPECT_THAT(*panel, Not(says("Spuren ohne Kennung")));
    click(row("Deutsch"));
    settle();
    EXPECT_THAT(*panel, Not(says("Spuren ohne Kennung"))) << "none of the files has such a track";
}

TEST_F(SettingsSoundTest, tellsHowManyTracksAreLossless)
{
    openFilms({aFilm().audio("flac", "deu").audio("truehd", "eng"), aFilm().audio("ac3", "deu")});
    show();
    EXPECT_THAT(*panel, says(" Betrifft 2 Spuren."));
    give({aFilm().audio("ac3", "deu")});
    EXPECT_THAT(*panel, says(" Keine solchen Spuren gefunden."));
}

TEST_F(SettingsSoundTest, countsWhileAScanGoesOnButNotWhileNobodySeesIt)
{
    openFilms({aFilm().audio("ac3", "eng"), aFilm()});
    show();
    panel->hide();
    library().setInfo(item("0.mkv"), aFilm().audio("ac3", "jpn"));
    model->recompute();
    settle();
    EXPECT_THAT(languages(), ElementsAre("Englisch: 1 Datei", "*Deutsch: 0 Dateien"));
    panel->show();
    settle();
    EXPECT_THAT(languages(), Contains("Japanisch: 1 Datei"));
    library().setInfo(item("0.mkv"), aFilm().audio("ac3", "spa")); // as the scan does, without more
    EXPECT_TRUE(eventually([this] { return languages().front() == "Spanisch: 1 Datei"; }));
}

} // namespace kestrel::test
