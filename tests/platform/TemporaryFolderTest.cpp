#include "platform/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/Paths.h"
#include "support/Sandbox.h"

namespace kestrel {

TEST(TemporaryFolder, goesWithItsContentAndOnlyWhenNobodyUsesIt)
{
    namespace fs = std::filesystem;
    const fs::path abandoned = Paths::temporary() / "Kestrel-1", other = Paths::temporary() / "Anderes";
    fs::create_directories(abandoned / "innen");
    fs::create_directories(other);
    fs::path used;
    {
        const TemporaryFolder folder;
        used = folder.path();
        fs::create_directory(used / "innen");
        TemporaryFolder::removeAbandoned();
        EXPECT_TRUE(fs::exists(used / "innen"));
        EXPECT_FALSE(fs::exists(abandoned));
        EXPECT_TRUE(fs::exists(other));
    }
    EXPECT_FALSE(fs::exists(used));
}

} // namespace kestrel
