#pragma once

#include <string>
#include <string_view>

// Quotes words for the shells of today (bash, zsh, ksh). Each stands for exactly its bytes.
namespace kestrel::ShellWords {

// Puts the word in apostrophes, whatever it holds.
std::string inApostrophes(std::string_view word);
// Puts the word in apostrophes, and writes bytes that would be invisible, or would change how the rest is
// displayed, as octal numbers.
std::string quoted(std::string_view word);
// Likewise, without apostrophes where the shell needs none.
std::string plain(std::string_view word);

} // namespace kestrel::ShellWords
