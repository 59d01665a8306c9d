#include "encoding/NutParser.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <optional>
#include <utility>

namespace kestrel {

static_assert(std::endian::native == std::endian::little, "samples are copied as they come");

namespace {

constexpr std::string_view fileStart{"nut/multimedia container\0", 25};
constexpr char packetStart = 'N'; // no frame has this code

constexpr std::uint64_t mainHeader = 0x4E4D7A561F5F04AD, streamHeader = 0x4E5311405BF2F9DB,
                        syncpoint = 0x4E4BE4ADEECA4569;

enum Flag : std::uint64_t {
    codedPts = 8,
    streamId = 16,
    sizeMsb = 32,
    checksum = 64,
    reserved = 128,
    sideData = 256,
    headerIndex = 1024,
    matchTime = 2048,
    codedFlags = 4096,
    invalid = 8192,
};

constexpr std::size_t piece = 512;              // bytes added at a time while a header is incomplete
constexpr std::size_t largestPacket = 64 << 10; // bytes; limit for a packet that is read
constexpr std::uint64_t smallPacket = 4096;     // bytes; a larger packet has a checksum of its header
constexpr std::size_t checksumSize = 4;
constexpr int largestSide = 32768;
constexpr std::uint64_t mostSamples = 1ULL << 26; // in a picture
constexpr std::uint64_t mostReserved = 64, mostTimeBases = 4096;
constexpr std::size_t mostElided = 128, longestElided = 256;
constexpr unsigned mostPtsBits = 30;

struct Format {
    std::string_view tag;
    int depth;
};
constexpr std::array<Format, 6> formats{{{"Y800", 8},
                                         {{"Y1\0\x09", 4}, 9},
                                         {{"Y1\0\x0a", 4}, 10},
                                         {{"Y1\0\x0c", 4}, 12},
                                         {{"Y1\0\x0e", 4}, 14},
                                         {{"Y1\0\x10", 4}, 16}}};

[[noreturn]] void bad(const char *what)
{
    throw NutParser::Error(what);
}

std::size_t bytesOf(int depth)
{
    return depth > 8 ? 2 : 1;
}

// Adds without the undefined behaviour of an overflow.
std::int64_t sum(std::int64_t a, std::int64_t b)
{
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}

} // namespace

// Reads NUT's numbers. At the end of the data it yields zeros, and hasEnded() is true.
class NutParser::Cursor {
public:
    explicit Cursor(std::string_view data) : m_data(data) {}

    bool hasEnded() const { return m_hasEnded; }
    std::size_t position() const { return m_position; }

    std::uint8_t byte()
    {
        if (m_position >= m_data.size()) {
            m_hasEnded = true;
            return 0;
        }
        return static_cast<std::uint8_t>(m_data[m_position++]);
    }
    std::uint64_t bigEndian(std::size_t size)
    {
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < size; ++i)
            value = value << 8 | byte();
        return value;
    }
    // Reads a number of seven bits a byte; all bytes but the last have the eighth bit set.
    std::uint64_t number()
    {
        std::uint64_t value = 0;
        for (;;) {
            const std::uint8_t next = byte();
            if (value >> 57 != 0)
                bad("a number is too large");
            value = value << 7 | (next & 0x7F);
            if ((next & 0x80) == 0)
                return value;
        }
    }
    std::int64_t signedNumber()
    {
        const std::uint64_t value = number() + 1;
        const auto half = static_cast<std::int64_t>(value >> 1);
        return (value & 1) != 0 ? -half : half;
    }
    std::string_view bytes(std::uint64_t size)
    {
        if (size > m_data.size() - m_position) {
            m_hasEnded = true;
            return {};
        }
        const auto result = m_data.substr(m_position, size);
        m_position += size;
        return result;
    }

private:
    std::string_view m_data;
    std::size_t m_position = 0;
    bool m_hasEnded = false;
};

void NutParser::consume(std::string_view bytes, const OnFrame &onFrame)
{
    while (!bytes.empty()) {
        if (m_skipped > 0) {
            const auto count = std::min<std::uint64_t>(m_skipped, bytes.size());
            m_skipped -= count;
            bytes.remove_prefix(count);
        } else if (m_isInFrame) {
            const std::size_t size = m_frame.luma.samples.size() * bytesOf(m_depth);
            const std::size_t count = std::min(size - m_taken, bytes.size());
            take(bytes.substr(0, count));
            bytes.remove_prefix(count);
        } else {
            const std::size_t before = m_head.size();
            m_head += bytes.substr(0, piece);
            const std::size_t used = readHead(m_head);
            if (used == 0 && m_head.size() > 2 * largestPacket)
                bad("a header is too large");
            bytes.remove_prefix(used == 0 ? m_head.size() - before : used - before);
            if (used != 0)
                m_head.clear();
        }
        if (m_isInFrame && m_taken == m_frame.luma.samples.size() * bytesOf(m_depth)) {
            m_isInFrame = false;
            onFrame(std::exchange(m_frame, {}));
        }
    }
}

