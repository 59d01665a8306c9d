#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

// Formats numbers for every screen: German, with a blank before the unit, "–" for no value and "−" for a
// decrease. Pure, except that dayTime() reads the clock and the time zone.
namespace kestrel::Fmt {

std::string number(double value, int digits);
// Uses binary units; megabytes are cut off, not rounded.
std::string bytes(double value);
std::string bytes(std::int64_t value);
std::string duration(double seconds); // "45 s", "12 min", "1 h 5 min"
std::string clock(double seconds);    // "7:05", "1:02:03"
std::string dayTime(std::chrono::system_clock::time_point time);
std::string dayTime(std::chrono::system_clock::time_point time, std::chrono::system_clock::time_point now);
std::string dayTimeInSentence(std::chrono::system_clock::time_point time); // "heute, 12:30"
std::string percent(double fraction);
std::string change(double from, double to); // "−38 %"; no change reads "−0 %"
std::string bitrate(double bitsPerSecond);
std::string count(std::size_t number, const char *one = "Datei", const char *many = "Dateien"); // "1 Datei"
std::string share(std::size_t done, std::size_t total);                                         // "3 von 12"
std::string shareOfFiles(std::size_t done, std::size_t total); // "3 von 12 Dateien"

} // namespace kestrel::Fmt
