#pragma once

namespace kestrel {

// The desktop knows the program by this name: that of its desktop file, its settings and its icon.
inline constexpr const char *applicationId = "app.kestrel.Kestrel";

} // namespace kestrel
