#pragma once

#include <QApplication>
#include <QColor>
#include <QFont>
#include <QPalette>

// Defines the colours and type sizes of all windows, in light and dark; the status page has a palette of its
// own in page.css. REQUIRES: the main thread.
namespace kestrel::Theme {

enum class Tone { text, muted, accent, green, orange, red, purple, onAccent };

struct Colors {
    QColor window, card, line, track, hover, selection;
    QColor text, muted, accent, green, orange, red, purple, onAccent;
};

const Colors &colors(const QPalette &palette);
bool isDark(const QPalette &palette);
QColor color(Tone tone, const QPalette &palette);
// Returns a tone as a background, so faint that text on it is legible.
QColor tinted(Tone tone, const QPalette &palette);

// Gives the application this look; may be called again.
void apply(QApplication &application, bool wantsDark);

enum class Size { title, heading, value, body, caption };
QFont font(Size size);
// Returns a distance that grows with the user's text size; `em` is its height.
int em(double factor);

} // namespace kestrel::Theme
