#include "platform/Launcher.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QString>
#include <QVariantMap>
#include <algorithm>
#include <charconv>
#include <string_view>
#include <system_error>

#include "platform/ApplicationId.h"

namespace kestrel::Launcher {

namespace {

// Returns 0 … 1 for a percentage; absent for any other text.
std::optional<double> fraction(std::string_view text)
{
    unsigned percent = 0;
    const auto [end, problem] = std::from_chars(text.begin(), text.end(), percent);
    if (problem != std::errc() || std::string_view(end, text.end()) != " %")
        return std::nullopt;
    return std::min(percent, 100U) / 100.0;
}

} // namespace

// https://wiki.ubuntu.com/Unity/LauncherAPI
void setBadge(const std::optional<std::string> &text)
{
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    const std::optional<double> progress = text ? fraction(*text) : std::nullopt;
    QDBusMessage update = QDBusMessage::createSignal(QStringLiteral("/app/kestrel/Kestrel"),
                                                     QStringLiteral("com.canonical.Unity.LauncherEntry"),
                                                     QStringLiteral("Update"));
    update.setArguments({QStringLiteral("application://%1.desktop").arg(QLatin1String(applicationId)),
                         QVariantMap{{QStringLiteral("count"), qlonglong(0)},
                                     {QStringLiteral("count-visible"), false},
                                     {QStringLiteral("progress"), progress.value_or(0)},
                                     {QStringLiteral("progress-visible"), progress.has_value()}}});
    bus.send(update);
}

} // namespace kestrel::Launcher
