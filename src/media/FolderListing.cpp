// This file holds the part of Prober that reads folders, not files.

#include <algorithm>
#include <array>
#include <functional>
#include <string_view>
#include <system_error>
#include <utility>

#include "media/Log.h"
#include "media/Prober.h"
#include "media/WorkNames.h"
#include "platform/Cancelled.h"
#include "platform/FileLock.h"
#include "platform/Files.h"
#include "platform/Text.h"

namespace kestrel::Prober {

namespace fs = std::filesystem;

namespace {

constexpr std::array<std::string_view, 18> videoExtensions{"mkv",  "mp4", "m4v",  "avi", "mov",  "ts",
                                                           "m2ts", "mts", "wmv",  "mpg", "mpeg", "webm",
                                                           "flv",  "vob", "divx", "3gp", "ogm",  "asf"};

// File managers show folders with these extensions as one document.
constexpr std::array<std::string_view, 11> packageExtensions{
    "app",           "bundle",    "framework", "photoslibrary", "photolibrary", "aplibrary",
    "imovielibrary", "tvlibrary", "fcpbundle", "theater",       "pkg"};

template <std::size_t Size>
bool hasExtension(const fs::path &name, const std::array<std::string_view, Size> &list)
{
    const std::string extension = name.extension().native();
    if (extension.size() < 2)
        return false;
    return std::find(list.begin(), list.end(), Text::lower(std::string_view(extension).substr(1))) !=
           list.end();
}

bool isHidden(const fs::path &name)
{
    return name.native().starts_with('.');
}

bool isVideo(const fs::path &file)
{
    std::error_code unreadable;
    return !isHidden(file.filename()) && hasExtension(file.filename(), videoExtensions) &&
           fs::symlink_status(file, unreadable).type() == fs::file_type::regular;
}

bool holdsVideos(const fs::path &folder)
{
    std::error_code unreadable;
    return !isHidden(folder.filename()) && !hasExtension(folder, packageExtensions) &&
           fs::symlink_status(folder, unreadable).type() == fs::file_type::directory;
}

std::vector<fs::path> sortedNaturally(const std::vector<fs::path> &files)
{
    std::vector<std::pair<std::string, fs::path>> keyed;
    keyed.reserve(files.size());
    for (const auto &file : files)
        keyed.emplace_back(Text::naturalSortKey(file.native()), file);
    std::sort(keyed.begin(), keyed.end(), [](const auto &a, const auto &b) {
        return a.first != b.first ? a.first < b.first : a.second.native() < b.second.native();
    });
    std::vector<fs::path> sorted;
    sorted.reserve(keyed.size());
    for (auto &[key, file] : keyed)
        sorted.push_back(std::move(file));
    return sorted;
}

// Visits everything below a folder, packages aside, and descends where the visitor says so.
void walk(const fs::path &root, const std::stop_token &stop,
          const std::function<bool(const fs::directory_entry &)> &visitAndDescend)
{
    std::vector<fs::path> folders{root};
    while (!folders.empty()) {
        const fs::path folder = std::move(folders.back());
        folders.pop_back();
        std::error_code error;
        for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
             entry.increment(error)) {
            throwIfStopped(stop);
            std::error_code unreadable;
            const bool isFolder = entry->symlink_status(unreadable).type() == fs::file_type::directory;
            if (visitAndDescend(*entry) && isFolder && !hasExtension(entry->path(), packageExtensions))
                folders.push_back(entry->path());
        }
    }
}

} // namespace

Listing list(const fs::path &root, std::stop_token stop)
{
    Listing found;
    walk(root, stop, [&](const fs::directory_entry &entry) {
        const fs::path name = entry.path().filename();
        std::error_code unreadable;
        const auto isFile = [&] { return entry.symlink_status(unreadable).type() == fs::file_type::regular; };
        if (WorkNames::isHiddenOriginal(name) && isFile())
            found.setAside.push_back(entry.path());
        if (isHidden(name))
            return false;
        if (hasExtension(name, videoExtensions) && isFile())
            found.videos.push_back(entry.path());
        return true;
    });
    return {sortedNaturally(found.videos), sortedNaturally(found.setAside)};
}

Listing list(const fs::path &root, const std::set<fs::path> &names, std::stop_token stop)
{
    Listing found;
    for (const auto &name : names) {
        throwIfStopped(stop);
        if (name.empty() || name.is_absolute())
            continue;
        bool isReachable = true;
        fs::path folder = root;
        for (const auto &part : name.parent_path())
            isReachable = isReachable && holdsVideos(folder /= part);
        if (isReachable && isVideo(root / name))
            found.videos.push_back(root / name);
        const fs::path aside = WorkNames::hiddenOriginal(folder / name.filename());
        if (isReachable && Files::exists(aside))
            found.setAside.push_back(aside);
    }
    return {sortedNaturally(found.videos), sortedNaturally(found.setAside)};
}

std::vector<fs::path> findVideos(const fs::path &root, std::stop_token stop)
{
    return list(root, std::move(stop)).videos;
}

std::vector<fs::path> findVideos(const fs::path &root, const std::set<fs::path> &names, std::stop_token stop)
{
    return list(root, names, std::move(stop)).videos;
}

std::vector<fs::path> findLeftovers(const fs::path &root, std::stop_token stop)
{
    std::vector<fs::path> leftovers;
    walk(root, stop, [&](const fs::directory_entry &entry) {
        const bool isLeft = WorkNames::isLeftover(entry.path().filename());
        if (isLeft)
            leftovers.push_back(entry.path());
        return !isLeft;
    });
    return leftovers;
}

std::size_t removeLeftovers(const std::vector<fs::path> &leftovers)
{
    std::size_t count = 0;
    for (const auto &path : leftovers) {
        if (FileLock::tryTake(path).isTaken())
            continue;
        std::error_code error;
        fs::remove_all(path, error);
        if (error)
            continue;
        ++count;
        Log::write("Rest entfernt: " + Text::shown(path));
    }
    return count;
}

fs::path relativePath(const fs::path &file, const fs::path &root)
{
    // Files found below the root need no access to the disk, which may be a slow share.
    const fs::path direct = file.lexically_relative(root);
    const auto climbs = [](const fs::path &path) {
        return std::any_of(path.begin(), path.end(),
                           [](const fs::path &part) { return part == ".." || part == "."; });
    };
    if (!direct.empty() && !climbs(direct) && !climbs(file))
        return direct;

    const auto resolved = [](const fs::path &path) {
        std::error_code error;
        const fs::path real = fs::weakly_canonical(path, error);
        return Files::standardized(error ? path : real);
    };
    const fs::path whole = resolved(file);
    const fs::path above = resolved(root);
    const auto [rootRest, fileRest] = std::mismatch(above.begin(), above.end(), whole.begin(), whole.end());
    if (rootRest != above.end())
        return whole.filename();
    fs::path relative;
    for (auto part = fileRest; part != whole.end(); ++part)
        relative /= *part;
    return relative;
}

} // namespace kestrel::Prober
