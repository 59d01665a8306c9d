#include "platform/Wording.h"

#include <gmock/gmock.h>

namespace kestrel {

using testing::HasSubstr;

TEST(Wording, namesWhatEachDesktopHas)
{
    EXPECT_EQ(Wording::text(Words::revealFile), "Im Dateimanager zeigen");
    EXPECT_EQ(Wording::text(Words::revealFile, Desktop::apple), "Im Finder zeigen");
    for (int row = 0; row <= static_cast<int>(Words::av1Summary); ++row) {
        const std::string text(Wording::text(static_cast<Words>(row)));
        EXPECT_NE(text, Wording::text(static_cast<Words>(row), Desktop::apple));
        for (const char *name :
             {"Apple", "Finder", "Mac ", "Mac.", "iPhone", "Safari", "Filme/", "brew", "⌘"})
            EXPECT_THAT(text, testing::Not(HasSubstr(name))) << "this build is for another desktop";
    }
}

} // namespace kestrel
