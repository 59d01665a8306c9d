#pragma once

#include <QFrame>
#include <QLabel>

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
    // Lets mouse and keyboard select and copy the text.
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
    // The first of these that fits is shown where the text does not.
    void setBriefs(const QStringList &texts) { m_briefs = texts; }
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    Qt::TextElideMode m_mode = Qt::ElideRight;
    QStringList m_briefs;
};

// A picture of the icon family, `side` in heights of the text.
class IconLabel : public QWidget {
    Q_OBJECT

public:
    IconLabel(QString name, Theme::Tone tone, double side, QWidget *parent = nullptr);
    // Draws a faint ground of the same tone behind it.
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
    // The title's mnemonic leads to this control, the only one of the section.
    void setTitle(const QString &title, QWidget *control);

private:
    Label *m_title;
    QVBoxLayout *m_contents;
};

// Sets the first text of the box off from what follows.
void makeHeadline(QMessageBox &box);

} // namespace kestrel
