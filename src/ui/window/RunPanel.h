#pragma once

#include <QPushButton>
#include <optional>

#include "model/AppModel.h"
#include "ui/look/Bar.h"
#include "ui/look/Parts.h"

namespace kestrel {

// Shows the current work: a search, measurements, a clip, a conversion run; and how the last run ended.
class RunPanel : public Card {
    Q_OBJECT

public:
    // Holds the texts and icons of the panel for a model; pure, except for the clock.
    struct Look {
        QString headline, count, detail;
        QString sentence; // below the headline
        QString savings;
        QString icon;
        Theme::Tone tone = Theme::Tone::accent;
        std::optional<double> progress; // for the bar: 0 … 1, below 0 while unknown; absent without a bar
        bool canBeStopped = false;      // whether the panel's own button can stop it
    };
    static std::optional<Look> lookOf(const AppModel &model);
    // Returns the same for a screen reader: what has begun or ended, without numbers that change.
    static QString turnOf(const AppModel &model);

    explicit RunPanel(AppModel &model, QWidget *parent = nullptr);

private:
    void update();
    void announceTurn();

    AppModel &m_model;
    IconLabel *m_icon;
    Label *m_headline, *m_count, *m_detail, *m_sentence, *m_savings;
    Bar *m_bar;
    QPushButton *m_stop;
    QString m_announced;
};

} // namespace kestrel
