#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "planning/ConversionSettings.h"

namespace kestrel {

// What the user asked for on the command line.
struct Arguments {
    enum class Command { plan, convert, measure, clip, score, doctor, help, version, window, demo };

    Command command = Command::help;
    // As given; of clip the file, of score the original; of window and demo absolute, or empty.
    std::filesystem::path folder;
    std::filesystem::path result;        // score: what was made of the original
    int every = 1;                       // score: every how many frames
    std::optional<double> start, length; // score: seconds
    std::filesystem::path snapshots;     // demo: where its pictures go, absolute
    bool isDark = false;                 // demo
    bool json = false;
    std::optional<std::size_t> count; // measure: how many files
    bool startsFromDefaults = false;  // instead of the stored settings
    bool usesTestSuite = false;       // window: instead of the user's settings and last folder
    bool asksAgain = false;           // ffprobe, also for files that it has answered for
    std::vector<std::string> only;    // relative paths; "-": those on standard input, a line each
    bool isCodecChosen = false;       // by an option, not by default
    std::optional<bool> measuresQuality;

    // Each option changes its part of the settings, in their order.
    std::vector<std::function<void(ConversionSettings &)>> overrides;
    ConversionSettings applied(ConversionSettings settings) const;
};

// Thrown for wrong usage, with a German sentence.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

Arguments parseArguments(int count, const char *const *words);

// The German help page.
std::string helpText();

// The exit statuses of the program.
namespace ExitStatus {
inline constexpr int done = 0, fileFailed = 1, unusable = 2, interrupted = 130;
}

} // namespace kestrel
