#include "support/Sandbox.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace kestrel::test {

namespace {

fs::path makeFolder()
{
    std::string name = (fs::temp_directory_path() / "kestrel-test-XXXXXX").native();
    if (::mkdtemp(name.data()) == nullptr)
        throw std::runtime_error("no temporary folder");
    return fs::canonical(name);
}

} // namespace

Sandbox::Sandbox() : m_path(makeFolder()) {}

Sandbox::~Sandbox()
{
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
}

fs::path Sandbox::write(const fs::path &name, std::string_view content) const
{
    const fs::path path = m_path / name;
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
    return path;
}

fs::path Sandbox::put(const fs::path &file, const fs::path &name) const
{
    const fs::path path = m_path / name;
    fs::create_directories(path.parent_path());
    fs::copy_file(file, path, fs::copy_options::overwrite_existing);
    fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::hours(1));
    return path;
}

const fs::path &home()
{
    static const Sandbox folder;
    return folder.path();
}

void useOwnHome()
{
    ::setenv("HOME", home().c_str(), 1);
    fs::create_directories(home() / "tmp");
    ::setenv("TMPDIR", (home() / "tmp").c_str(), 1);
    for (const char *variable : {"XDG_CACHE_HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME"})
        ::unsetenv(variable);
}

std::string readFile(const fs::path &file)
{
    try {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    } catch (const std::ios_base::failure &) { // of a process that has just gone
        return {};
    }
}

std::vector<std::string> names(const fs::path &folder)
{
    std::vector<std::string> result;
    std::error_code error;
    for (const auto &entry : fs::directory_iterator(folder, error))
        result.push_back(entry.path().filename().native());
    std::sort(result.begin(), result.end());
    return result;
}

bool shell(const std::string &command)
{
    return std::system(command.c_str()) == 0; // NOLINT(cert-env33-c): the tests' own words
}

std::string quoted(const fs::path &path)
{
    std::string result = "'";
    for (const char c : path.native())
        result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return result + "'";
}

} // namespace kestrel::test
