#pragma once

#include <QRectF>
#include <QWidget>
#include <optional>
#include <vector>

#include "planning/SampleResult.h"

namespace kestrel {

// The numbers behind a chart. Pure.
namespace Chart {

// A stretch of numbers with a tick at every multiple of its step.
struct Axis {
    double from = 0, to = 1, step = 1;
    bool operator==(const Axis &) const = default;
    std::vector<double> ticks() const;
    int digits() const; // that a tick's label needs after the decimal point
};

// Holds both values with some room around them, in at most so many round steps of at least `leastStep`.
Axis axisOver(double lowest, double highest, int mostSteps, double leastStep);

struct Plane {
    QRectF place; // pixels
    Axis x, y;
    QPointF at(double xValue, double yValue) const;
};

// The first of these places within the plane through which no line runs; the first of all where there is
// none.
QRectF freePlace(const std::vector<QRectF> &candidates, const QRectF &within,
                 const std::vector<QLineF> &lines);

} // namespace Chart

// VMAF over CRF, as the quality search has found it, with its target and its choice.
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
    std::vector<Point> m_points; // by rising CRF
};

} // namespace kestrel
