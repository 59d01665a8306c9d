#include "media/EditLists.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <exception>
#include <fstream>
#include <functional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace kestrel::EditLists {

namespace {

constexpr std::uint32_t mostEntries = 4096; // in an edit list; the rest of a longer one is not read
constexpr std::uint32_t startSamples = 32;  // number of samples among which the first picture is searched for
constexpr int mostBoxes = 20'000;           // in the whole file
constexpr double longestSoundDelay = 0.1; // seconds that a sound decoder may need to begin, or pad at the end
constexpr double pictureTolerance = 0.75; // frames
constexpr double pictureEndTolerance = 1.5; // frames
constexpr double timeResolution = 0.002;    // seconds; lengths are mostly counted in milliseconds

// Bounds the part of the file that holds a box's content.
struct Range {
    std::uint64_t from = 0, to = 0; // bytes
};

// Reads numbers of an open file, big-endian; a read beyond the end makes isGood() false and gives 0.
class Reader {
public:
    explicit Reader(const std::filesystem::path &file) : m_stream(file, std::ios::binary | std::ios::ate)
    {
        if (m_stream)
            m_size = static_cast<std::uint64_t>(m_stream.tellg());
    }

    std::uint64_t size() const { return m_size; }
    bool isGood() const { return m_stream.good(); }
    void seek(std::uint64_t position) { m_stream.seekg(static_cast<std::streamoff>(position)); }
    std::uint64_t unsignedOf(int bytes)
    {
        std::array<unsigned char, 8> buffer{};
        if (!m_stream.read(reinterpret_cast<char *>(buffer.data()), bytes)) // NOLINT: a byte is a byte
            return 0;
        std::uint64_t value = 0;
        for (int i = 0; i < bytes; ++i)
            value = value << 8U | buffer[static_cast<std::size_t>(i)];
        return value;
    }
    std::uint32_t u32() { return static_cast<std::uint32_t>(unsignedOf(4)); }
    std::int32_t i32() { return static_cast<std::int32_t>(u32()); }
    std::int16_t i16() { return static_cast<std::int16_t>(unsignedOf(2)); }
    void skip(std::uint64_t bytes) { m_stream.seekg(static_cast<std::streamoff>(bytes), std::ios::cur); }
    std::string name()
    {
        std::string text(4, '\0');
        m_stream.read(text.data(), 4);
        return text;
    }

private:
    std::ifstream m_stream;
    std::uint64_t m_size = 0;
};

class Movie {
public:
    explicit Movie(const std::filesystem::path &file) : m_reader(file) {}

    std::vector<TrackEdits> tracks()
    {
        std::vector<TrackEdits> tracks;
        const auto movie = child({0, m_reader.size()}, "moov");
        const auto header = movie ? child(*movie, "mvhd") : std::nullopt;
        if (!header)
            return tracks;
        m_reader.seek(header->from);
        m_reader.skip(isLong() ? 16 : 8);
        m_timescale = m_reader.u32();
        if (m_timescale == 0)
            return tracks;
        forEach(*movie, [&](std::string_view name, const Range &content) {
            if (name == "trak")
                if (auto edits = track(content))
                    tracks.push_back(std::move(*edits));
            return true;
        });
        return tracks;
    }

private:
    using Visit = std::function<bool(std::string_view name, const Range &content)>; // returns false to stop

    void forEach(Range range, const Visit &visit)
    {
        constexpr std::uint64_t shortHeader = 8, longHeader = 16;
        while (range.from + shortHeader <= range.to && ++m_boxes < mostBoxes) {
            m_reader.seek(range.from);
            std::uint64_t size = m_reader.u32(), header = shortHeader;
            const std::string name = m_reader.name();
            if (size == 1) {
                size = m_reader.unsignedOf(8);
                header = longHeader;
            } else if (size == 0) {
                size = range.to - range.from;
            }
            if (!m_reader.isGood() || size < header || size > range.to - range.from)
                return;
            if (!visit(name, {range.from + header, range.from + size}))
                return;
            range.from += size;
        }
    }

