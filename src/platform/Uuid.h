#pragma once

#include <string>
#include <string_view>

namespace kestrel {

// A fresh random UUID (RFC 4122, version 4) in upper case.
std::string freshUuid();
// Has the form that freshUuid() gives.
bool isUuid(std::string_view text);

} // namespace kestrel
