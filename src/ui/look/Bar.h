#pragma once

#include <QWidget>
#include <optional>

#include "ui/look/Theme.h"

namespace kestrel {

// Shows the share that is done; without a value it shows that work is in progress.
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

} // namespace kestrel
