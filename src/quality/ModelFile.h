#pragma once

namespace kestrel {

extern const char *const modelFile; // src/quality/model/vmaf_v0.6.1.json, embedded by the build

} // namespace kestrel
