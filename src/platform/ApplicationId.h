#pragma once

namespace kestrel {

// The name under which the desktop knows the program: of its desktop file, its settings and its icon.
inline constexpr const char *applicationId = "app.kestrel.Kestrel";

} // namespace kestrel
