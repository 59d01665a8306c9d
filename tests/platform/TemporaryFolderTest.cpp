#include "platform/TemporaryFolder.h"

#include <gtest/gtest.h>

#include "platform/Paths.h"
#include "platform/Uuid.h"
#include "support/KillAt.h"
#include "support/Sandbox.h"

#include <sys/stat.h>
#include <unistd.h>

namespace kestrel {

namespace fs = std::filesystem;

namespace {

fs::path made(const std::string &name, mode_t mode = 0700)
{
    fs::path folder = Paths::temporary() / name;
    fs::create_directories(folder / "innen");
    ::chmod(folder.c_str(), mode);
    return folder;
}

} // namespace

TEST(TemporaryFolder, isRemovedWithItsContentAndOnlyWhenNobodyUsesIt)
{
    const fs::path abandoned = made("Kestrel-" + freshUuid());
    fs::path used;
    {
        const TemporaryFolder folder;
        used = folder.path();
        fs::create_directory(used / "innen");
        TemporaryFolder::removeAbandoned();
        EXPECT_TRUE(fs::exists(used / "innen"));
        EXPECT_FALSE(fs::exists(abandoned));
    }
    EXPECT_FALSE(fs::exists(used));
}

TEST(TemporaryFolder, nobodyElsesFolderIsTakenForAbandoned)
{
    const std::string uuid = freshUuid();
    std::vector<fs::path> others{made("Kestrel-" + freshUuid(), 0755)};
    for (const char *name :
         {"Anderes", "Kestrel-1", "Kestrel-Urlaub", "Kestrel-0b5c2a4e-58d3-4a8c-9d51-3f8a4d2e6b70"})
        others.push_back(made(name));
    others.push_back(made("Kestrel-" + uuid + "-2"));
    const fs::path link = Paths::temporary() / ("Kestrel-" + uuid);
    fs::create_directory_symlink(others.front(), link);
    if (::geteuid() == 0) {
        others.push_back(made("Kestrel-" + freshUuid()));
        ASSERT_EQ(::chown(others.back().c_str(), 12345, 12345), 0);
    }
    TemporaryFolder::removeAbandoned();
    for (const auto &other : others)
        EXPECT_TRUE(fs::exists(other / "innen")) << other;
    EXPECT_TRUE(fs::is_symlink(link));
}

// Another user who could look in or put something there would have to be quick, but could.
TEST(TemporaryFolder, belongsToItsUserAloneFromTheFirstMomentOn)
{
    const mode_t before = ::umask(0);
    int kills = 0;
    for (bool wasKilled = true; wasKilled; ++kills) {
        const test::Sandbox sandbox;
        wasKilled = test::killedBeforeChange(kills, [&] {
            ::setenv("TMPDIR", sandbox.path().c_str(), 1);
            const TemporaryFolder folder;
        });
        for (const auto &name : test::names(sandbox.path()))
            EXPECT_EQ(fs::status(sandbox / name).permissions(), fs::perms::owner_all) << kills;
    }
    EXPECT_GT(kills, 2);
    ::umask(before);
}

} // namespace kestrel
