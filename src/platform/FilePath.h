#pragma once

#include <compare>
#include <filesystem>
#include <string>

namespace kestrel {

// Stores a path as its bytes alone, for use in great numbers. std::filesystem::path stores every component as
// well, which for a usual path takes half a kilobyte more.
class FilePath {
public:
    FilePath() = default;
    FilePath(const std::filesystem::path &path)
        : m_native(path.native()) {} // NOLINT(google-explicit-constructor)

    operator std::filesystem::path() const { return m_native; } // NOLINT(google-explicit-constructor)
    const std::string &native() const { return m_native; }
    std::filesystem::path filename() const { return std::filesystem::path(m_native).filename(); }

    auto operator<=>(const FilePath &) const = default;
    friend bool operator==(const FilePath &a, const FilePath &b) = default;
    friend bool operator==(const FilePath &a, const std::filesystem::path &b)
    {
        return a.m_native == b.native();
    }

private:
    std::string m_native;
};

} // namespace kestrel
