#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace kestrel {

// States what has happened to a file since it was scanned.
namespace Status {

struct Analyzing { // the quality search runs
    double fraction = 0;
    bool isSearch = true; // otherwise a single measurement, as nothing measures the quality
    bool operator==(const Analyzing &) const = default;
};
struct Running { // the file is being converted
    double fraction = 0;
    bool operator==(const Running &) const = default;
};
struct Done { // the file was converted; bytes before and after
    std::int64_t before = 0, after = 0;
    std::optional<std::string> note = std::nullopt; // what else the user should know; German
    bool operator==(const Done &) const = default;
};
struct NoSavings {          // conversion is not worth it, the file was kept
    std::int64_t size = 0;  // of the result; bytes
    bool wasEncoded = true; // false when the measurement alone ruled it out, and there was no result
    bool operator==(const NoSavings &) const = default;
};
struct Failed {
    std::string text;      // German, for the user, unless isQuoted
    bool isQuoted = false; // the text is a program's own
    bool operator==(const Failed &) const = default;
};
struct Idle {
    bool operator==(const Idle &) const = default;
};
struct Queued { // the file waits for a free slot
    bool operator==(const Queued &) const = default;
};
struct Uploading { // the result is being copied to a network share
    bool operator==(const Uploading &) const = default;
};

} // namespace Status

using JobStatus = std::variant<Status::Analyzing, Status::Running, Status::Done, Status::NoSavings,
                               Status::Failed, Status::Idle, Status::Queued, Status::Uploading>;

template <typename Case>
bool is(const JobStatus &status)
{
    return std::holds_alternative<Case>(status);
}

// Returns whether a worker is processing the file.
inline bool isInWork(const JobStatus &status)
{
    return is<Status::Analyzing>(status) || is<Status::Running>(status) || is<Status::Uploading>(status);
}

} // namespace kestrel
