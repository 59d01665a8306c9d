#include "encoding/TargetName.h"

#include <cmath>
#include <map>
#include <mutex>
#include <string>

#include <fmt/format.h>

#include "media/WorkNames.h"
#include "platform/Files.h"
#include "platform/Text.h"

namespace kestrel::TargetName {

namespace fs = std::filesystem;

namespace {

struct Claims {
    std::mutex lock;
    std::map<fs::path, fs::path> sources; // keyed by target; guarded by lock
};

Claims &claims()
{
    static Claims instance;
    return instance;
}

// A result carries its source's time. A file with another time belongs to a film whose source may no longer
// exist.
bool isAnothersResult(const fs::path &target, const timespec &modified)
{
    const auto found = Files::tryAttributes(target);
    return found ? !carriesTime(*found, modified) : Files::exists(target);
}

} // namespace

std::string nameFor(const fs::path &source, std::string_view mark, const ConversionSettings &settings)
{
    return fmt::format("{}{}.{}", source.stem().native(), mark, fileExtension(settings.container));
}

fs::path freeName(const fs::path &folder, const fs::path &source, const ConversionSettings &settings)
{
    const std::size_t longest = Files::longestName(folder);
    for (int number = 1;; ++number) {
        std::string name = nameFor(source, WorkNames::resultMark(number), settings);
        if (name.size() > longest) {
            const std::string stem = source.stem().native();
            const std::size_t tail = name.size() - stem.size();
            name = std::string(Text::prefix(stem, longest - tail)) + name.substr(stem.size());
        }
        if (!Files::exists(folder / name))
            return folder / name;
    }
}

bool carriesTime(const Files::Attributes &file, const timespec &modified)
{
    const double apart = static_cast<double>(file.modified.tv_sec - modified.tv_sec) +
                         static_cast<double>(file.modified.tv_nsec - modified.tv_nsec) / 1e9;
    const bool isCoarse = file.modified.tv_nsec == 0; // the file system counts in seconds, or two
    return std::abs(apart) <= (isCoarse ? 2 : 0.001);
}

fs::path claim(const fs::path &folder, const fs::path &source, const timespec &modified,
               const ConversionSettings &settings)
{
    const std::scoped_lock guard(claims().lock);
    for (int number = 0;; ++number) {
        const fs::path target = folder / nameFor(source, WorkNames::resultMark(number), settings);
        if (isAnothersResult(target, modified))
            continue;
        if (claims().sources.emplace(target, source).first->second == source)
            return target;
    }
}

} // namespace kestrel::TargetName
