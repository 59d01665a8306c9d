#include "support/Builders.h"

namespace kestrel::test {

FilmBuilder::FilmBuilder()
{
    m_info.url = "/filme/Film.mkv";
    m_info.duration = 3600;
    m_info.formatName = "matroska,webm";
    m_info.fileSize = 4'500'000'000;
    video("h264", 1920, 1080);
    bitrate(10'000'000);
}

FilmBuilder &FilmBuilder::named(const std::string &name)
{
    m_info.url = "/filme/" + name;
    return *this;
}

FilmBuilder &FilmBuilder::container(const std::string &formatName)
{
    m_info.formatName = formatName;
    return *this;
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
    m_info.video = stream;
    return *this;
}

FilmBuilder &FilmBuilder::bitrate(std::int64_t bitsPerSecond)
{
    m_info.video->bitrate = bitsPerSecond;
    return *this;
}

FilmBuilder &FilmBuilder::unknownBitrate()
{
    m_info.video->bitrate.reset();
    return *this;
}

FilmBuilder &FilmBuilder::interlaced()
{
    m_info.video->fieldOrder = "tt";
    return *this;
}

FilmBuilder &FilmBuilder::turned(int degreesClockwise)
{
    m_info.video->rotation = degreesClockwise;
    return *this;
}

FilmBuilder &FilmBuilder::cut(Cut cut)
{
    m_info.cut = cut;
    return *this;
}

FilmBuilder &FilmBuilder::hdr()
{
    m_info.video->colorTransfer = "smpte2084";
    m_info.video->colorPrimaries = "bt2020";
    m_info.video->colorSpace = "bt2020nc";
    return *this;
}

FilmBuilder &FilmBuilder::dolbyVision()
{
    m_info.video->isDolbyVision = true;
    return *this;
}

FilmBuilder &FilmBuilder::withoutVideo()
{
    m_info.video.reset();
    return *this;
}

FilmBuilder &FilmBuilder::duration(double seconds)
{
    m_info.duration = seconds;
    return *this;
}

FilmBuilder &FilmBuilder::fileSize(std::int64_t bytes)
{
    m_info.fileSize = bytes;
    return *this;
}

FilmBuilder &FilmBuilder::audio(const std::string &codec, const std::string &language, int channels)
{
    AudioStreamInfo stream;
    stream.index = m_next++;
    stream.codec = codec;
    stream.language = language;
    stream.channels = channels;
    m_info.audio.push_back(stream);
    return *this;
}

FilmBuilder &FilmBuilder::subtitle(const std::string &codec, const std::string &language)
{
    SubtitleStreamInfo stream;
    stream.index = m_next++;
    stream.codec = codec;
    stream.language = language;
    m_info.subtitles.push_back(stream);
    return *this;
}

FilmBuilder &FilmBuilder::attachment()
{
    m_info.attachmentIndexes.push_back(m_next++);
    return *this;
}

FilmBuilder &FilmBuilder::profile(const std::string &profile)
{
    m_info.audio.back().profile = profile;
    return *this;
}

FilmBuilder &FilmBuilder::asDefault()
{
    m_info.audio.back().isDefault = true;
    return *this;
}

FilmBuilder &FilmBuilder::asCommentary()
{
    m_info.audio.back().isCommentary = true;
    return *this;
}

FilmBuilder &FilmBuilder::asForced()
{
    m_info.subtitles.back().isForced = true;
    return *this;
}

FilmBuilder aFilm()
{
    return {};
}

} // namespace kestrel::test
