#pragma once

#include <QPlainTextEdit>
#include <QPushButton>
#include <QTextOption>
#include <QTimer>
#include <optional>
#include <vector>

#include "ui/look/CopyButton.h"
#include "ui/look/Parts.h"

namespace kestrel {

// Shows text of a file, as wide as its container: breaks lines where it must, also within a word. Where it
// has too many lines, the last is shortened in its middle, and the tool tip has the whole text.
class FlowLabel : public Label {
    Q_OBJECT

public:
    explicit FlowLabel(const QString &text = {}, Theme::Size size = Theme::Size::body,
                       Theme::Tone tone = Theme::Tone::text, int mostLines = 12);
    int heightForWidth(int width) const override;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    bool event(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    QString painted() const;
    QStringList wrapped(int width) const;

    const int m_mostLines;
};

// Shows text of a program, which can be read, selected and copied; scrolls where it is long.
class TextBox : public QPlainTextEdit {
    Q_OBJECT

public:
    TextBox(int mostLines, QTextOption::WrapMode wrapMode);
    int heightForWidth(int width) const override;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    const int m_mostLines;
};

// Combines a text box with its copy button.
class CopyableText : public QWidget {
    Q_OBJECT

public:
    CopyableText(const QString &name, int mostLines,
                 QTextOption::WrapMode wrapMode = QTextOption::WrapAtWordBoundaryOrAnywhere);
    void setText(const QString &text);

private:
    QString m_text;
    TextBox *m_box;
    CopyButton *m_button;
};

// Shows shares of a whole side by side; the rest of the whole is the empty end.
class SplitBar : public QWidget {
    Q_OBJECT

public:
    struct Share {
        double value = 0;
        Theme::Tone tone = Theme::Tone::accent;
    };
    SplitBar(std::vector<Share> shares, double whole);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    const std::vector<Share> m_shares;
    const double m_whole;
};

// Draws a thin line across.
class Rule : public QWidget {
    Q_OBJECT

public:
    Rule();

protected:
    void paintEvent(QPaintEvent *event) override;
};

// Shows a legend's colour; without a tone it is that of an empty bar.
class Swatch : public QWidget {
    Q_OBJECT

public:
    explicit Swatch(std::optional<Theme::Tone> tone);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    const std::optional<Theme::Tone> m_tone;
};

} // namespace kestrel