    std::optional<Range> child(const Range &parent, std::string_view wanted)
    {
        std::optional<Range> found;
        forEach(parent, [&](std::string_view name, const Range &content) {
            if (name == wanted)
                found = content;
            return !found;
        });
        return found;
    }

    std::optional<Range> descendant(Range range, std::initializer_list<std::string_view> path)
    {
        for (const std::string_view name : path) {
            const auto next = child(range, name);
            if (!next)
                return std::nullopt;
            range = *next;
        }
        return range;
    }

    // Reads the version and flags that many boxes begin with and returns whether times have 64 bits (version
    // 1).
    bool isLong()
    {
        const bool isVersionOne = m_reader.unsignedOf(1) == 1;
        m_reader.skip(3);
        return isVersionOne;
    }

    std::optional<TrackEdits> track(const Range &track)
    {
        const auto list = descendant(track, {"edts", "elst"});
        const auto media = child(track, "mdia");
        const auto handler = media ? child(*media, "hdlr") : std::nullopt;
        const auto header = media ? child(*media, "mdhd") : std::nullopt;
        if (!list || !handler || !header)
            return std::nullopt;
        m_reader.seek(handler->from + 8);
        const std::string kind = m_reader.name();
        if (kind != "vide" && kind != "soun")
            return std::nullopt;

        m_reader.seek(header->from);
        const bool hasLongTimes = isLong();
        m_reader.skip(hasLongTimes ? 16 : 8);
        const double timescale = m_reader.u32();
        const auto duration = static_cast<double>(m_reader.unsignedOf(hasLongTimes ? 8 : 4));
        if (!(timescale > 0))
            return std::nullopt;

        TrackEdits edits;
        edits.kind = kind == "vide" ? TrackEdits::Kind::picture : TrackEdits::Kind::sound;
        if (edits.kind == TrackEdits::Kind::picture)
            addPictureTimes(edits, *media, duration, timescale);
        edits.end = edits.begin + duration / timescale;
        addStretches(edits, *list, timescale);
        return m_reader.isGood() && !edits.stretches.empty() ? std::optional(edits) : std::nullopt;
    }

    void addPictureTimes(TrackEdits &edits, const Range &media, double duration, double timescale)
    {
        const auto table = descendant(media, {"minf", "stbl"});
        const auto sizes = table ? child(*table, "stsz") : std::nullopt;
        if (!sizes)
            return;
        m_reader.seek(sizes->from + 8);
        const double samples = m_reader.u32();
        edits.frame = samples > 0 ? duration / timescale / samples : 0;
        const auto steps = firstEntries(child(*table, "stts"));
        const auto offsets = firstEntries(child(*table, "ctts"));
        if (offsets.empty())
            return;
        double decoded = 0, earliest = offsets.front();
        for (std::size_t i = 0; i < offsets.size(); ++i) {
            earliest = std::min(earliest, decoded + offsets[i]);
            decoded += i < steps.size() ? steps[i] : edits.frame * timescale;
        }
        edits.begin = earliest / timescale;
    }

    // Returns the values of the first samples in a table of (count, value) pairs.
    std::vector<std::int32_t> firstEntries(const std::optional<Range> &table)
    {
        std::vector<std::int32_t> values;
        if (!table)
            return values;
        m_reader.seek(table->from + 4);
        const std::uint32_t entries = m_reader.u32();
        for (std::uint32_t i = 0; i < entries && values.size() < startSamples && m_reader.isGood(); ++i) {
            const std::uint32_t count = m_reader.u32();
            const std::int32_t value = m_reader.i32();
            values.insert(values.end(), std::min<std::size_t>(count, startSamples - values.size()), value);
        }
        return values;
    }

