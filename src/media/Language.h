#pragma once

#include <optional>
#include <string>

// Language tags of media files as canonical three-letter codes (ISO 639-2/T; "und" for unknown).
// Pure functions, safe from any thread.
namespace kestrel::Language {

inline constexpr const char *unknown = "und";

// The canonical code for a stream's tag. A title in which "deutsch" or "english" stands helps out where
// the tag says nothing.
std::string normalize(const std::optional<std::string> &code, const std::optional<std::string> &title);
// German display name, or the code in upper case where there is none.
std::string name(const std::string &code);
// Two-letter badge; "??" for unknown.
std::string shortName(const std::string &code);
// The title names a commentary or an audio description.
bool looksLikeCommentary(const std::optional<std::string> &title);

} // namespace kestrel::Language
