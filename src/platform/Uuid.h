#pragma once

#include <string>
#include <string_view>

namespace kestrel {

// Returns a fresh random UUID (RFC 4122, version 4) in upper case.
std::string freshUuid();
// Returns whether the text has the form of freshUuid().
bool isUuid(std::string_view text);

} // namespace kestrel
