#pragma once

#include <array>

namespace kestrel::VmafModel {

inline constexpr const char *name = "vmaf_v0.6.1"; // libvmaf's own

// Returns the score of a frame, 0 … 100, from its features, by a support vector regression with radial basis
// functions and libvmaf's coefficients. May be called from any thread.
double score(double adm2, double motion2, const std::array<double, 4> &vif);

} // namespace kestrel::VmafModel
