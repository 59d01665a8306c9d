#pragma once

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kestrel {

struct EncodeProgress {
    double seconds = 0; // position in the output, media time
    double fps = 0;     // frames encoded per second
    double speed = 0;   // multiple of real time

    bool operator==(const EncodeProgress &) const = default;
};

// Reads the key=value stream of ffmpeg's -progress option, in pieces of any size.
class ProgressParser {
public:
    // Returns the state after the last whole block in these bytes; absent when they complete none.
    std::optional<EncodeProgress> consume(std::string_view bytes);

private:
    EncodeProgress current() const;

    std::string m_rest; // a line that has not ended yet
    std::map<std::string, std::string, std::less<>> m_fields;
};

// Keeps the last lines that ffmpeg wrote to standard error.
class ErrorTail {
public:
    // `inputs` are the files that ffmpeg reads, as they stand in its arguments.
    explicit ErrorTail(std::vector<std::string> inputs = {}) : m_inputs(std::move(inputs)) {}

    void consume(std::string_view bytes);
    // Returns the last twelve lines, including one that has not ended.
    std::string text() const;
    // Returns whether ffmpeg lost a part of the film and reported it only in words: it treats a failed read
    // as the end of the input, and stops when the disk is full. Both times it may exit with status 0 and
    // leave a file that looks whole by its header.
    bool tellsOfLoss() const { return m_hasLost; }
    // Returns whether a packet of the source states no time, although the container that is written needs
    // one.
    bool tellsOfUnknownTime() const { return m_lacksTimes; }

private:
    void keep(std::string_view line);

    std::vector<std::string> m_inputs;
    std::string m_rest;
    std::deque<std::string> m_lines; // oldest first
    bool m_hasLost = false;
    bool m_lacksTimes = false;
};

} // namespace kestrel
