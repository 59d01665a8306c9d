#pragma once

#include <string_view>

// Holds what the status server serves besides the snapshot. Both are made at build time, from the files in
// this folder and from the application's icon.
namespace kestrel::StatusPage {

// Returns one self-contained document; UTF-8.
std::string_view html();
// Returns the application's icon, PNG, 180 × 180, opaque.
std::string_view touchIcon();

} // namespace kestrel::StatusPage
