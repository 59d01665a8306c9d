#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace kestrel {

// What has happened to a file since it was scanned.
namespace Status {

struct Analyzing { // the quality search
    double fraction = 0;
    bool isSearch = true; // else a single measurement, as nothing measures the quality
    bool operator==(const Analyzing &) const = default;
};
struct Running { // being converted
    double fraction = 0;
    bool operator==(const Running &) const = default;
};
struct Done { // converted; bytes before and after
    std::int64_t before = 0, after = 0;
    std::optional<std::string> note = std::nullopt; // what else the user is to know; German
    bool operator==(const Done &) const = default;
};
struct NoSavings {          // not worth it, the file was kept
    std::int64_t size = 0;  // of the result; bytes
    bool wasEncoded = true; // else the measurement alone spoke against it, and there was no result
    bool operator==(const NoSavings &) const = default;
};
struct Failed {
    std::string text;      // German, for the user, but for:
    bool isQuoted = false; // the bare words of a program
    bool operator==(const Failed &) const = default;
};
struct Idle {
    bool operator==(const Idle &) const = default;
};
struct Queued { // waits for a free slot
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

// A worker has the file in its hands.
inline bool isInWork(const JobStatus &status)
{
    return is<Status::Analyzing>(status) || is<Status::Running>(status) || is<Status::Uploading>(status);
}

} // namespace kestrel
