#include "platform/ColorScheme.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>
#include <QMetaType>
#include <QObject>
#include <QString>
#include <QVariant>
#include <cstdint>
#include <optional>
#include <utility>

namespace kestrel {

namespace {

// https://flatpak.github.io/xdg-desktop-portal/docs/doc-org.freedesktop.portal.Settings.html
constexpr QLatin1StringView portal("org.freedesktop.portal.Desktop");
constexpr QLatin1StringView portalPath("/org/freedesktop/portal/desktop");
constexpr QLatin1StringView settings("org.freedesktop.portal.Settings");
constexpr QLatin1StringView group("org.freedesktop.appearance");
constexpr QLatin1StringView key("color-scheme");
constexpr std::uint32_t prefersDark = 1; // 2 is light, 0 no preference

} // namespace

class ColorScheme::Listener : public QObject {
    Q_OBJECT

public:
    using OnChange = std::function<void(std::optional<bool>)>;
    explicit Listener(OnChange onChange) : m_onChange(std::move(onChange))
    {
        QDBusConnection bus = QDBusConnection::sessionBus();
        if (!bus.isConnected()) {
            QMetaObject::invokeMethod(
                this, [this] { m_onChange({}); }, Qt::QueuedConnection);
            return;
        }
        // Qt finds a slot's types by name, and knows this one only after its first use.
        qRegisterMetaType<QDBusVariant>();
        // The match names no sender: naming the portal would make Qt wait for the bus to resolve it.
        bus.connect(QString(), portalPath, settings, QStringLiteral("SettingChanged"), this,
                    SLOT(takeSetting(QString, QString, QDBusVariant)));

        QDBusMessage question =
            QDBusMessage::createMethodCall(portal, portalPath, settings, QStringLiteral("Read"));
        question.setArguments({group, key});
        auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(question), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
            watcher->deleteLater();
            const QDBusMessage reply = watcher->reply();
            if (reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty())
                take(reply.arguments().constFirst());
            else if (!m_isDark)
                m_onChange({});
        });
    }

private:
    Q_SLOT void takeSetting(const QString &settingGroup, const QString &setting, const QDBusVariant &value)
    {
        if (settingGroup == group && setting == key)
            take(value.variant());
    }
    // A reply wraps the number twice, the signal of a change once.
    void take(QVariant value)
    {
        while (value.metaType() == QMetaType::fromType<QDBusVariant>())
            value = value.value<QDBusVariant>().variant();
        bool isNumber = false;
        const bool isDark = value.toUInt(&isNumber) == prefersDark;
        if (isNumber && std::exchange(m_isDark, isDark) != isDark)
            m_onChange(isDark);
    }

    const OnChange m_onChange;
    std::optional<bool> m_isDark; // the value that was reported last
};

ColorScheme::ColorScheme(std::function<void(std::optional<bool> isDark)> onChange)
    : m_listener(std::make_unique<Listener>(std::move(onChange)))
{
}

ColorScheme::~ColorScheme() = default;

} // namespace kestrel

#include "ColorScheme.moc"
