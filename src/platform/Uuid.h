#pragma once

#include <string>

namespace kestrel {

// A fresh random UUID (RFC 4122, version 4) in upper case.
std::string freshUuid();

} // namespace kestrel
