#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "quality/LumaFrame.h"

namespace kestrel {

// Holds a picture and the time at which it is shown.
struct TimedFrame {
    double time = 0; // seconds
    LumaFrame luma;
};

// Reads what ffmpeg writes with "-c:v rawvideo -f nut" for one track of grey pictures of 8 to 16 bits, in
// pieces of any size. NUT is ffmpeg's own container (nut.txt among its documents): unlike a raw stream it
// carries the time of every picture, and unlike Matroska with the precision of the encoder's time base.
class NutParser {
public:
    using OnFrame = std::function<void(TimedFrame)>;

    // Thrown when the bytes are no such stream.
    class Error : public std::runtime_error {
        using std::runtime_error::runtime_error;
    };

    // Passes on every picture that these bytes complete. Throws Error; nothing more may be consumed after
    // that.
    void consume(std::string_view bytes, const OnFrame &onFrame);
    // Returns whether the stream may end here.
    bool isComplete() const { return m_hasStream && !m_isInFrame && m_skipped == 0 && m_head.empty(); }

private:
    class Cursor;

    // Says what a frame's first byte means.
    struct FrameCode {
        std::uint64_t flags = 0, sizeFactor = 0, sizeRest = 0, reserved = 0, elided = 0;
        std::int64_t ptsDelta = 0;
    };
    struct TimeBase {
        std::uint64_t numerator = 0, denominator = 0;
        double seconds() const { return static_cast<double>(numerator) / static_cast<double>(denominator); }
    };

    std::size_t readHead(std::string_view data);
    std::size_t readPacket(std::string_view data);
    std::size_t readFrameHead(std::string_view data);
    void readMainHeader(Cursor body);
    void readFrameCodes(Cursor &body);
    void readElidedHeaders(Cursor &body);
    void readStreamHeader(Cursor body);
    void readSyncpoint(Cursor body);
    std::int64_t fullTime(std::uint64_t coded) const;
    void beginFrame(std::uint64_t size, std::string_view elided);
    void take(std::string_view samples);

    std::string m_head; // the received part of an incomplete header
    bool m_isOpen = false, m_hasMain = false, m_hasStream = false;
    std::vector<TimeBase> m_timeBases;
    std::array<FrameCode, 256> m_codes;
    std::vector<std::string> m_elided; // beginnings that frames omit
    TimeBase m_timeBase;
    unsigned m_ptsBits = 0; // length of an abbreviated time
    std::int64_t m_lastTime = 0;
    int m_width = 0, m_height = 0, m_depth = 8;

    std::uint64_t m_skipped = 0; // bytes still to come of a skipped packet
    bool m_isInFrame = false;
    std::size_t m_taken = 0; // bytes received of the frame
    TimedFrame m_frame;
};

} // namespace kestrel
