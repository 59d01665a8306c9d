#pragma once

#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "encoding/ConversionJob.h"

// Finishes local replacements whose result lies beside its original, because the process was killed or the
// trash refused the original. A record is followed only where both files are exactly those recorded, and
// after the checks and the savings rule are applied again; otherwise both files stay and the record is
// removed. A replacement that another process works on is left alone. May be called from any thread.
namespace kestrel::UnfinishedSwaps {

// Finishes all of them that can be finished now. Returns what was done, in German; the same lines are written
// to the log. Throws Cancelled.
std::vector<std::string> finish(const std::filesystem::path &ffprobe, const std::stop_token &stop);

// Finishes the replacement that has this film as its original or its result; returns nothing where there is
// none, and the film is to be converted. Throws ToolError, which says where the result lies, when it cannot
// be finished, or Cancelled.
std::optional<ConversionOutcome> finish(const std::filesystem::path &film,
                                        const std::filesystem::path &ffprobe, const std::stop_token &stop);

// Returns the files without the results that wait beside their originals: they are no films of their own.
std::vector<std::filesystem::path> withoutResults(std::vector<std::filesystem::path> files);

} // namespace kestrel::UnfinishedSwaps
