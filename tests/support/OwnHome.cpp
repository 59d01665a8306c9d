#include "support/OwnHome.h"

#include <cstdlib>

#include "support/Sandbox.h"

namespace kestrel::test {

void useOwnHome()
{
    ::setenv("HOME", home().c_str(), 1);
    fs::create_directories(home() / "tmp");
    ::setenv("TMPDIR", (home() / "tmp").c_str(), 1);
    for (const char *variable : {"XDG_CACHE_HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME"})
        ::unsetenv(variable);
}

} // namespace kestrel::test
