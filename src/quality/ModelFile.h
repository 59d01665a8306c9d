#pragma once

#include <array>

// Holds what the build generates from src/quality/model/vmaf_v0.6.1.json.
namespace kestrel::ModelFile {

extern const char *const vectors;              // a header, then one line for each support vector
extern const std::array<double, 7> slopes;     // the score's own, then one for each feature
extern const std::array<double, 7> intercepts; // likewise
extern const std::array<double, 2> scoreClip;  // lowest and highest

} // namespace kestrel::ModelFile
