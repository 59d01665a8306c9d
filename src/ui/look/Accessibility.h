#pragma once

#include <QString>

class QWidget;

namespace kestrel {

// Lets a screen reader speak the text, for changes away from the focus. Does nothing where none is running.
// `near` is any widget of the window that the text concerns. REQUIRES: the main thread.
void announce(QWidget &near, const QString &text);

// Describes the program's own widgets to screen readers. REQUIRES: called once, before the first window.
void installAccessibility();

} // namespace kestrel
