#pragma once

#include <string>

#include "support/Sandbox.h"

// Short real videos, made with Debian's ffmpeg from its own sources and kept for all tests of a build.
namespace kestrel::test::Clips {

// Makes the clip on its first use: `arguments` are a shell's words for ffmpeg, without the output. The
// name carries the extension, and must be another one for other arguments.
fs::path make(const std::string &name, const std::string &arguments);

// Two seconds of H.264, 320 × 240 at 25 fps, with so many bits that encoding it anew always saves; a
// German AC3 track.
fs::path film();
// The same, 40 seconds long, so that its duration is verified.
fs::path longFilm();

} // namespace kestrel::test::Clips