    void addStretches(TrackEdits &edits, const Range &list, double timescale)
    {
        m_reader.seek(list.from);
        const bool hasLongTimes = isLong();
        const std::uint32_t entries = std::min(m_reader.u32(), mostEntries);
        for (std::uint32_t i = 0; i < entries && m_reader.isGood(); ++i) {
            const auto length = static_cast<double>(m_reader.unsignedOf(hasLongTimes ? 8 : 4));
            const std::int64_t start = hasLongTimes ? static_cast<std::int64_t>(m_reader.unsignedOf(8))
                                                    : static_cast<std::int64_t>(m_reader.i32());
            const double rate = m_reader.i16();
            m_reader.skip(2); // the fraction, which is always 0
            TrackEdits::Stretch stretch{std::nullopt, length / m_timescale, rate};
            if (start >= 0)
                stretch.start = static_cast<double>(start) / timescale;
            edits.stretches.push_back(stretch);
        }
    }

    Reader m_reader;
    double m_timescale = 0; // units per second, of the movie
    int m_boxes = 0;        // examined so far
};

Cut judge(const TrackEdits &track)
{
    const auto isGap = [](const TrackEdits::Stretch &stretch) { return !stretch.start; };
    // A gap in front only lets the track begin later.
    const auto first = std::find_if_not(track.stretches.begin(), track.stretches.end(), isGap);
    if (track.stretches.end() - first != 1 || first->rate != 1)
        return Cut::rearranged;

    const bool isPicture = track.kind == TrackEdits::Kind::picture;
    const double early = *first->start - track.begin;
    const double late = first->length > 0 ? track.end - (*first->start + first->length) : 0;
    const double earlyLimit = isPicture ? pictureTolerance * track.frame : longestSoundDelay;
    const double lateLimit = isPicture ? pictureEndTolerance * track.frame : longestSoundDelay;
    if (early <= earlyLimit + timeResolution && late <= lateLimit + timeResolution)
        return Cut::none;
    return isPicture ? Cut::picture : Cut::sound;
}

} // namespace

std::vector<TrackEdits> read(const std::filesystem::path &file)
{
    return Movie(file).tracks();
}

Cut judge(const std::vector<TrackEdits> &tracks)
{
    Cut worst = Cut::none;
    for (const auto &track : tracks)
        worst = std::max(worst, judge(track));
    return worst;
}

nlohmann::json toJson(const std::vector<TrackEdits> &tracks)
{
    nlohmann::json list = nlohmann::json::array();
    for (const auto &track : tracks) {
        nlohmann::json stretches = nlohmann::json::array();
        for (const auto &stretch : track.stretches)
            stretches.push_back({stretch.start ? nlohmann::json(*stretch.start) : nlohmann::json(),
                                 stretch.length, stretch.rate});
        list.push_back({{"isPicture", track.kind == TrackEdits::Kind::picture},
                        {"begin", track.begin},
                        {"end", track.end},
                        {"frame", track.frame},
                        {"stretches", stretches}});
    }
    return list;
}

std::vector<TrackEdits> fromJson(const nlohmann::json &list)
{
    std::vector<TrackEdits> tracks;
    try {
        for (const auto &entry : list) {
            TrackEdits track;
            track.kind =
                entry.at("isPicture").get<bool>() ? TrackEdits::Kind::picture : TrackEdits::Kind::sound;
            track.begin = entry.at("begin").get<double>();
            track.end = entry.at("end").get<double>();
            track.frame = entry.at("frame").get<double>();
            for (const auto &stretch : entry.at("stretches"))
                track.stretches.push_back(
                    {stretch.at(0).is_null() ? std::nullopt : std::optional(stretch.at(0).get<double>()),
                     stretch.at(1).get<double>(), stretch.at(2).get<double>()});
            tracks.push_back(std::move(track));
        }
    } catch (const std::exception &) { // NOLINT(bugprone-empty-catch): what was understood is kept
    }
    return tracks;
}

} // namespace kestrel::EditLists
