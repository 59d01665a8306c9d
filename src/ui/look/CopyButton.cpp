#include "ui/look/CopyButton.h"

#include <QClipboard>
#include <QGuiApplication>
#include <utility>

#include "ui/look/Icon.h"

namespace kestrel {

CopyButton::CopyButton(QString what) : m_what(std::move(what))
{
    m_timer.setSingleShot(true);
    m_timer.setInterval(2000);
    showCopied(false);
    setMinimumWidth(sizeHint().width()); // "Kopiert" is shorter
    connect(&m_timer, &QTimer::timeout, this, [this] { showCopied(false); });
    connect(this, &QPushButton::clicked, this, [this] {
        QGuiApplication::clipboard()->setText(m_text);
        showCopied(true);
        m_timer.start();
    });
}

void CopyButton::showCopied(bool isDone)
{
    setText(isDone ? QStringLiteral("&Kopiert") : QStringLiteral("&Kopieren"));
    setAccessibleName((isDone ? QStringLiteral("%1 kopiert") : QStringLiteral("%1 kopieren")).arg(m_what));
    setIcon(isDone ? Icon::named(QStringLiteral("check"), Theme::Tone::green)
                   : Icon::named(QStringLiteral("copy")));
}

} // namespace kestrel
