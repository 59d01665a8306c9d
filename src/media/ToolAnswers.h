#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "platform/Files.h"

namespace kestrel {

// Says whether a program that has answered before and has not changed since is asked again.
enum class Asking { unlessKnown, again };

// Remembers what programs report about themselves, for as long as the program stays unchanged: the same path,
// device, inode, size, and times of modification and change. What a program loads or starts beyond its own
// file is not watched. A file that is damaged or not writable is ignored: nothing is kept then.
class ToolAnswers {
public:
    using Arguments = std::vector<std::string>;
    using ByQuestion = std::map<Arguments, std::string>; // what was written to standard output, as UTF-8

    explicit ToolAnswers(std::filesystem::path file);

    // Returns its path in the caches folder.
    static std::filesystem::path usualFile();

    // Returns the answers in the order of the questions. Where any of them is not known, all are asked one
    // after another, which blocks. A program that fails to answer a question, that is stopped, or that
    // changes meanwhile is not remembered. Throws std::system_error when it cannot be started.
    std::vector<std::string> ask(const std::filesystem::path &program,
                                 const std::vector<Arguments> &questions, Asking asking,
                                 std::stop_token stop) const;

    std::optional<ByQuestion> find(const std::filesystem::path &program,
                                   const Files::Attributes &attributes) const;
    // Replaces what is known of the program, and removes programs that no longer exist.
    void keep(const std::filesystem::path &program, const Files::Attributes &attributes,
              const ByQuestion &answers) const;

private:
    const std::filesystem::path m_file;
};

} // namespace kestrel
