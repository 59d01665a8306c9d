#include "encoding/ProgressParser.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <functional>

#include <fmt/ranges.h>

#include "platform/Text.h"

namespace kestrel {

namespace {

constexpr std::size_t keptLines = 60, shownLines = 12;
constexpr std::size_t longestLine = 65536; // bytes; a longer line is cut

// ffmpeg 5.1 and 7.1 use these words. A read error that 5.1 reports under the input's name is "Error during
// demuxing" in 7.1.
constexpr std::array<std::string_view, 8> lossPhrases{"Read error",
                                                      "Input/output error",
                                                      "Error during demuxing: ",
                                                      "av_interleaved_write_frame(): ",
                                                      "Error submitting a packet to the muxer: ",
                                                      "Error muxing a packet",
                                                      "Error writing trailer",
                                                      "Error closing file"};
constexpr std::string_view unknownTime = "Can't write packet with unknown timestamp";

// Where ffmpeg stops reading before the end, it prints the input and a reason. Of a name with line ends only
// the last line stands before the reason.
bool namesInput(std::string_view line, const std::string &input)
{
    const std::string name = Text::repaired(std::string_view(input).substr(input.rfind('\n') + 1));
    return line.starts_with(name + ": ");
}

// Calls `use` for every line that these bytes complete.
void forEachLine(std::string &rest, std::string_view bytes, const std::function<void(std::string_view)> &use)
{
    rest += bytes;
    std::size_t start = 0;
    for (std::size_t end = 0; (end = rest.find('\n', start)) != std::string::npos; start = end + 1)
        use(std::string_view(rest).substr(start, end - start));
    rest.erase(0, start);
    if (rest.size() > longestLine) {
        use(rest);
        rest.clear();
    }
}

double number(std::string_view text)
{
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() && std::isfinite(value) ? value : 0;
}

} // namespace

std::optional<EncodeProgress> ProgressParser::consume(std::string_view bytes)
{
    std::optional<EncodeProgress> latest;
    forEachLine(m_rest, bytes, [&](std::string_view line) {
        const std::size_t equals = line.find('=');
        if (equals == std::string_view::npos)
            return;
        const std::string_view key = line.substr(0, equals);
        m_fields.insert_or_assign(std::string(key), std::string(Text::trimmed(line.substr(equals + 1))));
        if (key == "progress")
            latest = current();
    });
    return latest;
}

EncodeProgress ProgressParser::current() const
{
    const auto field = [&](std::string_view key) {
        const auto found = m_fields.find(key);
        return found == m_fields.end() ? std::string() : found->second;
    };
    std::string speed = field("speed");
    std::erase(speed, 'x');
    return {std::max(number(field("out_time_us")) / 1e6, 0.0), number(field("fps")),
            number(Text::trimmed(speed))};
}

void ErrorTail::consume(std::string_view bytes)
{
    forEachLine(m_rest, bytes, [&](std::string_view line) { keep(line); });
}

void ErrorTail::keep(std::string_view line)
{
    const std::string repaired = Text::repaired(line);
    const std::string_view text = Text::trimmed(repaired);
    m_hasLost = m_hasLost ||
                std::any_of(lossPhrases.begin(), lossPhrases.end(),
                            [&](std::string_view phrase) { return text.find(phrase) != text.npos; }) ||
                std::any_of(m_inputs.begin(), m_inputs.end(),
                            [&](const std::string &input) { return namesInput(text, input); });
    m_lacksTimes = m_lacksTimes || text.find(unknownTime) != text.npos;
    if (!text.empty())
        m_lines.emplace_back(text);
    if (m_lines.size() > keptLines)
        m_lines.pop_front();
}

std::string ErrorTail::text() const
{
    ErrorTail complete = *this;
    complete.consume("\n");
    const auto &lines = complete.m_lines;
    const auto first = lines.end() - static_cast<std::ptrdiff_t>(std::min(lines.size(), shownLines));
    return fmt::format("{}", fmt::join(first, lines.end(), "\n"));
}

} // namespace kestrel
