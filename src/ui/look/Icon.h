#pragma once

#include <QIcon>
#include <QString>

#include "ui/look/Theme.h"

namespace kestrel {

// Loads a drawing of assets/icons and tints it when it is painted: it follows the palette, and stays sharp at
// every scale. An unknown name yields an empty icon.
namespace Icon {

QIcon named(const QString &name, Theme::Tone tone = Theme::Tone::text);
// Returns a pixmap for delegates, at the device's scale; the pixmap cache keeps it.
QPixmap pixmap(const QString &name, Theme::Tone tone, int side, double scale, const QPalette &palette);

} // namespace Icon

} // namespace kestrel
