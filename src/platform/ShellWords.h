#pragma once

#include <string>
#include <string_view>

// Words for the shells of today (bash, zsh, ksh). Each stands for exactly its bytes.
namespace kestrel::ShellWords {

// In apostrophes, whatever it holds.
std::string inApostrophes(std::string_view word);
// In apostrophes; one with bytes that could not be seen, or that would change how the rest is seen, with
// these as octal numbers.
std::string quoted(std::string_view word);
// The same, without apostrophes where the shell needs none.
std::string plain(std::string_view word);

} // namespace kestrel::ShellWords
