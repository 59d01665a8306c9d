#pragma once

#include <QString>

class QWidget;

namespace kestrel {

// Has a screen reader say the text, for changes that happen without the focus going there. Does nothing where
// none is running. Main thread; `near` is any widget of the window that it is said of.
void announce(QWidget &near, const QString &text);

// Screen readers learn what the program's own widgets are. Once, before there is a window.
void installAccessibility();

} // namespace kestrel
