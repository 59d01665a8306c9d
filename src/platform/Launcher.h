#pragma once

#include <optional>
#include <string>

// The application's icon in the desktop's dock or task bar. REQUIRES: the main thread.
namespace kestrel::Launcher {

// Draws a percentage ("43 %") as progress on the icon; no text, and any other, takes it off again. A desktop
// without such icons takes no notice.
void setBadge(const std::optional<std::string> &text);

} // namespace kestrel::Launcher
