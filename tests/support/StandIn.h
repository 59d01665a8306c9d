#pragma once

#include <string>

#include "media/Tools.h"
#include "support/Sandbox.h"

namespace kestrel::test {

// Debian's ffmpeg and ffprobe, which convert, but have no libvmaf; and nothing else measures either, so that
// a test that is not about the quality search is quick.
Tools realTools();

// Writes an executable shell script (the body follows "#!/bin/sh") and returns its path.
fs::path standIn(const Sandbox &sandbox, const std::string &name, const std::string &body);

} // namespace kestrel::test
