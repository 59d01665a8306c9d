#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Unicode operations on UTF-8 text. All functions are pure and may be called from any thread.
namespace kestrel::Text {

// The same text with every broken byte sequence replaced by U+FFFD.
std::string repaired(std::string_view bytes);
// A path or name as it is shown: its bytes, repaired.
std::string shown(const std::filesystem::path &path);
// Whole text of which nothing hides: no control characters, no line breaks of any kind, and nothing that
// turns the direction of the text.
bool isVisible(std::string_view text);
bool turnsDirection(char32_t character);
// Lower case by Unicode's rules, independent of the language.
std::string lower(std::string_view text);
std::string upper(std::string_view text);
// Without white space and line ends at both ends.
std::string_view trimmed(std::string_view text);
// Everything on one line: runs of blanks, tabs and line ends become one blank, at both ends none.
std::string oneLine(std::string_view text);
// At most so many bytes, cut between two characters; broken sequences count as single bytes.
std::string_view prefix(std::string_view text, std::size_t bytes);
// How many characters (code points) the text has; a broken byte counts as one.
std::size_t length(std::string_view text);
// The first so many characters.
std::string_view first(std::string_view text, std::size_t characters);
// The pieces between any of these ASCII characters, empty ones left out.
std::vector<std::string_view> pieces(std::string_view text, std::string_view separators);
// How many columns of a terminal the text takes (wide East Asian characters take two).
int columns(std::string_view text);
// At most so many columns; what is left out in the middle is marked "…".
std::string elided(std::string_view text, int columns);

// As in the path of a URI: ASCII only, slashes bare.
std::string percentEncoded(std::string_view path);

// A key that sorts by plain byte comparison as people sort names: by the letters, not by their case or
// accents first, and numbers by value ("Folge 2" before "Folge 10").
std::string naturalSortKey(std::string_view text);
// The German name of an ISO 639 language code, where the system knows one.
std::optional<std::string> germanLanguageName(const std::string &code);

} // namespace kestrel::Text
