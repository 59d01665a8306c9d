#pragma once

#include <QPushButton>
#include <QTimer>

namespace kestrel {

// Copies a text, and shows for a moment that it has been copied.
class CopyButton : public QPushButton {
    Q_OBJECT

public:
    // `what` names for a screen reader what the button copies: "Adresse".
    explicit CopyButton(QString what);
    void setCopied(const QString &text) { m_text = text; }

private:
    void showCopied(bool isDone);

    const QString m_what;
    QString m_text;
    QTimer m_timer;
};

} // namespace kestrel
