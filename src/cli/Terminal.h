#pragma once

#include <string>
#include <string_view>

// What the program knows about the terminals at its standard streams.
namespace kestrel::Terminal {

bool isOutputTerminal();
bool isErrorTerminal();
// Columns of the terminal at standard output; a very large number where there is none.
int width();
bool hasColours(); // a terminal at standard output, and NO_COLOR is not set

// Text that may come from a file name, fit to be shown: broken bytes and control characters, which could
// steer the terminal, become U+FFFD.
std::string shown(std::string_view text);

std::string bold(std::string_view text);
std::string dim(std::string_view text);
std::string red(std::string_view text);
std::string green(std::string_view text);

// A sentence on standard error.
void complain(std::string_view sentence);

} // namespace kestrel::Terminal
