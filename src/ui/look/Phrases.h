#pragma once

#include <QString>

#include "ui/look/Strings.h"

// Holds texts that several views share, in German; a letter after "&" is its key.
namespace kestrel::Phrases {

inline const QString toolsMissing = QStringLiteral("ffmpeg fehlt");
inline const QString lookingForTools = QStringLiteral("ffmpeg wird gesucht …");
inline const QString stillWorking = QStringLiteral("Kestrel arbeitet noch");
inline const QString measure = QStringLiteral("&Genau schätzen");
inline const QString settings = QStringLiteral("&Einstellungen");
inline const QString about = QStringLiteral("Ü&ber Kestrel");
inline const QString chooseFolder = QStringLiteral("Ordner &wählen");
inline const QString fromNextRun = QStringLiteral("Änderungen gelten ab dem nächsten Lauf.");
inline const QString notFound = QStringLiteral("nicht gefunden");
inline const QString computingTime = QStringLiteral("Rechenzeit");

// Returns the text without its key, for titles and screen readers.
inline QString plain(QString text)
{
    return text.remove(QLatin1Char('&'));
}

} // namespace kestrel::Phrases
