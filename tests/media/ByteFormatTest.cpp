#include "media/ByteFormat.h"

#include <limits>

#include <gtest/gtest.h>

namespace kestrel {

TEST(ByteFormat, countsInDecimalUnits)
{
    using Case = std::pair<std::int64_t, const char *>;
    for (const auto &[bytes, expected] :
         {Case(0, "0 Byte"), Case(999, "999 Byte"), Case(1000, "1 KB"), Case(15'400, "15 KB"),
          Case(999'499, "999 KB"), Case(999'500, "1 MB"), Case(1'500'000, "1,5 MB"),
          Case(999'950'000, "1 GB"), Case(2'346'000'000, "2,35 GB"), Case(4'000'000'000'000, "4 TB"),
          Case(-1'500'000, "-1,5 MB")})
        EXPECT_EQ(ByteFormat::string(bytes), expected) << bytes;
}

TEST(ByteFormat, survivesNumbersThatAreNone)
{
    using Double = std::numeric_limits<double>;
    using Int = std::numeric_limits<std::int64_t>;
    for (const double none : {Double::quiet_NaN(), Double::infinity(), -Double::infinity(), 0.9})
        EXPECT_EQ(ByteFormat::string(none), "0 Byte");
    EXPECT_EQ(ByteFormat::string(1e300), ByteFormat::string(Int::max()));
    EXPECT_EQ(ByteFormat::string(-1e300), ByteFormat::string(Int::min()));
}

} // namespace kestrel
