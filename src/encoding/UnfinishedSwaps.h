#pragma once

#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "encoding/ConversionJob.h"

// Local replacements whose result lies beside its original: a kill came in between, or the trash refused the
// original. They are finished from their records, only where both files are exactly those of the record, and
// after the checks and the savings rule once more; otherwise both stay and the record is removed. One that
// another process works on is left to it. Any thread.
namespace kestrel::UnfinishedSwaps {

// Finishes all of them that can be finished now. Returns what was done, in German; the same lines went to
// the log. Throws Cancelled.
std::vector<std::string> finish(const std::filesystem::path &ffprobe, const std::stop_token &stop);

// The one that this film is the original or the result of; absent where there is none, and the film is to
// be converted. Throws ToolError, which says where the result lies, when it cannot be finished, or
// Cancelled.
std::optional<ConversionOutcome> finish(const std::filesystem::path &film,
                                        const std::filesystem::path &ffprobe, const std::stop_token &stop);

// Without the results that wait beside their originals: they are no films of their own.
std::vector<std::filesystem::path> withoutResults(std::vector<std::filesystem::path> files);

} // namespace kestrel::UnfinishedSwaps
