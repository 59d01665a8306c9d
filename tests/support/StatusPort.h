#pragma once

#include <cstdint>
#include <fstream>

#include "model/UserDefaults.h"

namespace kestrel::test {

// Where the programs that share this process's home folder serve their status page.
inline void useStatusPort(std::uint16_t port)
{
    const auto file = UserDefaults::standard().file();
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file) << "[General]\nstatusPort=+" << port << "\n";
}

} // namespace kestrel::test
