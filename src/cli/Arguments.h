#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>

#include "planning/ConversionSettings.h"

namespace kestrel {

// What the user asked for on the command line.
struct Arguments {
    enum class Command { plan, convert, measure, doctor, help, version };

    Command command = Command::help;
    std::filesystem::path folder; // as given
    bool json = false;
    std::optional<std::size_t> count; // measure: how many files
    ConversionSettings settings;
    bool isCodecChosen = false; // by an option, not by default
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
