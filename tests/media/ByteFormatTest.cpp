#include "media/ByteFormat.h"

#include <limits>

#include <gtest/gtest.h>

namespace kestrel {

TEST(ByteFormat, countsInDecimalUnits)
{
    struct Case {
        std::int64_t bytes;
        const char *expected;
    };
    const Case cases[] = {
        {0, "0 Byte"},
        {999, "999 Byte"},
        {1000, "1 KB"},
        {15'400, "15 KB"},
        {999'499, "999 KB"},
        {999'500, "1 MB"},
        {1'500'000, "1,5 MB"},
        {999'950'000, "1 GB"},
        {2'346'000'000, "2,35 GB"},
        {4'000'000'000'000, "4 TB"},
        {-1'500'000, "-1,5 MB"},
    };
    for (const auto &[bytes, expected] : cases)
        EXPECT_EQ(ByteFormat::string(bytes), expected) << bytes;
}

TEST(ByteFormat, survivesNumbersThatAreNone)
{
    for (const double none :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
          -std::numeric_limits<double>::infinity(), 0.9})
        EXPECT_EQ(ByteFormat::string(none), "0 Byte");
    EXPECT_EQ(ByteFormat::string(1e300), ByteFormat::string(std::numeric_limits<std::int64_t>::max()));
    EXPECT_EQ(ByteFormat::string(-1e300), ByteFormat::string(std::numeric_limits<std::int64_t>::min()));
}

} // namespace kestrel
