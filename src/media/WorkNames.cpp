#include "media/WorkNames.h"

#include <fmt/format.h>

namespace kestrel::WorkNames {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view temporaryMark = ".kestrel-tmp.";

bool isHidden(std::string_view name)
{
    return name.starts_with('.');
}

// Returns " (Word)", " (Word 2)" …
std::string mark(std::string_view word, int number)
{
    return number == 1 ? fmt::format(" ({})", word) : fmt::format(" ({} {})", word, number);
}

} // namespace

std::string temporarySuffix(std::string_view extension)
{
    return fmt::format("{}{}", temporaryMark, extension);
}

bool isLeftover(const fs::path &name)
{
    const std::string_view text = name.native();
    if (!isHidden(text) || text.ends_with(originalSuffix))
        return false;
    return text.ends_with(uploadSuffix) || text.find(temporaryMark) != std::string_view::npos;
}

bool isHiddenOriginal(const fs::path &name)
{
    return isHidden(name.native()) && name.native().ends_with(originalSuffix);
}

fs::path hiddenOriginal(const fs::path &film)
{
    return film.parent_path() / fmt::format(".{}{}", film.filename().native(), originalSuffix);
}

fs::path filmOf(const fs::path &hiddenOriginal)
{
    std::string name = hiddenOriginal.filename().native();
    if (name.starts_with('.'))
        name.erase(0, 1);
    if (name.ends_with(originalSuffix))
        name.erase(name.size() - originalSuffix.size());
    return hiddenOriginal.parent_path() / name;
}

std::string resultMark(int number)
{
    return number == 0 ? std::string() : mark("Kestrel", number);
}

fs::path visibleOriginal(const fs::path &film, int number)
{
    return film.parent_path() / (film.stem().native() + mark("Original", number) + film.extension().native());
}

fs::path outputFolder(const fs::path &folder)
{
    return folder.parent_path() / (folder.filename().native() + resultMark(1));
}

std::string hiddenPatterns()
{
    return fmt::format(".*{}*, .*{}, .*{}", temporaryMark, uploadSuffix, originalSuffix);
}

} // namespace kestrel::WorkNames
