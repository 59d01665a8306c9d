#pragma once

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

namespace kestrel::test {

// Puts this process, and what it starts, into another time zone ("JST-9": nine hours before UTC).
class LocalTime {
public:
    explicit LocalTime(const char *zone)
    {
        if (const char *before = std::getenv("TZ"))
            m_before = before;
        ::setenv("TZ", zone, 1);
        ::tzset();
    }
    ~LocalTime()
    {
        m_before ? ::setenv("TZ", m_before->c_str(), 1) : ::unsetenv("TZ");
        ::tzset();
    }
    LocalTime(const LocalTime &) = delete;
    LocalTime &operator=(const LocalTime &) = delete;

private:
    std::optional<std::string> m_before;
};

} // namespace kestrel::test
