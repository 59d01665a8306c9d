#pragma once

#include <QString>
#include <QWidget>

namespace kestrel {

// Shows the texts of announce() invisibly. Screen readers read one when it is shown; Qt has no event of its
// own for that before version 6.8.
class Announcer : public QWidget {
    Q_OBJECT

public:
    using QWidget::QWidget;
};

// Lets a screen reader speak the text, for changes away from the focus. Does nothing where none is running.
// `near` is any widget of the window that the text concerns. REQUIRES: the main thread.
void announce(QWidget &near, const QString &text);

// Describes the program's own widgets to screen readers. REQUIRES: called once, before the first window.
void installAccessibility();

} // namespace kestrel
