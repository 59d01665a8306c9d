#pragma once

#include <cstddef>

#include "cli/FolderPlan.h"

namespace kestrel::bench {

// A made-up library of so many files, as a scan would leave it: series and films of several kinds, each
// with one video, two audio and two subtitle streams. Always the same for the same number.
FolderPlan probedLibrary(std::size_t count);

} // namespace kestrel::bench
