#pragma once

#include <string>

#include "media/Tools.h"
#include "support/Sandbox.h"

namespace kestrel::test {

// Debian's ffmpeg and ffprobe, which convert, but have no libvmaf.
Tools realTools();

// Writes an executable shell script (the body follows "#!/bin/sh") and returns its path.
fs::path standIn(const Sandbox &sandbox, const std::string &name, const std::string &body);

} // namespace kestrel::test
