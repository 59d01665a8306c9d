#pragma once

#include <array>

namespace kestrel::VmafModel {

inline constexpr const char *name = "vmaf_v0.6.1"; // libvmaf's own

// The score of a frame, 0 … 100, from its features: a support vector regression with radial basis functions,
// whose coefficients are libvmaf's. For any thread.
double score(double adm2, double motion2, const std::array<double, 4> &vif);

} // namespace kestrel::VmafModel
