#pragma once

#include <array>

#include "quality/FloatRows.h"
#include "quality/LumaFrame.h"

// Computes the features of a frame from which VMAF is computed, in single precision and with the widest
// vectors that the processor has. The functions are pure and may be called from any thread. The result does
// not depend on the depth: values count in samples of 8 bits. REQUIRES: both frames have the same depth and
// the same size, at least 16 × 16.
namespace kestrel::Features {

// Returns the visual information fidelity at four scales, each half as large as the one before it (Sheikh and
// Bovik, "Image information and visual quality", 2006, in the pixel domain): the share of the information in
// the reference that the distorted picture still holds.
std::array<double, 4> vif(const LumaFrame &reference, const LumaFrame &distorted, Scratch &scratch);

// Returns the detail loss measure (Li, Zhang, Ma and Ngan, "Image quality assessment by separately evaluating
// detail losses and additive impairments", 2011), without its impairments: the share of the visible detail
// that is kept.
double adm2(const LumaFrame &reference, const LumaFrame &distorted, Scratch &scratch);

// Returns the mean absolute difference of two frames after a blur.
double motion(const LumaFrame &previous, const LumaFrame &frame, Scratch &scratch);

} // namespace kestrel::Features
