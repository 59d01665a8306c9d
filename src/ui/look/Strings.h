#pragma once

#include <QDir>
#include <QString>
#include <QStringList>
#include <filesystem>
#include <string_view>

#include "format/Fmt.h"
#include "platform/Text.h"
#include "platform/Wording.h"

namespace kestrel {

inline QString qt(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

// Returns the label with a mnemonic.
inline QString revealLabel()
{
    return QLatin1Char('&') + qt(Wording::text(Words::revealFile));
}

// Returns a name or path with broken bytes replaced.
inline QString shown(const std::filesystem::path &path)
{
    return qt(Text::shown(path));
}

// Replaces the user's own folder with "~".
inline QString shownBriefly(const std::filesystem::path &path)
{
    const QString text = shown(path), home = QDir::homePath();
    return text == home || text.startsWith(home + QLatin1Char('/')) ? QLatin1Char('~') + text.mid(home.size())
                                                                    : text;
}

// Returns "1 Datei", "12 Dateien".
inline QString counted(std::size_t count, const char *one = "Datei", const char *many = "Dateien")
{
    return qt(Fmt::count(count, one, many));
}

// Joins the parts that are not empty with a separator.
inline QString joined(QStringList parts)
{
    parts.removeAll(QString());
    return parts.join(QStringLiteral(" · "));
}

// Returns the same text, with names of formats in which a line does not break.
inline QString unbroken(QString text)
{
    return text.replace(QStringLiteral("H.26"), QStringLiteral("H.\u206026"))
        .replace(QStringLiteral("E-AC3"), QStringLiteral("E-\u2060AC3"));
}

// Escapes a text for tool tips, which would treat some texts as markup.
inline QString plainTip(const QString &text)
{
    QString markup = text.toHtmlEscaped();
    markup.replace(QLatin1Char('\n'), QStringLiteral("<br>"));
    return text.isEmpty() ? QString() : QStringLiteral("<qt>%1</qt>").arg(markup);
}

} // namespace kestrel
