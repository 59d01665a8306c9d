#pragma once

#include <QFrame>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QTimer>
#include <optional>

#include "ui/look/Theme.h"

class QMessageBox;
class QVBoxLayout;

namespace kestrel {

// Text of one size and tone, that follows the palette. Plain text, never markup.
class Label : public QLabel {
    Q_OBJECT

public:
    explicit Label(const QString &text, Theme::Size size = Theme::Size::body,
                   Theme::Tone tone = Theme::Tone::text, QWidget *parent = nullptr);
    void setTone(Theme::Tone tone);
    // Breaks lines, and is as wide as its place.
    Label *wrapped();
    // May be marked and copied with mouse and keyboard.
    Label *selectable();

protected:
    void changeEvent(QEvent *event) override;

private:
    void tint();

    Theme::Tone m_tone;
};

// One line that is shortened where the place is too narrow; the tool tip then has it all.
class ElidedLabel : public Label {
    Q_OBJECT

public:
    using Label::Label;
    void setElideMode(Qt::TextElideMode mode) { m_mode = mode; }
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    Qt::TextElideMode m_mode = Qt::ElideRight;
};

// A picture of the icon family, `side` in heights of the text.
class IconLabel : public QWidget {
    Q_OBJECT

public:
    IconLabel(QString name, Theme::Tone tone, double side, QWidget *parent = nullptr);
    // On a faint ground of the same tone.
    IconLabel *onTint();
    void set(const QString &name, Theme::Tone tone);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QString m_name;
    Theme::Tone m_tone;
    bool m_isOnTint = false;
};

// A rounded ground for what belongs together.
class Card : public QFrame {
    Q_OBJECT

public:
    explicit Card(QWidget *parent = nullptr);

protected:
    void paintEvent(QPaintEvent *event) override;
};

// A card with an icon and a title over its contents.
class Section : public Card {
    Q_OBJECT

public:
    Section(const QString &icon, const QString &title, QWidget *parent = nullptr);
    QVBoxLayout *contents() const { return m_contents; }
    // With a mnemonic that leads to this control, the only one of the section.
    void setTitle(const QString &title, QWidget *control);

private:
    Label *m_title;
    QVBoxLayout *m_contents;
};

// A bar of the share that is done; without a value it shows that something is going on.
class Bar : public QWidget {
    Q_OBJECT

public:
    explicit Bar(QWidget *parent = nullptr);
    void setValue(std::optional<double> fraction, Theme::Tone tone = Theme::Tone::accent);
    std::optional<double> value() const { return m_fraction; }
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    void timerEvent(QTimerEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void animate();

    std::optional<double> m_fraction = 0;
    Theme::Tone m_tone = Theme::Tone::accent;
    int m_timer = 0;
    double m_phase = 0;
};

// Scrolls its contents up and down only; they are as wide as the place.
class VerticalScroll : public QScrollArea {
    Q_OBJECT

public:
    static constexpr int ring = 2; // pixels around the contents, for the mark of the focus

    explicit VerticalScroll(QWidget *contents, QWidget *parent = nullptr);
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    bool event(QEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;
};

// Says for a moment that it has copied.
class CopyButton : public QPushButton {
    Q_OBJECT

public:
    // `what` names to a screen reader what it copies: "Adresse".
    explicit CopyButton(QString what);
    void setCopied(const QString &text) { m_text = text; }

private:
    void showCopied(bool isDone);

    const QString m_what;
    QString m_text;
    QTimer m_timer;
};

// Sets the first text of the box off from what follows.
void makeHeadline(QMessageBox &box);

} // namespace kestrel
