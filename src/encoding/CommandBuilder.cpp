#include "encoding/CommandBuilder.h"

#include <array>
#include <initializer_list>
#include <string_view>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "platform/ShellWords.h"

namespace kestrel::CommandBuilder {

namespace {

using std::string_view;

constexpr std::array prologue{"-nostdin", "-hide_banner", "-y",     "-loglevel",
                              "error",    "-progress",    "pipe:1", "-nostats"};
constexpr std::array noOtherStreams{"-an", "-sn", "-dn"};
constexpr std::array copyVideo{"-c:v", "copy"};
constexpr std::array hevcTag{"-tag:v", "hvc1"}; // without it Apple's players refuse HEVC in MP4
constexpr std::array attachments{"-c:t", "copy"};
constexpr std::array muxingQueue{"-max_muxing_queue_size", "4096"};
// Copied sound keeps the cut of the source's edit list; otherwise what lies before its start would be
// audible.
constexpr std::array withoutLead{"-copypriorss", "0"};
constexpr std::array matroska{"-f", "matroska"};
constexpr std::array mp4{"-f", "mp4", "-movflags", "+faststart"};
// mkvmerge's statistics would survive a re-encode and be wrong.
constexpr std::array staleTags{"BPS",
                               "NUMBER_OF_BYTES",
                               "NUMBER_OF_FRAMES",
                               "_STATISTICS_TAGS",
                               "_STATISTICS_WRITING_APP",
                               "_STATISTICS_WRITING_DATE_UTC"};

constexpr string_view pixelFormat = "yuv420p10le";

class List {
public:
    template <std::size_t Size>
    void add(const std::array<const char *, Size> &group)
    {
        m_words.insert(m_words.end(), group.begin(), group.end());
    }
    void add(std::initializer_list<string_view> words)
    {
        for (const string_view word : words)
            m_words.emplace_back(word);
    }
    void add(std::vector<std::string> words)
    {
        for (auto &word : words)
            m_words.push_back(std::move(word));
    }
    void map(int index) { add({"-map", fmt::format("0:{}", index)}); }
    void clearStaleTags(string_view stream)
    {
        const std::string option = fmt::format("-metadata:s:{}", stream);
        for (const char *tag : staleTags)
            add({option, fmt::format("{}=", tag), option, fmt::format("{}-eng=", tag)});
    }
    std::vector<std::string> take() { return std::move(m_words); }

private:
    std::vector<std::string> m_words;
};

void addVideo(List &list, const VideoStreamInfo &video, const Plan &plan, const ConversionSettings &settings)
{
    if (!plan.hasVideo())
        return;
    if (!plan.encodesVideo()) {
        list.add(copyVideo);
        if (settings.container == OutputContainer::mp4 && video.codec == "hevc")
            list.add(hevcTag);
        return;
    }
    const auto filters = plan.videoFilters();
    if (!filters.empty())
        list.add({"-vf", fmt::format("{}", fmt::join(filters, ","))});
    list.add(
        encoderArguments(settings.codec, plan.qualityValue, SpeedLevel::normal, video, settings.container));
    list.clearStaleTags("v:0");
}

void addAudio(List &list, const Plan &plan)
{
    int output = 0;
    for (const AudioDecision *decision : plan.keptAudio()) {
        if (decision->action == StreamAction::convert) {
            list.add({fmt::format("-c:a:{}", output), "eac3", fmt::format("-b:a:{}", output),
                      fmt::format("{}k", decision->targetBitrate / 1000)});
            if (decision->targetChannels)
                list.add({fmt::format("-ac:a:{}", output), std::to_string(*decision->targetChannels)});
            list.clearStaleTags(fmt::format("a:{}", output));
        } else {
            list.add({fmt::format("-c:a:{}", output), "copy"});
        }
        list.add({fmt::format("-disposition:a:{}", output), output == 0 ? "default" : "0"});
        ++output;
    }
}

void addSubtitles(List &list, const Plan &plan)
{
    int output = 0;
    for (const SubtitleDecision *decision : plan.keptSubtitles()) {
        list.add({fmt::format("-c:s:{}", output), decision->targetCodec.value_or("copy")});
        list.add({fmt::format("-disposition:s:{}", output), decision->stream.isForced ? "forced" : "0"});
        ++output;
    }
}

std::string escaped(string_view text, string_view special)
{
    std::string result;
    for (const char c : text) {
        if (special.find(c) != string_view::npos)
            result += '\\';
        result += c;
    }
    return result;
}

bool needsQuotes(string_view argument)
{
    return argument.find_first_of(" '\"()&;[]") != string_view::npos;
}

} // namespace

std::vector<std::string> arguments(const MediaInfo &info, const Plan &plan,
                                   const ConversionSettings &settings, const std::filesystem::path &output,
                                   const std::optional<Segment> &segment, Streams streams)
{
    const bool withOthers = streams == Streams::all;
    List list;
    list.add(prologue);
    if (segment)
        list.add({"-ss", format(segment->start), "-t", format(segment->length)});
    list.add({"-i", info.url.native()});
    if (info.video && plan.hasVideo())
        list.map(info.video->index);
    if (withOthers) {
        for (const AudioDecision *decision : plan.keptAudio())
            list.map(decision->stream.index);
        for (const SubtitleDecision *decision : plan.keptSubtitles())
            list.map(decision->stream.index);
        for (const int index : plan.attachments)
            list.map(index);
    } else {
        list.add(noOtherStreams);
    }
    list.add({"-map_metadata", "0", "-map_chapters", segment || !withOthers ? "-1" : "0"});
    if (info.video)
        addVideo(list, *info.video, plan, settings);
    if (withOthers) {
        addAudio(list, plan);
        addSubtitles(list, plan);
        if (!plan.attachments.empty())
            list.add(attachments);
    }
    if (withOthers && info.cut != Cut::none)
        list.add(withoutLead);
    list.add(muxingQueue);
    if (settings.container == OutputContainer::mkv)
        list.add(matroska);
    else
        list.add(mp4);
    list.add({output.native()});
    return list.take();
}

std::vector<std::string> encoderArguments(VideoCodecChoice codec, int qualityValue, SpeedLevel speed,
                                          const VideoStreamInfo &source, OutputContainer container)
{
    List list;
    const std::string crf = std::to_string(qualityValue);
    switch (codec) {
    case VideoCodecChoice::hevcX265: {
        std::string parameters = "log-level=error:aq-mode=3";
        if (source.isHDR())
            parameters += ":hdr10-opt=1:repeat-headers=1";
        list.add({"-c:v", encoder(codec), "-preset", preset(codec, speed), "-crf", crf, "-pix_fmt",
                  pixelFormat, "-profile:v", "main10", "-x265-params", parameters});
        break;
    }
    case VideoCodecChoice::av1SVT:
        list.add(
            {"-c:v", encoder(codec), "-preset", preset(codec, speed), "-crf", crf, "-pix_fmt", pixelFormat});
        break;
    case VideoCodecChoice::keepVideo:
        list.add(copyVideo);
        return list.take();
    }
    if (source.isHDR()) {
        if (source.colorPrimaries)
            list.add({"-color_primaries", *source.colorPrimaries});
        if (source.colorTransfer)
            list.add({"-color_trc", *source.colorTransfer});
        if (source.colorSpace)
            list.add({"-colorspace", *source.colorSpace});
    }
    if (container == OutputContainer::mp4 && outputCodec(codec) == "hevc")
        list.add(hevcTag);
    return list.take();
}

std::string format(double seconds)
{
    return fmt::format("{:.3f}", seconds);
}

std::string filterValue(const std::filesystem::path &path)
{
    return escaped(escaped(path.native(), "\\':"), "\\'[],;");
}

std::string displayString(const std::string &executable, const std::vector<std::string> &arguments)
{
    std::string line = executable;
    for (const auto &argument : arguments)
        line += " " + (needsQuotes(argument) ? ShellWords::inApostrophes(argument) : argument);
    return line;
}

} // namespace kestrel::CommandBuilder
