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

    FilmBuilder &named(const std::string &name) { return set(m_info.url, "/filme/" + name); }
    FilmBuilder &container(const std::string &format) { return set(m_info.formatName, format); }
    FilmBuilder &video(const std::string &codec, int width, int height, double fps = 25);
    FilmBuilder &bitrate(std::int64_t bitsPerSecond) { return set(m_info.video->bitrate, bitsPerSecond); }
    FilmBuilder &unknownBitrate() { return set(m_info.video->bitrate, std::nullopt); }
    FilmBuilder &interlaced() { return set(m_info.video->fieldOrder, "tt"); }
    FilmBuilder &turned(int degreesClockwise) { return set(m_info.video->rotation, degreesClockwise); }
    FilmBuilder &hdr();
    FilmBuilder &dolbyVision() { return set(m_info.video->isDolbyVision, true); }
    FilmBuilder &withoutVideo() { return set(m_info.video, std::nullopt); }
    FilmBuilder &duration(double seconds) { return set(m_info.duration, seconds); }
    FilmBuilder &cut(Cut cut) { return set(m_info.cut, cut); }
    FilmBuilder &fileSize(std::int64_t bytes) { return set(m_info.fileSize, bytes); }
    FilmBuilder &audio(const std::string &codec, const std::string &language, int channels = 2);
    FilmBuilder &subtitle(const std::string &codec, const std::string &language = "deu");
    FilmBuilder &attachment();
    // The following change the track that was added last.
    FilmBuilder &profile(const std::string &profile) { return set(m_info.audio.back().profile, profile); }
    FilmBuilder &asDefault() { return set(m_info.audio.back().isDefault, true); }
    FilmBuilder &asCommentary() { return set(m_info.audio.back().isCommentary, true); }
    FilmBuilder &titled(const std::string &title) { return set(m_info.audio.back().title, title); }
    FilmBuilder &audioBitrate(std::int64_t bits) { return set(m_info.audio.back().bitrate, bits); }
    FilmBuilder &asForced() { return set(m_info.subtitles.back().isForced, true); }

    operator MediaInfo() const { return m_info; } // NOLINT(google-explicit-constructor): reads well
    MediaInfo info() const { return m_info; }

private:
    template <typename Field, typename Value>
    FilmBuilder &set(Field &field, const Value &value)
    {
        field = value;
        return *this;
    }

    MediaInfo m_info;
    int m_next = 1; // stream index
};

inline FilmBuilder aFilm()
{
    return {};
}

} // namespace kestrel::test
