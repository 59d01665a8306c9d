#pragma once

#include <optional>
#include <string>

// Controls the application's icon in the desktop's dock or task bar. REQUIRES: the main thread.
namespace kestrel::Launcher {

// Draws a percentage ("43 %") as progress on the icon; no text, or any other, removes it. A desktop without
// such icons ignores the call.
void setBadge(const std::optional<std::string> &text);

} // namespace kestrel::Launcher
