#pragma once

#include <array>
#include <optional>
#include <vector>

#include "support/Sandbox.h"

// A film as a viewer sees and hears it: decoded, turned, in its shape. Measured with the real ffmpeg.
namespace kestrel::test {

struct Seen {
    std::array<int, 4> corners{}; // brightness, 0 … 255: top left, top right, bottom left, bottom right
    double aspect = 0;            // width over height on the screen
    int pictures = 0;             // that are shown
    double first = 0, last = 0;   // when the first and the last picture are shown; seconds
    std::optional<double> flash, beep; // when the first bright picture is shown and the first sound is heard
};

Seen look(const fs::path &film);

// "top left is where the source has it, …": the corners of both agree within the encoder's errors.
bool isSamePicture(const Seen &one, const Seen &other);

// Changes the headers of an MP4 or QuickTime file in place, as cameras and editors write them.
namespace Mp4 {

// Quarter turns clockwise, after an optional vertical flip.
void turn(const fs::path &film, int quarters, bool isMirrored = false);

struct Edit {
    std::optional<double> start; // seconds on the media's own time line; absent for a gap
    double length = 0;           // seconds
};
// Replaces the edit list of the pictures or of the sound, which must have one of at least one entry, and room
// for all of these behind it.
void edit(const fs::path &film, char kind, const std::vector<Edit> &edits); // 'v' or 's'

} // namespace Mp4

} // namespace kestrel::test
