#pragma once

#include <string_view>

// What the status server hands out besides the snapshot. Both are made at build time, from the files in
// this folder and from the application's icon.
namespace kestrel::StatusPage {

// One document with nothing outside it; UTF-8.
std::string_view html();
// The application's icon, PNG, 180 × 180, opaque.
std::string_view touchIcon();

} // namespace kestrel::StatusPage
