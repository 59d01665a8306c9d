#pragma once

#include <optional>
#include <string>

// Maps language tags of media files to canonical three-letter codes (ISO 639-2/T; "und" for unknown). The
// functions are pure and may be called from any thread.
namespace kestrel::Language {

inline constexpr const char *unknown = "und";

// Returns the canonical code for a stream's tag. A title that contains "deutsch" or "english" decides where
// the tag says nothing.
std::string normalize(const std::optional<std::string> &code, const std::optional<std::string> &title);
// Returns the German display name, or the code in upper case where there is none.
std::string name(const std::string &code);
// Returns the two-letter badge; "??" for unknown.
std::string shortName(const std::string &code);
// Returns whether the title names a commentary or an audio description.
bool looksLikeCommentary(const std::optional<std::string> &title);

} // namespace kestrel::Language
