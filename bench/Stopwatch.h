#pragma once

#include <chrono>
#include <fstream>

#include <sys/resource.h>
#include <unistd.h>

namespace kestrel::bench {

// Measures the time since its construction.
class Stopwatch {
public:
    double wall() const
    {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_started).count();
    }
    double cpu() const { return cpuNow() - m_cpu; } // of this process and the children it waited for

private:
    static double cpuNow()
    {
        double seconds = 0;
        for (const auto who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
            rusage usage{};
            getrusage(who, &usage);
            for (const timeval &part : {usage.ru_utime, usage.ru_stime})
                seconds += static_cast<double>(part.tv_sec) + static_cast<double>(part.tv_usec) / 1e6;
        }
        return seconds;
    }

    std::chrono::steady_clock::time_point m_started = std::chrono::steady_clock::now();
    double m_cpu = cpuNow();
};

inline double residentMegabytes()
{
    std::ifstream status("/proc/self/statm");
    double all = 0, resident = 0;
    status >> all >> resident;
    return resident * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e6;
}

// Returns the most memory that this process has ever had.
inline double highestMegabytes()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) * 1024 / 1e6;
}

} // namespace kestrel::bench
