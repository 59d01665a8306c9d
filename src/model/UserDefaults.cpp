#include "model/UserDefaults.h"

#include <QVariant>
#include <exception>
#include <system_error>

#include <nlohmann/json.hpp>

#include "platform/ApplicationId.h"
#include "platform/JsonText.h"
#include "platform/Paths.h"

namespace kestrel {

namespace {

constexpr const char *settingsKey = "settings", *lastFolderKey = "lastFolder", *statusPortKey = "statusPort",
                     *measuresKey = "measuresQuality";

// QSettings stores a suite there, too.
std::filesystem::path fileOf(const std::string &suite)
{
    return Paths::configuration() / "Kestrel" / (suite + ".conf");
}

QSettings openSuite(const std::string &suite)
{
    return UserDefaults::open(fileOf(suite));
}

} // namespace

QSettings UserDefaults::open(const std::filesystem::path &file)
{
    std::error_code error;
    const auto type = std::filesystem::status(file, error).type();
    // Reading a pipe or a device would never end.
    const bool isUsable =
        type == std::filesystem::file_type::regular || type == std::filesystem::file_type::not_found;
    return QSettings(isUsable ? QString::fromStdString(file.native()) : QString(), QSettings::NativeFormat);
}

UserDefaults UserDefaults::standard()
{
    return UserDefaults(applicationId);
}

UserDefaults UserDefaults::testSuite()
{
    return UserDefaults(std::string(applicationId) + ".test");
}

std::filesystem::path UserDefaults::file() const
{
    return fileOf(m_suite);
}

std::optional<ConversionSettings> UserDefaults::settings() const
{
    const QVariant value = openSuite(m_suite).value(settingsKey);
    if (!value.isValid())
        return std::nullopt;
    try {
        return ConversionSettings::fromJson(JsonText::parse(value.toString().toStdString()));
    } catch (const std::exception &) {
        return std::nullopt;
    }
}

void UserDefaults::setSettings(const ConversionSettings &settings)
{
    openSuite(m_suite).setValue(settingsKey, QString::fromStdString(JsonText::dump(settings.toJson())));
}

// Reads the path as bytes: it may be no valid text.
std::optional<std::filesystem::path> UserDefaults::lastFolder() const
{
    const QByteArray path = openSuite(m_suite).value(lastFolderKey).toByteArray();
    return path.isEmpty() ? std::nullopt : std::optional(std::filesystem::path(path.toStdString()));
}

std::optional<std::string> UserDefaults::statusPort() const
{
    const QVariant value = openSuite(m_suite).value(statusPortKey);
    return value.isValid() ? std::optional(value.toString().toStdString()) : std::nullopt;
}

std::optional<bool> UserDefaults::measuresQuality() const
{
    const QString value = openSuite(m_suite).value(measuresKey).toString();
    if (value == QLatin1String("true"))
        return true;
    return value == QLatin1String("false") ? std::optional(false) : std::nullopt;
}

void UserDefaults::setMeasuresQuality(bool measures)
{
    openSuite(m_suite).setValue(measuresKey, measures);
}

void UserDefaults::setLastFolder(const std::filesystem::path &folder)
{
    openSuite(m_suite).setValue(lastFolderKey, QByteArray::fromStdString(folder.native()));
}

} // namespace kestrel
