#include "platform/Wording.h"

#include <gtest/gtest.h>

namespace kestrel {

TEST(Wording, namesWhatEachDesktopHas)
{
    struct Case {
        Words words;
        std::string_view apple, freedesktop;
    };
    const Case cases[]{
        {Words::installFfmpeg, "brew install ffmpeg", "sudo apt install ffmpeg"},
        {Words::chooseFolderHelp, "Ordner mit Videos wählen (⌘O)", "Ordner mit Videos wählen (Strg+O)"},
        {Words::rescanHelp, "Ordner neu einlesen (⌘R)", "Ordner neu einlesen (Strg+R)"},
        {Words::settingsHelp, "Allgemeine Einstellungen (⌘,)", "Allgemeine Einstellungen (Strg+,)"},
        {Words::clipFolder, "Filme/Kestrel Probeclips", "Movies/Kestrel Probeclips"},
        {Words::revealFile, "Im Finder zeigen", "Im Dateimanager zeigen"},
        {Words::sleepNote,
         "Der Mac schläft nicht ein, solange konvertiert oder gemessen wird – auch wenn die Einstellung "
         "mitten im Lauf geändert wird. Der Bildschirm darf sich trotzdem ausschalten.",
         "Der Computer schläft nicht ein, solange konvertiert oder gemessen wird – auch wenn die Einstellung "
         "mitten im Lauf geändert wird. Der Bildschirm darf sich trotzdem ausschalten."},
        {Words::pageHeading, "Fortschritt auf dem iPhone", "Fortschritt auf dem Smartphone"},
        {Words::pageInvitation, "Mit der iPhone-Kamera scannen oder in Safari eingeben:",
         "Mit der Kamera des Smartphones scannen oder im Browser eingeben:"},
        {Words::pageNote,
         "Über Teilen → „Zum Home-Bildschirm“ wird die Seite zum App-Symbol. Sie aktualisiert sich von "
         "selbst, funktioniert im selben WLAN wie der Mac und kann nichts steuern.",
         "Über Teilen → „Zum Home-Bildschirm“ wird die Seite zum App-Symbol. Sie aktualisiert sich von "
         "selbst, funktioniert im selben WLAN wie der Computer und kann nichts steuern."},
        {Words::pageIsOffline,
         "Keine Verbindung zum Mac. Läuft Kestrel noch, und ist das iPhone im selben WLAN?",
         "Keine Verbindung zum Computer. Läuft Kestrel noch, und ist das Smartphone im selben WLAN?"},
        {Words::pageWithoutFolder,
         "Öffne in Kestrel auf dem Mac einen Ordner – dann erscheint hier der Fortschritt.",
         "Öffne in Kestrel auf dem Computer einen Ordner – dann erscheint hier der Fortschritt."},
        {Words::av1Summary, "Gleiche Kompression wie H.265, auf Apple Computern schneller",
         "Gleiche Kompression wie H.265, kodiert meist schneller"},
    };
    for (const auto &[words, apple, freedesktop] : cases) {
        EXPECT_EQ(Wording::text(words, Desktop::apple), apple);
        EXPECT_EQ(Wording::text(words, Desktop::freedesktop), freedesktop);
        EXPECT_EQ(Wording::text(words), freedesktop) << "this build is for this desktop";
    }
    EXPECT_EQ(std::size(cases), static_cast<std::size_t>(Words::av1Summary) + 1) << "every row is tried";
}

} // namespace kestrel
