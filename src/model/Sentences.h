#pragma once

#include <string>
#include <string_view>

#include <fmt/format.h>

// Holds sentences of the model that a front repeats elsewhere; German.
namespace kestrel::Sentences {

inline constexpr std::string_view searching = "Suche Videodateien …";
inline constexpr std::string_view measuring = "Stichproben werden gemessen";
inline constexpr std::string_view nothingFound = "In diesem Ordner wurden keine Videodateien gefunden.";
inline constexpr std::string_view nothingToConvert = "Es gibt nichts zu konvertieren.";

inline std::string scanFailed(std::string_view reason)
{
    return fmt::format("Analyse fehlgeschlagen: {}", reason);
}

inline std::string sampleFailed(std::string_view file, std::string_view reason)
{
    return fmt::format("Stichprobe für „{}“ fehlgeschlagen: {}", file, reason);
}

} // namespace kestrel::Sentences
