#include "ui/detail/SearchChart.h"

#include <QLineF>
#include <QPainter>
#include <algorithm>
#include <array>
#include <cmath>

#include "format/Fmt.h"
#include "ui/detail/DetailText.h"
#include "ui/detail/SearchText.h"
#include "ui/look/Strings.h"
#include "ui/look/Theme.h"

namespace kestrel {

namespace Chart {

namespace {
constexpr double slack = 1e-6;     // share of a step
constexpr double leastRoom = 0.25; // share of a step, between the outermost values and the ends
} // namespace

std::vector<double> Axis::ticks() const
{
    std::vector<double> ticks;
    for (double i = std::ceil(from / step - slack); i * step <= to + slack * step; ++i)
        ticks.push_back(i * step);
    return ticks;
}

int Axis::digits() const
{
    return step >= 1 ? 0 : static_cast<int>(std::ceil(-std::log10(step) - slack));
}

Axis axisOver(double lowest, double highest, int mostSteps, double leastStep)
{
    constexpr std::array<double, 3> mantissas{1, 2, 5};
    constexpr int least = -9, most = 30; // from a thousandth to 10^10
    Axis axis;
    for (int i = least; i < most; ++i) {
        const double step =
            mantissas[static_cast<std::size_t>(i - least) % 3] * std::pow(10, std::floor(i / 3.0));
        if (step < leastStep * (1 - slack))
            continue;
        axis = {std::floor(lowest / step) * step, std::ceil(highest / step) * step, step};
        if (axis.from > lowest - leastRoom * step)
            axis.from -= step;
        if (axis.to < highest + leastRoom * step)
            axis.to += step;
        if ((axis.to - axis.from) / step <= mostSteps + slack)
            break;
    }
    return axis;
}

QPointF Plane::at(double xValue, double yValue) const
{
    return {place.left() + (xValue - x.from) / (x.to - x.from) * place.width(),
            place.bottom() - (yValue - y.from) / (y.to - y.from) * place.height()};
}

QRectF freePlace(const std::vector<QRectF> &candidates, const QRectF &within,
                 const std::vector<QLineF> &lines)
{
    const auto isCrossed = [](const QRectF &place, const QLineF &line) {
        if (place.contains(line.p1()) || place.contains(line.p2()))
            return true;
        const std::array<QLineF, 4> sides{{{place.topLeft(), place.topRight()},
                                           {place.topRight(), place.bottomRight()},
                                           {place.bottomRight(), place.bottomLeft()},
                                           {place.bottomLeft(), place.topLeft()}}};
        return std::any_of(sides.begin(), sides.end(), [&](const QLineF &side) {
            return side.intersects(line) == QLineF::BoundedIntersection;
        });
    };
    const auto found = std::find_if(candidates.begin(), candidates.end(), [&](const QRectF &place) {
        return within.contains(place) && std::none_of(lines.begin(), lines.end(), [&](const QLineF &line) {
                   return isCrossed(place, line);
               });
    });
    return found != candidates.end() ? *found : candidates.front();
}

} // namespace Chart

namespace {

constexpr double bestVmaf = 100;
constexpr double gap = 4; // pixels between texts and what they belong to

QString number(double value, int digits)
{
    return qt(Fmt::number(value, digits));
}

} // namespace

SearchChart::SearchChart(SampleResult sample) : m_sample(std::move(sample))
{
    for (const auto &step : m_sample.steps)
        if (step.vmaf && std::isfinite(*step.vmaf))
            m_points.push_back({step.value, *step.vmaf});
    std::stable_sort(m_points.begin(), m_points.end(),
                     [](const Point &a, const Point &b) { return a.crf < b.crf; });
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAccessibleName(QStringLiteral("Diagramm: VMAF über CRF"));
    setAccessibleDescription(SearchText::searchInWords(m_sample));
}

QSize SearchChart::sizeHint() const
{
    return {Theme::em(30), Theme::em(13)};
}

QSize SearchChart::minimumSizeHint() const
{
    return {Theme::em(12), Theme::em(8)};
}

Chart::Plane SearchChart::plane() const
{
    const QFontMetricsF metrics(Theme::font(Theme::Size::caption));
    const double line = metrics.height();
    const QRectF inner = QRectF(rect()).adjusted(
        metrics.horizontalAdvance(QStringLiteral("100,0")) + 2 * gap, 1.6 * line + gap,
        -metrics.horizontalAdvance(QStringLiteral("0 CRF")) - 5 * gap, -line - 2 * gap);
    const auto most = [](double room, double each) {
        return std::clamp(static_cast<int>(room / each), 2, 12);
    };

    double lowest = m_sample.vmafTarget.value_or(m_points.front().vmaf), highest = lowest;
    for (const Point &point : m_points) {
        lowest = std::min(lowest, point.vmaf);
        highest = std::max(highest, point.vmaf);
    }
    const double label = metrics.horizontalAdvance(QStringLiteral("00"));
    Chart::Plane plane{
        inner.toAlignedRect(),
        Chart::axisOver(m_points.front().crf, m_points.back().crf, most(inner.width(), 2.5 * label), 1),
        Chart::axisOver(lowest, highest, most(inner.height(), 1.8 * line), 0.2)};
    plane.y.to = std::min(plane.y.to, std::max(highest, bestVmaf));
    return plane;
}

void SearchChart::drawGrid(QPainter &painter, const Chart::Plane &plane) const
{
    const auto &colors = Theme::colors(palette());
    const double line = QFontMetricsF(painter.font()).height();
    const QRectF &place = plane.place;
    painter.setRenderHint(QPainter::Antialiasing, false);
    for (const double tick : plane.y.ticks()) {
        const double y = std::round(plane.at(plane.x.from, tick).y());
        painter.setPen(QPen(colors.line, 1));
        painter.drawLine(QPointF(place.left(), y), QPointF(place.right(), y));
        painter.setPen(colors.muted);
        painter.drawText(QRectF(0, y - line / 2, place.left() - 2 * gap, line),
                         Qt::AlignRight | Qt::AlignVCenter, number(tick, plane.y.digits()));
    }
    for (const double tick : plane.x.ticks()) {
        const double x = std::round(plane.at(tick, plane.y.from).x());
        painter.setPen(QPen(colors.line, 1));
        painter.drawLine(QPointF(x, place.bottom()), QPointF(x, place.bottom() + gap));
        painter.setPen(colors.muted);
        painter.drawText(QRectF(x - 50, place.bottom() + 1.5 * gap, 100, line),
                         Qt::AlignHCenter | Qt::AlignTop, number(tick, 0));
    }
    painter.setPen(colors.muted);
    painter.drawText(QRectF(0, 0, place.width(), line), Qt::AlignLeft | Qt::AlignTop, QStringLiteral("VMAF"));
    painter.drawText(QRectF(place.right(), place.bottom() + 1.5 * gap, width() - place.right(), line),
                     Qt::AlignRight | Qt::AlignTop, QStringLiteral("CRF"));
    painter.setRenderHint(QPainter::Antialiasing);
}

void SearchChart::paintEvent(QPaintEvent *)
{
    if (m_points.empty())
        return;
    const auto &colors = Theme::colors(palette());
    const Chart::Plane plane = this->plane();
    QPainter painter(this);
    painter.setFont(Theme::font(Theme::Size::caption));
    drawGrid(painter, plane);

    const QFontMetricsF metrics(painter.font());
    const double dot = std::max(3.0, metrics.height() * 0.22), ring = dot * 2.1;
    std::vector<QLineF> lines; // lines that no text may cover
    QPolygonF curve;
    for (const Point &point : m_points) {
        curve.push_back(plane.at(point.crf, point.vmaf));
        lines.emplace_back(curve[std::max<qsizetype>(0, curve.size() - 2)], curve.back());
    }
    painter.setPen(QPen(colors.accent, 2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPolyline(curve);

    const auto sized = [&](const QString &text) {
        return QSizeF(metrics.horizontalAdvance(text) + gap, metrics.height());
    };
    if (m_sample.vmafTarget) {
        const double y = std::round(plane.at(0, *m_sample.vmafTarget).y()) + 0.5;
        const QLineF target(plane.place.left(), y, plane.place.right(), y);
        painter.setPen(QPen(colors.green, 1.5, Qt::DashLine));
        painter.drawLine(target);
        const QString text = QStringLiteral("Ziel %1").arg(number(*m_sample.vmafTarget, 1));
        const QSizeF size = sized(text);
        const double left = plane.place.left() + gap, right = plane.place.right() - gap - size.width();
        const double below = y + gap / 2, above = y - gap / 2 - size.height();
        const QRectF place = Chart::freePlace(
            {{{left, below}, size}, {{right, above}, size}, {{left, above}, size}, {{right, below}, size}},
            plane.place, lines);
        painter.fillRect(place, colors.card); // hides the grid behind the text
        painter.setPen(colors.green);
        painter.drawText(place, Qt::AlignCenter, text);
        lines.push_back(target);
        lines.emplace_back(place.topLeft(), place.bottomRight());
        lines.emplace_back(place.bottomLeft(), place.topRight());
    }

    const Point *chosen = nullptr;
    for (const Point &point : m_points) {
        const bool isChosen = point.crf == m_sample.qualityValue;
        chosen = isChosen ? &point : chosen;
        painter.setPen(QPen(colors.card, 2));
        painter.setBrush(colors.accent);
        painter.drawEllipse(plane.at(point.crf, point.vmaf), dot + 1, dot + 1);
    }
    if (chosen == nullptr)
        return;
    const QPointF centre = plane.at(chosen->crf, chosen->vmaf);
    painter.setPen(QPen(colors.text, 2));
    painter.setBrush(Qt::NoBrush);
    painter.drawEllipse(centre, ring, ring);
    QFont bold = painter.font();
    bold.setWeight(QFont::DemiBold);
    painter.setFont(bold);
    const QString text = QStringLiteral("CRF %1").arg(chosen->crf);
    const QSizeF size(QFontMetricsF(bold).horizontalAdvance(text) + gap, metrics.height());
    const double left = centre.x() - ring - size.width(), right = centre.x() + ring;
    const double above = centre.y() - ring - size.height(), below = centre.y() + ring;
    const QRectF place = Chart::freePlace(
        {{{right, above}, size}, {{left, below}, size}, {{right, below}, size}, {{left, above}, size}},
        QRectF(rect()).adjusted(plane.place.left(), 0, 0, 0), lines);
    painter.fillRect(place, colors.card);
    painter.setPen(colors.text);
    painter.drawText(place, Qt::AlignCenter, text);
}

} // namespace kestrel
