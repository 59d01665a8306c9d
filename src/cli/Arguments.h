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

// Holds what the user requested on the command line.
struct Arguments {
    enum class Command { plan, convert, measure, clip, score, doctor, help, version, window, demo };

    Command command = Command::help;
    // It is as given; for clip the file, for score the original; for window and demo absolute, or empty.
    std::filesystem::path folder;
    std::filesystem::path result;        // score: the file made from the original
    int every = 1;                       // score: one frame of this many is scored
    std::optional<double> start, length; // score: seconds
    std::filesystem::path snapshots;     // demo: absolute path of the folder for its pictures
    bool isDark = false;                 // demo
    bool json = false;
    std::optional<std::size_t> count; // measure: how many files
    bool startsFromDefaults = false;  // whether the stored settings are ignored
    bool usesTestSuite = false;       // window: replaces the user's settings and last folder
    bool asksAgain = false;           // whether ffprobe runs again for files with stored answers
    std::vector<std::string> only;    // relative paths; "-": one for each line on standard input
    bool isCodecChosen = false;       // whether an option chose the codec
    std::optional<bool> measuresQuality;

    // Each option changes its part of the settings, in the order of the options.
    std::vector<std::function<void(ConversionSettings &)>> overrides;
    ConversionSettings applied(ConversionSettings settings) const;
};

// Thrown for wrong usage; the message is a German sentence.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

Arguments parseArguments(int count, const char *const *words);

// Returns the German help page.
std::string helpText();

// Defines the exit statuses of the program.
namespace ExitStatus {
inline constexpr int done = 0, fileFailed = 1, unusable = 2, interrupted = 130;
}

} // namespace kestrel
