#pragma once

#include <cstdlib>
#include <ctime>

namespace kestrel::test {

// Puts this process, and what it starts, into another time zone ("JST-9": nine hours before UTC), and then
// back into the machine's.
class LocalTime {
public:
    explicit LocalTime(const char *zone)
    {
        ::setenv("TZ", zone, 1);
        ::tzset();
    }
    ~LocalTime()
    {
        ::unsetenv("TZ");
        ::tzset();
    }
    LocalTime(const LocalTime &) = delete;
    LocalTime &operator=(const LocalTime &) = delete;
};

} // namespace kestrel::test
