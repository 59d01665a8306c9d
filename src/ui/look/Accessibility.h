#pragma once

#include <QString>

class QWidget;

namespace kestrel {

// Has a screen reader say the text, for changes away from the focus. Does nothing where
// none is running. `near` is any widget of the window that the text is about. REQUIRES: the main thread.
void announce(QWidget &near, const QString &text);

// Describes the program's own widgets to screen readers. REQUIRES: called once, before the first window.
void installAccessibility();

} // namespace kestrel