// Reads one element between two pictures. Returns its size; 0 while it is incomplete.
std::size_t NutParser::readHead(std::string_view data)
{
    if (!m_isOpen) {
        if (!data.starts_with(fileStart.substr(0, data.size())))
            bad("this is no NUT stream");
        m_isOpen = data.size() >= fileStart.size();
        return m_isOpen ? fileStart.size() : 0;
    }
    return data.front() == packetStart ? readPacket(data) : readFrameHead(data);
}

std::size_t NutParser::readPacket(std::string_view data)
{
    Cursor cursor(data);
    const std::uint64_t kind = cursor.bigEndian(8), size = cursor.number();
    if (size > smallPacket)
        cursor.bigEndian(checksumSize);
    if (cursor.hasEnded())
        return 0;
    if (kind != mainHeader && kind != streamHeader && kind != syncpoint) {
        m_skipped = size;
        return cursor.position();
    }
    if (size > largestPacket || size < checksumSize)
        bad("a header has an impossible size");
    const auto content = cursor.bytes(size);
    if (cursor.hasEnded())
        return 0;
    const Cursor body(content.substr(0, content.size() - checksumSize));
    if (kind == mainHeader)
        readMainHeader(body);
    else if (kind == streamHeader)
        readStreamHeader(body);
    else
        readSyncpoint(body);
    return cursor.position();
}

void NutParser::readMainHeader(Cursor body)
{
    constexpr std::uint64_t onlyVersion = 3;
    if (body.number() != onlyVersion || body.number() != 1)
        bad("another version, or not one track");
    body.number(); // the largest distance between two syncpoints
    const std::uint64_t count = body.number();
    if (count == 0 || count > mostTimeBases)
        bad("an impossible number of time bases");
    m_timeBases.clear();
    for (std::uint64_t i = 0; i < count && !body.hasEnded(); ++i) {
        const TimeBase base{body.number(), body.number()};
        if (base.numerator == 0 || base.denominator == 0)
            bad("an impossible time base");
        m_timeBases.push_back(base);
    }
    readFrameCodes(body);
    readElidedHeaders(body);
    if (body.hasEnded())
        bad("a header is too short");
    m_hasMain = true;
}

void NutParser::readFrameCodes(Cursor &body)
{
    FrameCode code;
    code.sizeFactor = 1;
    std::size_t next = 0;
    const auto invalidate = [&] {
        if (next == static_cast<std::size_t>(packetStart))
            m_codes[next++].flags = invalid;
    };
    while (next < m_codes.size()) {
        code.flags = body.number();
        const std::uint64_t fields = body.number();
        if (fields > 0)
            code.ptsDelta = body.signedNumber();
        if (fields > 1)
            code.sizeFactor = body.number();
        if (fields > 2)
            body.number(); // the track: there is only one
        code.sizeRest = fields > 3 ? body.number() : 0;
        code.reserved = fields > 4 ? body.number() : 0;
        const std::uint64_t count = fields > 5 ? body.number() : code.sizeFactor - code.sizeRest;
        if (fields > 6)
            body.signedNumber(); // the time at which a damaged stream would match again
        if (fields > 7)
            code.elided = body.number();
        for (std::uint64_t i = 8; i < fields && !body.hasEnded(); ++i)
            body.number();
        if (body.hasEnded() || count == 0 || count > m_codes.size() - next)
            bad("the table of frame codes is broken");
        for (std::uint64_t i = 0; i < count; ++i) {
            invalidate();
            if (next == m_codes.size())
                break;
            m_codes[next] = code;
            m_codes[next++].sizeRest += i;
        }
        invalidate();
    }
}

void NutParser::readElidedHeaders(Cursor &body)
{
    const std::uint64_t count = body.number(); // does not count the empty header, which is the first
    if (count > mostElided)
        bad("too many elided headers");
    m_elided.assign(1, {});
    for (std::uint64_t i = 0; i < count && !body.hasEnded(); ++i) {
        const std::uint64_t size = body.number();
        if (size > longestElided)
            bad("an elided header is too long");
        m_elided.emplace_back(body.bytes(size));
    }
}

