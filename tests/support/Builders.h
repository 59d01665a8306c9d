#pragma once

#include <cstdint>
#include <string>

#include "media/MediaInfo.h"

namespace kestrel::test {

// Says only what matters for a case: an hour of H.264, 1920 × 1080 at 25 fps and 10 Mbit/s in Matroska,
// without sound, unless told otherwise.
class FilmBuilder {
public:
    FilmBuilder();

    FilmBuilder &named(const std::string &name);
    FilmBuilder &container(const std::string &formatName);
    FilmBuilder &video(const std::string &codec, int width, int height, double fps = 25);
    FilmBuilder &bitrate(std::int64_t bitsPerSecond);
    FilmBuilder &unknownBitrate();
    FilmBuilder &interlaced();
    FilmBuilder &turned(int degreesClockwise);
    FilmBuilder &hdr();
    FilmBuilder &dolbyVision();
    FilmBuilder &withoutVideo();
    FilmBuilder &duration(double seconds);
    FilmBuilder &cut(Cut cut);
    FilmBuilder &fileSize(std::int64_t bytes);
    FilmBuilder &audio(const std::string &codec, const std::string &language, int channels = 2);
    FilmBuilder &subtitle(const std::string &codec, const std::string &language = "deu");
    FilmBuilder &attachment();
    // The following change the track that was added last.
    FilmBuilder &profile(const std::string &profile);
    FilmBuilder &asDefault();
    FilmBuilder &asCommentary();
    FilmBuilder &asForced(); // a subtitle

    operator MediaInfo() const { return m_info; } // NOLINT(google-explicit-constructor): reads well
    MediaInfo info() const { return m_info; }

private:
    MediaInfo m_info;
    int m_next = 1; // stream index
};

FilmBuilder aFilm();

} // namespace kestrel::test
