#pragma once

#include <QFrame>
#include <QLabel>

#include "ui/look/Theme.h"

class QMessageBox;
class QVBoxLayout;

namespace kestrel {

// Shows text of one size and tone, which follows the palette. It is plain text, never markup.
class Label : public QLabel {
    Q_OBJECT

public:
    explicit Label(const QString &text, Theme::Size size = Theme::Size::body,
                   Theme::Tone tone = Theme::Tone::text, QWidget *parent = nullptr);
    void setTone(Theme::Tone tone);
    // Breaks lines, and is as wide as its container.
    Label *wrapped();
    // Lets mouse and keyboard select and copy the text.
    Label *selectable();

protected:
    void changeEvent(QEvent *event) override;

private:
    void tint();

    Theme::Tone m_tone;
};

// Shows one line, which is shortened where room is lacking; the tool tip then has the whole text.
class ElidedLabel : public Label {
    Q_OBJECT

public:
    using Label::Label;
    void setElideMode(Qt::TextElideMode mode) { m_mode = mode; }
    // Where the text does not fit, the first of these that does is shown.
    void setBriefs(const QStringList &texts) { m_briefs = texts; }
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    Qt::TextElideMode m_mode = Qt::ElideRight;
    QStringList m_briefs;
};

// Shows a picture of the icon family; `side` counts in heights of the text.
class IconLabel : public QWidget {
    Q_OBJECT

public:
    IconLabel(QString name, Theme::Tone tone, double side, QWidget *parent = nullptr);
    // Draws a faint background of the same tone behind it.
    IconLabel *onTint();
    void set(const QString &name, Theme::Tone tone);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QString m_name;
    Theme::Tone m_tone;
    bool m_isOnTint = false;
};

// Draws a rounded background for what belongs together.
class Card : public QFrame {
    Q_OBJECT

public:
    explicit Card(QWidget *parent = nullptr);

protected:
    void paintEvent(QPaintEvent *event) override;
};

// Adds an icon and a title above the contents of a card.
class Section : public Card {
    Q_OBJECT

public:
    Section(const QString &icon, const QString &title, QWidget *parent = nullptr);
    QVBoxLayout *contents() const { return m_contents; }
    // Lets the title's mnemonic focus this control, the only one of the section.
    void setTitle(const QString &title, QWidget *control);

private:
    Label *m_title;
    QVBoxLayout *m_contents;
};

// Makes the first text of the box a headline.
void makeHeadline(QMessageBox &box);

} // namespace kestrel
