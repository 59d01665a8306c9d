#include "platform/Paths.h"

#include <array>
#include <cstdlib>
#include <string_view>
#include <vector>

#include <pwd.h>
#include <unistd.h>

namespace kestrel::Paths {

namespace fs = std::filesystem;

namespace {

// The base-directory rules require that relative values are ignored.
fs::path fromEnvironment(const char *variable, const fs::path &otherwise)
{
    const char *value = std::getenv(variable);
    return value != nullptr && fs::path(value).is_absolute() ? fs::path(value) : otherwise;
}

fs::path accountHome()
{
    passwd entry{};
    passwd *found = nullptr;
    std::vector<char> buffer(16384);
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr &&
        found->pw_dir != nullptr && std::string_view(found->pw_dir).starts_with('/'))
        return found->pw_dir;
    return "/";
}

} // namespace

fs::path home()
{
    const fs::path none;
    const fs::path set = fromEnvironment("HOME", none);
    return set.empty() ? accountHome() : set;
}

fs::path caches()
{
    return fromEnvironment("XDG_CACHE_HOME", home() / ".cache");
}

fs::path cacheFile(const std::string &stem, const std::string &extension)
{
    std::array<char, 256> host{};
    ::gethostname(host.data(), host.size() - 1);
    return caches() / "Kestrel" / (stem + "-" + host.data() + extension);
}

fs::path configuration()
{
    return fromEnvironment("XDG_CONFIG_HOME", home() / ".config");
}

fs::path applicationSupport()
{
    return fromEnvironment("XDG_DATA_HOME", home() / ".local/share");
}

fs::path workFolder()
{
    return caches() / "Kestrel/Arbeit";
}

fs::path temporary()
{
    return fromEnvironment("TMPDIR", "/tmp");
}

} // namespace kestrel::Paths
