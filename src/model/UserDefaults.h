#pragma once

#include <QSettings>
#include <filesystem>
#include <optional>
#include <string>

#include "planning/ConversionSettings.h"

namespace kestrel {

// Stores the choices that outlive the program, in a file of the user's. What is missing, damaged or cannot be
// written never throws; it then counts as not set. REQUIRES: the main thread.
class UserDefaults {
public:
    // testSuite() is used only by the demo, and when the window starts with a folder on the command line, so
    // that trials never change the user's own settings.
    static UserDefaults standard();
    static UserDefaults testSuite();

    std::filesystem::path file() const;
    // Opens any such file; an empty one where it is no plain file.
    static QSettings open(const std::filesystem::path &file);

    std::optional<ConversionSettings> settings() const;
    void setSettings(const ConversionSettings &settings);
    std::optional<std::filesystem::path> lastFolder() const;
    std::optional<std::string> statusPort() const; // as the user wrote it
    std::optional<bool> measuresQuality() const;
    void setMeasuresQuality(bool measures);
    void setLastFolder(const std::filesystem::path &folder);

private:
    explicit UserDefaults(std::string suite) : m_suite(std::move(suite)) {}

    std::string m_suite;
};

} // namespace kestrel