void NutParser::readStreamHeader(Cursor body)
{
    constexpr std::uint64_t video = 0;
    if (!m_hasMain || body.number() != 0 || body.number() != video)
        bad("this is not one video track");
    const auto tag = body.bytes(body.number());
    const auto format = std::find_if(formats.begin(), formats.end(),
                                     [&](const Format &candidate) { return candidate.tag == tag; });
    if (format == formats.end())
        bad("these are no grey pictures");
    const std::uint64_t base = body.number(), ptsBits = body.number();
    if (base >= m_timeBases.size() || ptsBits > mostPtsBits)
        bad("impossible times");
    body.number(); // the largest distance between two times
    body.number(); // the decoder's delay
    body.number(); // flags
    body.bytes(body.number());
    const std::uint64_t width = body.number(), height = body.number();
    if (body.hasEnded() || width == 0 || height == 0 || width > largestSide || height > largestSide ||
        width * height > mostSamples)
        bad("an impossible size of the picture");
    m_depth = format->depth;
    m_timeBase = m_timeBases[base];
    m_ptsBits = static_cast<unsigned>(ptsBits);
    m_width = static_cast<int>(width);
    m_height = static_cast<int>(height);
    m_hasStream = true;
}

void NutParser::readSyncpoint(Cursor body)
{
    if (!m_hasStream)
        bad("a syncpoint before the track");
    const std::uint64_t coded = body.number();
    if (body.hasEnded())
        bad("a syncpoint is too short");
    const TimeBase &base = m_timeBases[coded % m_timeBases.size()];
    const std::uint64_t ticks = coded / m_timeBases.size();
    const double time = std::floor(static_cast<double>(ticks) * base.seconds() / m_timeBase.seconds());
    constexpr double latest = 4e18;
    if (!(time < latest))
        bad("an impossible time");
    const bool isSame = base.numerator == m_timeBase.numerator && base.denominator == m_timeBase.denominator;
    m_lastTime =
        isSame ? static_cast<std::int64_t>(coded / m_timeBases.size()) : static_cast<std::int64_t>(time);
}

std::size_t NutParser::readFrameHead(std::string_view data)
{
    if (!m_hasStream)
        bad("a frame before the track");
    Cursor cursor(data);
    FrameCode code = m_codes[cursor.byte()];
    if ((code.flags & invalid) != 0)
        bad("an unknown frame");
    if ((code.flags & codedFlags) != 0)
        code.flags ^= cursor.number();
    if ((code.flags & streamId) != 0 && cursor.number() != 0)
        bad("a frame of another track");
    std::optional<std::uint64_t> time;
    if ((code.flags & codedPts) != 0)
        time = cursor.number();
    std::uint64_t size = code.sizeRest;
    if ((code.flags & sizeMsb) != 0)
        size += code.sizeFactor * cursor.number();
    if ((code.flags & matchTime) != 0)
        cursor.signedNumber();
    if ((code.flags & headerIndex) != 0)
        code.elided = cursor.number();
    if ((code.flags & reserved) != 0)
        code.reserved = cursor.number();
    if (code.reserved > mostReserved)
        bad("too many reserved fields");
    for (std::uint64_t i = 0; i < code.reserved; ++i)
        cursor.number();
    if ((code.flags & checksum) != 0)
        cursor.bigEndian(checksumSize);
    if (cursor.hasEnded())
        return 0;
    if ((code.flags & sideData) != 0 || code.elided >= m_elided.size())
        bad("a frame with something unknown");
    m_lastTime = time ? fullTime(*time) : sum(m_lastTime, code.ptsDelta);
    beginFrame(size, m_elided[code.elided]);
    return cursor.position();
}

// Returns the full time of a coded one: where only its lower bits are coded, it lies near the last one.
std::int64_t NutParser::fullTime(std::uint64_t coded) const
{
    const std::uint64_t range = 1ULL << m_ptsBits;
    if (coded >= range)
        return static_cast<std::int64_t>(coded - range);
    const std::uint64_t mask = range - 1;
    const std::uint64_t lowest = static_cast<std::uint64_t>(m_lastTime) - mask / 2;
    return static_cast<std::int64_t>(((coded - lowest) & mask) + lowest);
}

void NutParser::beginFrame(std::uint64_t size, std::string_view elided)
{
    const std::size_t samples = static_cast<std::size_t>(m_width) * static_cast<std::size_t>(m_height);
    if (size != samples * bytesOf(m_depth) || elided.size() >= size)
        bad("a frame that is no whole picture");
    m_frame.time = static_cast<double>(m_lastTime) * m_timeBase.seconds();
    m_frame.luma.width = m_width;
    m_frame.luma.height = m_height;
    m_frame.luma.depth = m_depth;
    m_frame.luma.samples.resize(samples);
    m_taken = 0;
    m_isInFrame = true;
    take(elided);
}

void NutParser::take(std::string_view samples)
{
    auto &target = m_frame.luma.samples;
    if (bytesOf(m_depth) == 1)
        std::transform(samples.begin(), samples.end(), target.begin() + static_cast<std::ptrdiff_t>(m_taken),
                       [](char sample) { return static_cast<unsigned char>(sample); });
    else if (!samples.empty())
        std::memcpy(reinterpret_cast<char *>(target.data()) + m_taken, samples.data(), samples.size());
    m_taken += samples.size();
}

} // namespace kestrel
