#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::test {

namespace fs = std::filesystem;

// A folder of its own for one test, gone with everything in it when the object goes.
class Sandbox {
public:
    Sandbox();
    ~Sandbox();
    Sandbox(const Sandbox &) = delete;
    Sandbox &operator=(const Sandbox &) = delete;

    const fs::path &path() const { return m_path; }
    fs::path operator/(const fs::path &name) const { return m_path / name; }

    // Writes a file, with any missing folders above it, and returns its path.
    fs::path write(const fs::path &name, std::string_view content) const;
    // Copies a file here under a new name, with a modification time an hour ago.
    fs::path put(const fs::path &file, const fs::path &name) const;

private:
    fs::path m_path;
};

// The user's home folder of this test process (HOME and the XDG folders lie in it).
const fs::path &home();
// Gives the process that home and a temporary folder in it, so that no test sees or touches the user's. To be
// called before the application object is made.
void useOwnHome();

std::string readFile(const fs::path &file);
// The names in a folder, hidden ones included, sorted.
std::vector<std::string> names(const fs::path &folder);

// Runs a shell command; true when it exits with 0.
bool shell(const std::string &command);
// One word of a shell command.
std::string quoted(const fs::path &path);

} // namespace kestrel::test
