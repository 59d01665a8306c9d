#pragma once

#include <filesystem>
#include <span>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <string_view>

#include "media/ToolAnswers.h"

namespace kestrel {

// Carries a finished German sentence for the user, or else the bare words of a program.
class ToolError : public std::runtime_error {
public:
    static ToolError notFound(const std::string &tool);
    static ToolError failed(const std::string &message);
    static ToolError quoted(const std::string &words);

    // Returns whether the text is a program's own, in its language; fronts put a sentence before it.
    bool isQuoted() const { return m_isQuoted; }

private:
    explicit ToolError(const std::string &text, bool isQuoted = false)
        : std::runtime_error(text), m_isQuoted(isQuoted)
    {
    }

    bool m_isQuoted;
};

// Names what measures the quality of an encode.
enum class Measuring {
    nothing, // films get a fixed CRF
    filter,  // ffmpeg's libvmaf
    builtIn, // the program itself
};
std::string_view title(Measuring measuring); // German
inline constexpr std::string_view measuringTitle = "Qualität messen";

// Holds the located programs and what this ffmpeg was built with.
struct Tools {
    std::filesystem::path ffmpeg, ffprobe; // absolute
    std::string encoders;                  // the text of ffmpeg -encoders
    bool hasVMAF = false;                  // filter "libvmaf"
    std::string version;                   // first line of ffmpeg -version, for display
    bool keepsTurnInMatroska = false;      // when a picture is copied
    bool mayMeasure = true;                // the setting measuringTitle

    bool hasEncoder(std::string_view name) const { return encoders.find(name) != std::string::npos; }
    bool hasX265() const { return hasEncoder("libx265"); }
    bool hasSVTAV1() const { return hasEncoder("libsvtav1"); }
    Measuring measuring() const;

    bool operator==(const Tools &) const = default;

    // Returns the folders that are searched, in order; $PATH is not used.
    static std::span<const std::filesystem::path> folders();
    // Finds both programs and asks ffmpeg for its capabilities; blocks for three short runs, unless
    // ToolAnswers has the answers. Throws ToolError::notFound, or std::system_error when ffmpeg cannot be
    // started.
    static Tools locate(std::stop_token stop, Asking asking = Asking::unlessKnown);
    static Tools locate(std::span<const std::filesystem::path> folders, std::stop_token stop,
                        Asking asking = Asking::unlessKnown);
    // Returns what ffprobe reports about itself and its libraries; empty where it does not answer.
    std::string probeVersion(std::stop_token stop, Asking asking = Asking::unlessKnown) const;
};

} // namespace kestrel
