#include "platform/Wording.h"

#include <array>

#include "platform/Enumeration.h"

namespace kestrel::Wording {

namespace {

struct Row {
    Words words;
    std::string_view apple, freedesktop;
};

// clang-format off
constexpr std::array rows{
    Row{Words::installFfmpeg,
        "brew install ffmpeg",
        "sudo apt install ffmpeg"},
    Row{Words::chooseFolderHelp,
        "Ordner mit Videos wählen (⌘O)",
        "Ordner mit Videos wählen (Strg+O)"},
    Row{Words::rescanHelp,
        "Ordner neu einlesen (⌘R)",
        "Ordner neu einlesen (Strg+R)"},
    Row{Words::settingsHelp,
        "Allgemeine Einstellungen (⌘,)",
        "Allgemeine Einstellungen (Strg+,)"},
    Row{Words::clipFolder,
        "Filme/Kestrel Probeclips",
        "Movies/Kestrel Probeclips"},
    Row{Words::revealFile,
        "Im Finder zeigen",
        "Im Dateimanager zeigen"},
    Row{Words::sleepNote,
        "Der Mac schläft nicht ein, solange konvertiert oder gemessen wird – auch wenn die Einstellung mitten im "
        "Lauf geändert wird. Der Bildschirm darf sich trotzdem ausschalten.",
        "Der Computer schläft nicht ein, solange konvertiert oder gemessen wird – auch wenn die Einstellung mitten "
        "im Lauf geändert wird. Der Bildschirm darf sich trotzdem ausschalten."},
    Row{Words::pageHeading,
        "Fortschritt auf dem iPhone",
        "Fortschritt auf dem Smartphone"},
    Row{Words::pageInvitation,
        "Mit der iPhone-Kamera scannen oder in Safari eingeben:",
        "Mit der Kamera des Smartphones scannen oder im Browser eingeben:"},
    Row{Words::pageNote,
        "Über Teilen → „Zum Home-Bildschirm“ wird die Seite zum App-Symbol. Sie aktualisiert sich von selbst, "
        "funktioniert im selben WLAN wie der Mac und kann nichts steuern.",
        "Über Teilen → „Zum Home-Bildschirm“ wird die Seite zum App-Symbol. Sie aktualisiert sich von selbst, "
        "funktioniert im selben WLAN wie der Computer und kann nichts steuern."},
    Row{Words::pageIsOffline,
        "Keine Verbindung zum Mac. Läuft Kestrel noch, und ist das iPhone im selben WLAN?",
        "Keine Verbindung zum Computer. Läuft Kestrel noch, und ist das Smartphone im selben WLAN?"},
    Row{Words::pageWithoutFolder,
        "Öffne in Kestrel auf dem Mac einen Ordner – dann erscheint hier der Fortschritt.",
        "Öffne in Kestrel auf dem Computer einen Ordner – dann erscheint hier der Fortschritt."},
    Row{Words::av1Summary,
        "Gleiche Kompression wie H.265, auf Apple Computern schneller",
        "Gleiche Kompression wie H.265, kodiert meist schneller"},
};
// clang-format on

static_assert(coversEveryCase(rows, &Row::words));

} // namespace

std::string_view text(Words words, Desktop desktop)
{
    const Row &row = rows.at(static_cast<std::size_t>(words));
    return desktop == Desktop::apple ? row.apple : row.freedesktop;
}

} // namespace kestrel::Wording
