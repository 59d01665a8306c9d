#pragma once

#include <QScrollArea>

namespace kestrel {

// Scrolls its contents vertically only; they are as wide as its viewport.
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

} // namespace kestrel
