#pragma once

#include <QCheckBox>
#include <QComboBox>

#include "model/AppModel.h"
#include "ui/look/Parts.h"

namespace kestrel {

// Applies `change` to the model's settings.
template <typename Change>
void edit(AppModel &model, Change change)
{
    ConversionSettings settings = model.settings();
    change(settings);
    if (settings != model.settings())
        model.setSettings(settings);
}

// Lets the user choose one of a few. The wheel scrolls past it unless it has the focus.
class Picker : public QComboBox {
    Q_OBJECT

public:
    explicit Picker(const QString &accessibleName, QWidget *parent = nullptr);

protected:
    void wheelEvent(QWheelEvent *event) override;
};

// Shows a check box as wide as its container: its text breaks lines, and a muted detail may stand at the
// right end.
class CheckRow : public QCheckBox {
    Q_OBJECT

public:
    explicit CheckRow(const QString &text, QWidget *parent = nullptr);
    void setDetail(const QString &detail);
    const QString &detail() const { return m_detail; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    int heightForWidth(int width) const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    bool hitButton(const QPoint &position) const override;

private:
    int indent() const;
    int detailWidth() const;
    int heightOfText(int width) const;

    QString m_detail;
};

// Returns a check row that shows and changes one switch of the settings.
CheckRow *switchRow(AppModel &model, const QString &text, bool ConversionSettings::*field);

// Returns what measures, on a line of its own.
QString measuringLine(Measuring measuring);

// Returns a small, muted text that explains.
Label *caption(const QString &text = {});

// Shows an icon and a text that explains or warns; hidden while there is no text.
class Note : public QWidget {
    Q_OBJECT

public:
    Note(const QString &icon, Theme::Tone iconTone, Theme::Tone textTone = Theme::Tone::text,
         QWidget *parent = nullptr);
    void setText(const QString &text);
    QString text() const { return m_text->text(); }

private:
    Label *m_text;
};

} // namespace kestrel
