#pragma once

#include <stop_token>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

// The standard streams, and what the program knows about the terminals at them.
namespace kestrel::Terminal {

// Opens those that the program was started without: the next file that it opens would get the number of one,
// and the program's texts.
void openStreams();

bool isOutputTerminal();
bool isErrorTerminal();
// Columns of the terminal at standard output; a very large number where there is none.
int width();
int height();      // rows, likewise
bool hasColours(); // a terminal at standard output, and NO_COLOR is not set

// Text that may come from a file name, fit to be shown: broken bytes and control characters, which could
// steer the terminal, become U+FFFD.
std::string shown(std::string_view text);
// The same for sentences and what a program wrote, whose line ends become blanks.
std::string line(std::string_view text);

std::string bold(std::string_view text);
std::string dim(std::string_view text);
std::string red(std::string_view text);
std::string green(std::string_view text);

// The lines on standard input; blocks until it ends. Throws Cancelled.
std::vector<std::string> readLines(const std::stop_token &stop);

// Writing never throws: a reader that closes its end, or a full disk behind a redirection, must not end a
// conversion. flush() returns the first failure.
void write(std::string_view text);
void writeError(std::string_view text);
template <typename... Values>
void print(fmt::format_string<Values...> format, Values &&...values)
{
    write(fmt::format(format, std::forward<Values>(values)...));
}
// Hands everything on to whoever reads; returns the errno of the first failure on standard output, 0 if
// there was none.
int flush();

// A sentence on standard error.
void complain(std::string_view sentence);

} // namespace kestrel::Terminal
