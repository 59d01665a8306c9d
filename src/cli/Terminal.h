#pragma once

#include <stop_token>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

// Provides the standard streams, and the properties of the terminals at them.
namespace kestrel::Terminal {

// Opens those that the program was started without: otherwise the next file that it opens would get the
// number of one, and the program's texts.
void openStreams();

bool isOutputTerminal();
bool isErrorTerminal();
// Returns the columns of the terminal at standard output; a very large number where there is none.
int width();
int height();      // rows, likewise
bool hasColours(); // whether standard output is a terminal and NO_COLOR is not set

// Returns text that may come from a file name in displayable form: broken bytes and control characters, which
// could control the terminal, become U+FFFD.
std::string shown(std::string_view text);
// Likewise for sentences and a program's output, in which line ends become blanks.
std::string line(std::string_view text);

std::string bold(std::string_view text);
std::string dim(std::string_view text);
std::string red(std::string_view text);
std::string green(std::string_view text);

// Returns the lines on standard input; blocks until it ends. Throws Cancelled.
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
// Writes out everything that is buffered; returns the errno of the first failure on standard output, 0 if
// there was none.
int flush();

// Writes a sentence to standard error.
void complain(std::string_view sentence);

} // namespace kestrel::Terminal
