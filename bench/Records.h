#pragma once

#include <cstddef>

#include "model/Library.h"

namespace kestrel::bench {

// Returns what a scan would find for the i-th of many made-up files.
MediaInfo record(std::size_t i);

// Fills the library with so many made-up files, as a scan would: series and films of several kinds, each with
// one video, two audio and two subtitle streams. The same number yields the same files.
void fill(Library &library, std::size_t count);

} // namespace kestrel::bench
