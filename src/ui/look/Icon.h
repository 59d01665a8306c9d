#pragma once

#include <QIcon>
#include <QString>

#include "ui/look/Theme.h"

namespace kestrel {

// One of the drawings in assets/icons, tinted when it is painted: it follows the palette, and stays sharp at
// every scale. Unknown names give an empty icon.
namespace Icon {

QIcon named(const QString &name, Theme::Tone tone = Theme::Tone::text);
// A pixmap for delegates, at the device's scale; it is kept in the pixmap cache.
QPixmap pixmap(const QString &name, Theme::Tone tone, int side, double scale, const QPalette &palette);

} // namespace Icon

} // namespace kestrel
