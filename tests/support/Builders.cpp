#include "support/Builders.h"

namespace kestrel::test {

FilmBuilder::FilmBuilder()
{
    m_info.url = "/filme/Film.mkv";
    m_info.duration = 3600;
    m_info.formatName = "matroska,webm";
    m_info.fileSize = 4'500'000'000;
    video("h264", 1920, 1080).bitrate(10'000'000);
}

FilmBuilder &FilmBuilder::video(const std::string &codec, int width, int height, double fps)
{
    VideoStreamInfo stream;
    stream.codec = codec;
    stream.width = width;
    stream.height = height;
    stream.fps = fps;
    stream.pixFmt = "yuv420p";
    stream.bitrate = m_info.video ? m_info.video->bitrate : std::nullopt;
    return set(m_info.video, stream);
}

FilmBuilder &FilmBuilder::hdr()
{
    m_info.video->colorTransfer = "smpte2084";
    m_info.video->colorPrimaries = "bt2020";
    return set(m_info.video->colorSpace, "bt2020nc");
}

FilmBuilder &FilmBuilder::audio(const std::string &codec, const std::string &language, int channels)
{
    AudioStreamInfo &stream = m_info.audio.emplace_back();
    stream.index = m_next++;
    stream.codec = codec;
    stream.language = language;
    return set(stream.channels, channels);
}

FilmBuilder &FilmBuilder::subtitle(const std::string &codec, const std::string &language)
{
    SubtitleStreamInfo &stream = m_info.subtitles.emplace_back();
    stream.index = m_next++;
    stream.codec = codec;
    return set(stream.language, language);
}

FilmBuilder &FilmBuilder::attachment()
{
    m_info.attachmentIndexes.push_back(m_next++);
    return *this;
}

} // namespace kestrel::test
