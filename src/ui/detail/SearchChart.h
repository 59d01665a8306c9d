#pragma once

#include <QRectF>
#include <QWidget>
#include <optional>
#include <vector>

#include "planning/SampleResult.h"

namespace kestrel {

// Computes the numbers behind a chart. Pure.
namespace Chart {

// Describes a range of numbers with a tick at every multiple of its step.
struct Axis {
    double from = 0, to = 1, step = 1;
    bool operator==(const Axis &) const = default;
    std::vector<double> ticks() const;
    int digits() const; // digits of a tick's label after the decimal point
};

// Returns an axis that holds both values with some room around them, in at most so many round steps of at
// least `leastStep`.
Axis axisOver(double lowest, double highest, int mostSteps, double leastStep);

struct Plane {
    QRectF place; // pixels
    Axis x, y;
    QPointF at(double xValue, double yValue) const;
};

// Returns the first of these places within the plane that no line crosses; the first of all where there is
// none.
QRectF freePlace(const std::vector<QRectF> &candidates, const QRectF &within,
                 const std::vector<QLineF> &lines);

} // namespace Chart

// Draws VMAF over CRF, as the quality search has measured it, with its target and its choice.
class SearchChart : public QWidget {
    Q_OBJECT

public:
    explicit SearchChart(SampleResult sample);
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    struct Point {
        int crf = 0;
        double vmaf = 0;
    };
    Chart::Plane plane() const;
    void drawGrid(QPainter &painter, const Chart::Plane &plane) const;

    const SampleResult m_sample;
    std::vector<Point> m_points; // by ascending CRF
};

} // namespace kestrel
