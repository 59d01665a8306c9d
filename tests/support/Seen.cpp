#include "support/Seen.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "media/ProcessRunner.h"

namespace kestrel::test {

namespace {

constexpr double brightEnough = 120, loudEnough = -30; // brightness; decibels

std::string run(const std::string &program, std::vector<std::string> arguments)
{
    return ProcessRunner::run("/usr/bin/" + program, arguments, {}).standardOutput;
}

// The values of each frame that a filter graph gives, "time,value" a line.
std::vector<std::pair<double, double>> perFrame(const std::string &graph, const std::string &tag)
{
    std::vector<std::pair<double, double>> values;
    std::istringstream lines(run("ffprobe", {"-v", "error", "-f", "lavfi", "-i", graph, "-show_entries",
                                             "frame=pts_time:frame_tags=" + tag, "-of", "csv=p=0"}));
    for (std::string line; std::getline(lines, line);) {
        const std::size_t comma = line.find(',');
        if (comma != std::string::npos)
            values.emplace_back(std::stod(line), std::stod(line.substr(comma + 1))); // "-inf" for silence
    }
    return values;
}

// Escaped for the option and for the graph; the tests' own paths hold nothing else.
std::string film(const fs::path &file)
{
    return "'" + file.native() + "'";
}

} // namespace

Seen look(const fs::path &file)
{
    Seen seen;
    const auto pictures = perFrame("movie=" + film(file) + ",signalstats", "lavfi.signalstats.YAVG");
    seen.pictures = static_cast<int>(pictures.size());
    if (!pictures.empty()) {
        seen.first = pictures.front().first;
        seen.last = pictures.back().first;
    }
    for (const auto &[time, brightness] : pictures)
        if (brightness > brightEnough && !seen.flash)
            seen.flash = time;
    for (const auto &[time, level] :
         perFrame("amovie=" + film(file) + ",astats=metadata=1:reset=1", "lavfi.astats.Overall.RMS_level"))
        if (level > loudEnough && !seen.beep)
            seen.beep = time;

    // The program turns the picture for a raw output as a player does.
    const std::string raw = run("ffmpeg", {"-nostdin", "-v", "error", "-i", file.native(), "-frames:v", "1",
                                           "-vf", "scale=2:2:flags=area,format=gray", "-f", "rawvideo", "-"});
    for (std::size_t i = 0; i < std::min<std::size_t>(raw.size(), 4); ++i)
        seen.corners[i] = static_cast<unsigned char>(raw[i]);
    std::istringstream header(run("ffmpeg", {"-nostdin", "-v", "error", "-i", file.native(), "-frames:v", "1",
                                             "-vf", "scale=iw*sar:ih", "-f", "yuv4mpegpipe", "-pix_fmt",
                                             "yuv420p", "-strict", "-1", "-"}));
    std::string format; // "YUV4MPEG2 W320 H240 …"
    char widthMark = 0, heightMark = 0;
    double width = 0, height = 0;
    if (header >> format >> widthMark >> width >> heightMark >> height)
        seen.aspect = width / height;
    return seen;
}

bool isSamePicture(const Seen &one, const Seen &other)
{
    constexpr int tolerance = 12;
    return std::equal(one.corners.begin(), one.corners.end(), other.corners.begin(),
                      [](int a, int b) { return std::abs(a - b) <= tolerance; });
}

namespace Mp4 {

namespace {

class File {
public:
    explicit File(fs::path path) : m_path(std::move(path)), m_bytes(readFile(m_path)) {}

    struct Box {
        std::size_t from = 0, to = 0; // of the content
    };

    std::vector<Box> children(const Box &parent, const std::string &name) const
    {
        std::vector<Box> found;
        for (std::size_t at = parent.from; at + 8 <= parent.to;) {
            const std::size_t size = number(at), end = at + (size == 0 ? parent.to - at : size);
            if (size == 1 || end > parent.to)
                throw std::runtime_error("a box that this reader does not know");
            if (m_bytes.compare(at + 4, 4, name) == 0)
                found.push_back({at + 8, end});
            at = end;
        }
        return found;
    }
    Box child(const Box &parent, const std::string &name) const { return children(parent, name).at(0); }
    Box whole() const { return {0, m_bytes.size()}; }

    // The track of this kind: 'v' or 's'.
    Box track(char kind) const
    {
        for (const Box &track : children(child(whole(), "moov"), "trak"))
            if (m_bytes[child(child(track, "mdia"), "hdlr").from + 8] == kind)
                return track;
        throw std::runtime_error("no such track");
    }

    std::uint32_t number(std::size_t at) const
    {
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < 4; ++i)
            value = value << 8U | static_cast<unsigned char>(m_bytes.at(at + i));
        return value;
    }
    void put(std::size_t at, std::uint32_t value)
    {
        for (std::size_t i = 0; i < 4; ++i)
            m_bytes.at(at + i) = static_cast<char>(value >> (24 - 8 * i) & 0xFFU);
    }
    void save() const { std::ofstream(m_path, std::ios::binary) << m_bytes; }

private:
    fs::path m_path;
    std::string m_bytes;
};

} // namespace

void turn(const fs::path &film, int quarters, bool isMirrored)
{
    File file(film);
    const std::size_t matrix = file.child(file.track('v'), "tkhd").from + 40;
    constexpr std::array<std::array<int, 2>, 4> cosineAndSine{{{1, 0}, {0, 1}, {-1, 0}, {0, -1}}};
    const auto [cosine, sine] = cosineAndSine.at(static_cast<std::size_t>(quarters));
    const int flip = isMirrored ? -1 : 1;
    const auto fixed = [](int value) { return static_cast<std::uint32_t>(value) << 16U; };
    file.put(matrix, fixed(cosine));
    file.put(matrix + 4, fixed(sine));
    file.put(matrix + 12, fixed(-sine * flip));
    file.put(matrix + 16, fixed(cosine * flip));
    file.save();
}

void edit(const fs::path &film, char kind, const std::vector<Edit> &edits)
{
    File file(film);
    const File::Box movie = file.child(file.whole(), "moov");
    const double movieScale = file.number(file.child(movie, "mvhd").from + 12);
    const File::Box track = file.track(kind);
    const double mediaScale = file.number(file.child(file.child(track, "mdia"), "mdhd").from + 12);
    const File::Box list = file.child(file.child(track, "edts"), "elst");
    constexpr std::size_t header = 8, entry = 12;
    if (list.to - list.from < header + entry * edits.size())
        throw std::runtime_error("the edit list has no room for so many entries");
    file.put(list.from + 4, static_cast<std::uint32_t>(edits.size()));
    for (std::size_t i = 0; i < edits.size(); ++i) {
        const std::size_t at = list.from + header + i * entry;
        file.put(at, static_cast<std::uint32_t>(std::lround(edits[i].length * movieScale)));
        file.put(at + 4, edits[i].start
                             ? static_cast<std::uint32_t>(std::lround(*edits[i].start * mediaScale))
                             : 0xFFFFFFFFU);
        file.put(at + 8, 0x00010000U);
    }
    file.save();
}

} // namespace Mp4

} // namespace kestrel::test
