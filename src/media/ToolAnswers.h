#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "platform/Files.h"

namespace kestrel {

// Whether a program is asked again that has answered before and has not changed since.
enum class Asking { unlessKnown, again };

// Remembers what programs say about themselves, for as long as the program stays as it is: the same path,
// device, inode, size, and times of modification and change. What a program loads or starts beyond its own
// file is not watched. A file that is damaged or cannot be written is as good as none: nothing is kept then.
class ToolAnswers {
public:
    using Arguments = std::vector<std::string>;
    using ByQuestion = std::map<Arguments, std::string>; // what was written to standard output, as UTF-8

    explicit ToolAnswers(std::filesystem::path file);

    // In the caches folder.
    static std::filesystem::path usualFile();

    // The answers in the order of the questions, which are asked one after another where any of them is not
    // known; blocks for as long. A program that does not answer a question well, that is stopped, or that
    // changes meanwhile is not remembered. Throws std::system_error when it cannot be started.
    std::vector<std::string> ask(const std::filesystem::path &program,
                                 const std::vector<Arguments> &questions, Asking asking,
                                 std::stop_token stop) const;

    std::optional<ByQuestion> find(const std::filesystem::path &program,
                                   const Files::Attributes &attributes) const;
    // Replaces what is known of the program, and forgets programs that are no longer there.
    void keep(const std::filesystem::path &program, const Files::Attributes &attributes,
              const ByQuestion &answers) const;

private:
    const std::filesystem::path m_file;
};

} // namespace kestrel
