#pragma once

#include <filesystem>
#include <stop_token>
#include <string>
#include <vector>

namespace kestrel {

struct ProcessOutput {
    int status = 0; // exit status, or 128 + the number of the signal that ended the child
    std::string standardOutput, standardError;

    // Returns standard error as UTF-8, with broken sequences replaced by U+FFFD.
    std::string errorText() const;
};

// Runs short child processes to their end.
namespace ProcessRunner {

// Blocks until the child has exited and both its outputs are read; a status other than 0 is no error.
// A stop request sends the child SIGTERM, with no escalation; what it has written is still returned.
// Throws std::system_error only when the child cannot be started.
ProcessOutput run(const std::filesystem::path &executable, const std::vector<std::string> &arguments,
                  std::stop_token stop);

} // namespace ProcessRunner

} // namespace kestrel
