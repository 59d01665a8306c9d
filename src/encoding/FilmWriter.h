#pragma once

#include <filesystem>
#include <stop_token>
#include <string>
#include <vector>

#include "encoding/CurrentRunner.h"
#include "encoding/FFmpegRunner.h"

// Runs ffmpeg to write a film, or a clip of one.
namespace kestrel::FilmWriter {

struct End {
    int status = 0;       // ffmpeg's
    bool hasLost = false; // see ErrorTail
    std::string errorTail;

    bool isWhole() const { return status == 0 && !hasLost; }
};

// Blocks until ffmpeg has ended; throws Cancelled after a stop request. Program streams and AVI files with B
// frames state no time for some of their packets, which Matroska refuses: where ffmpeg fails for that reason,
// it is run once more and generates these times itself.
End write(CurrentRunner &current, const std::filesystem::path &ffmpeg,
          const std::vector<std::string> &arguments, const FFmpegRunner::OnProgress &progress,
          const std::stop_token &stop);

} // namespace kestrel::FilmWriter
