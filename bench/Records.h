#pragma once

#include <cstddef>

#include "model/Library.h"

namespace kestrel::bench {

// What a scan would say of the i-th of many made-up files.
MediaInfo record(std::size_t i);

// Fills the library with so many made-up files, as a scan would leave it: series and films of several
// kinds, each with one video, two audio and two subtitle streams. Always the same for the same number.
void fill(Library &library, std::size_t count);

} // namespace kestrel::bench
