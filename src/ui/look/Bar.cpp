#include "ui/look/Bar.h"

#include <QAccessible>
#include <QPainter>
#include <QTimerEvent>
#include <algorithm>
#include <cmath>
#include <utility>

#include "ui/look/Style.h"

namespace kestrel {

Bar::Bar(QWidget *parent) : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAccessibleName(QStringLiteral("Fortschritt"));
}

void Bar::setValue(std::optional<double> fraction, Theme::Tone tone)
{
    if (fraction == m_fraction && tone == m_tone)
        return;
    const auto percent = [](std::optional<double> value) { return std::lround(value.value_or(0) * 100); };
    const bool isWorthTelling = percent(fraction) != percent(m_fraction);
    m_fraction = fraction;
    m_tone = tone;
    if (isWorthTelling) {
        QAccessibleValueChangeEvent event(this, fraction.value_or(0));
        QAccessible::updateAccessibility(&event);
    }
    animate();
    update();
}

QSize Bar::sizeHint() const
{
    return {Theme::em(6), std::max(6, Theme::em(0.45))};
}

void Bar::animate()
{
    const bool wants = !m_fraction && isVisible();
    if (wants && m_timer == 0)
        m_timer = startTimer(30);
    else if (!wants && m_timer != 0)
        killTimer(std::exchange(m_timer, 0));
}

void Bar::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const QColor fill = Theme::color(m_tone, palette());
    Draw::bar(painter, rect(), m_fraction.value_or(0), fill, palette());
    if (m_fraction)
        return;
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    const double piece = width() * 0.4;
    painter.drawRoundedRect(QRectF(-piece + m_phase * (width() + piece), 0, piece, height()), height() / 2.0,
                            height() / 2.0);
}

void Bar::timerEvent(QTimerEvent *)
{
    constexpr double step = 30.0 / 1400; // share of one sweep
    m_phase = std::fmod(m_phase + step, 1);
    update();
}

void Bar::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    animate();
}

void Bar::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    animate();
}

} // namespace kestrel
