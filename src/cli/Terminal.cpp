#include "cli/Terminal.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <sstream>

#include <fmt/format.h>

#include "platform/Cancelled.h"
#include "platform/Text.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace kestrel::Terminal {

namespace {

std::atomic<int> outputErrno = 0;

std::string styled(const char *code, std::string_view text)
{
    return hasColours() ? fmt::format("\x1b[{}m{}\x1b[0m", code, text) : std::string(text);
}

} // namespace

void openStreams()
{
    for (int descriptor = ::open("/dev/null", O_RDWR); descriptor >= 0;
         descriptor = ::open("/dev/null", O_RDWR))
        if (descriptor > STDERR_FILENO) {
            ::close(descriptor);
            return;
        }
}

bool isOutputTerminal()
{
    return ::isatty(STDOUT_FILENO) == 1;
}

bool isErrorTerminal()
{
    return ::isatty(STDERR_FILENO) == 1;
}

int width()
{
    winsize size{};
    if (!isOutputTerminal())
        return std::numeric_limits<int>::max();
    return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

int height()
{
    winsize size{};
    if (!isOutputTerminal())
        return std::numeric_limits<int>::max();
    return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0 ? size.ws_row : 24;
}

bool hasColours()
{
    const char *off = std::getenv("NO_COLOR");
    return isOutputTerminal() && (off == nullptr || *off == '\0');
}

std::string shown(std::string_view text)
{
    const std::string repaired = Text::repaired(text);
    std::string result;
    for (std::size_t i = 0; i < repaired.size(); ++i) {
        const auto byte = static_cast<unsigned char>(repaired[i]);
        const bool isC1 = byte == 0xC2 && i + 1 < repaired.size() &&
                          static_cast<unsigned char>(repaired[i + 1]) < 0xA0; // U+0080 … U+009F
        if (byte >= 0x20 && byte != 0x7F && !isC1) {
            result += repaired[i];
            continue;
        }
        result += "\uFFFD";
        i += isC1 ? 1 : 0;
    }
    return result;
}

std::string line(std::string_view text)
{
    return shown(Text::oneLine(text));
}

std::string bold(std::string_view text)
{
    return styled("1", text);
}
std::string dim(std::string_view text)
{
    return styled("2", text);
}
std::string red(std::string_view text)
{
    return styled("31", text);
}
std::string green(std::string_view text)
{
    return styled("32", text);
}

std::vector<std::string> readLines(const std::stop_token &stop)
{
    std::string text;
    std::array<char, 4096> buffer{};
    constexpr int glance = 100; // milliseconds
    for (;;) {
        throwIfStopped(stop);
        pollfd input{STDIN_FILENO, POLLIN, 0};
        if (::poll(&input, 1, glance) <= 0)
            continue;
        const ssize_t count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
        if (count <= 0)
            break;
        text.append(buffer.data(), static_cast<std::size_t>(count));
    }
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        if (line.ends_with('\r'))
            line.pop_back();
        if (!line.empty())
            lines.push_back(line);
    }
    return lines;
}

void write(std::string_view text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() && outputErrno == 0)
        outputErrno = errno;
}

void writeError(std::string_view text)
{
    std::fwrite(text.data(), 1, text.size(), stderr);
}

int flush()
{
    if (std::fflush(stdout) != 0 && outputErrno == 0)
        outputErrno = errno;
    return outputErrno;
}

void complain(std::string_view sentence)
{
    writeError(fmt::format("{}\n", sentence));
}

} // namespace kestrel::Terminal
