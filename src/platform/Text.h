#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Provides Unicode operations on UTF-8 text. All functions are pure and may be called from any thread.
namespace kestrel::Text {

// Returns the same text with every broken byte sequence replaced by U+FFFD.
std::string repaired(std::string_view bytes);
// Returns a path or name for display: its bytes, repaired.
std::string shown(const std::filesystem::path &path);
// Returns whether it is whole text in which nothing is hidden: no control characters, no line breaks of any
// kind, and nothing that changes the direction of the text.
bool isVisible(std::string_view text);
bool turnsDirection(char32_t character);
// Convert the case by Unicode's rules, independent of the language.
std::string lower(std::string_view text);
std::string upper(std::string_view text);
// Removes white space and line ends at both ends.
std::string_view trimmed(std::string_view text);
// Puts everything on one line: runs of blanks, tabs and line ends become one blank, at both ends none.
std::string oneLine(std::string_view text);
// Returns at most so many bytes, cut between two characters; broken sequences count as single bytes.
std::string_view prefix(std::string_view text, std::size_t bytes);
// Returns how many characters (code points) the text has; a broken byte counts as one.
std::size_t length(std::string_view text);
// Returns the first so many characters.
std::string_view first(std::string_view text, std::size_t characters);
// Returns the pieces between any of these ASCII characters, without empty ones.
std::vector<std::string_view> pieces(std::string_view text, std::string_view separators);
// Returns how many columns of a terminal the text takes (wide East Asian characters take two).
int columns(std::string_view text);
// Returns at most so many columns; "…" replaces what is left out in the middle.
std::string elided(std::string_view text, int columns);

// Encodes a path as in a URI: ASCII only, slashes unchanged.
std::string percentEncoded(std::string_view path);

// Returns a key that sorts by plain byte comparison as people sort names: by the letters, not by their case
// or accents first, and numbers by value ("Folge 2" before "Folge 10").
std::string naturalSortKey(std::string_view text);
// Returns the German name of an ISO 639 language code, where the system knows one.
std::optional<std::string> germanLanguageName(const std::string &code);

} // namespace kestrel::Text
