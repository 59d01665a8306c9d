#include "platform/SleepInhibitor.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusUnixFileDescriptor>
#include <QObject>
#include <QVariant>
#include <array>
#include <cstdint>
#include <optional>
#include <utility>

namespace kestrel {

namespace {

constexpr int patience = 5000;       // milliseconds to wait for a reply
constexpr std::uint32_t suspend = 4; // the session manager's flag for suspending

struct Service {
    const char *name, *path, *interface, *release;
    bool isOnSystemBus;
};

// The services are asked in this order. The last returns a file descriptor, and is released by closing it.
// https://people.gnome.org/~mccann/gnome-session/docs/gnome-session.html
// https://www.freedesktop.org/wiki/Software/systemd/inhibit/
constexpr std::array<Service, 3> services{{
    {"org.gnome.SessionManager", "/org/gnome/SessionManager", "org.gnome.SessionManager", "Uninhibit", false},
    {"org.freedesktop.PowerManagement", "/org/freedesktop/PowerManagement/Inhibit",
     "org.freedesktop.PowerManagement.Inhibit", "UnInhibit", false},
    {"org.freedesktop.login1", "/org/freedesktop/login1", "org.freedesktop.login1.Manager", nullptr, true},
}};

QList<QVariant> arguments(std::size_t service, const QString &reason)
{
    const QString name = QStringLiteral("Kestrel");
    switch (service) {
    case 0:
        return {name, std::uint32_t(0), reason, suspend};
    case 1:
        return {name, reason};
    default:
        return {QStringLiteral("sleep"), name, reason, QStringLiteral("block")};
    }
}

QDBusConnection busOf(const Service &service)
{
    return service.isOnSystemBus ? QDBusConnection::systemBus() : QDBusConnection::sessionBus();
}

QDBusMessage call(const Service &service, const char *method, const QList<QVariant> &values)
{
    QDBusMessage message =
        QDBusMessage::createMethodCall(QString::fromLatin1(service.name), QString::fromLatin1(service.path),
                                       QString::fromLatin1(service.interface), QString::fromLatin1(method));
    message.setArguments(values);
    return message;
}

// Holds what was granted: a number to return, or a descriptor to close.
struct Grant {
    std::size_t service = 0;
    std::uint32_t cookie = 0;
    QDBusUnixFileDescriptor descriptor;
};

void giveBack(const Grant &grant)
{
    const Service &service = services.at(grant.service);
    if (service.release != nullptr)
        busOf(service).send(call(service, service.release, {grant.cookie}));
}

} // namespace

class SleepInhibitor::Asking : public QObject {
public:
    explicit Asking(std::function<void()> onRefused) : m_onRefused(std::move(onRefused)) {}
    ~Asking() override { release(); }

    void hold(const std::string &reason)
    {
        if (std::exchange(m_isWanted, true))
            return;
        m_reason = QString::fromStdString(reason);
        ++m_wish;
        ask(0);
    }

    void release()
    {
        m_isWanted = false;
        ++m_wish;
        if (const auto grant = std::exchange(m_grant, std::nullopt))
            giveBack(*grant);
    }

    bool isWanted() const { return m_isWanted; }
    bool isGranted() const { return m_grant.has_value(); }

private:
    void ask(std::size_t number)
    {
        if (number == services.size()) {
            if (!std::exchange(m_hasLogged, true))
                m_onRefused();
            return;
        }
        const Service &service = services.at(number);
        const QDBusConnection bus = busOf(service);
        if (!bus.isConnected())
            return ask(number + 1);
        auto *watcher = new QDBusPendingCallWatcher(
            bus.asyncCall(call(service, "Inhibit", arguments(number, m_reason)), patience), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, number, wish = m_wish] {
            watcher->deleteLater();
            const QDBusMessage reply = watcher->reply();
            if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
                if (wish == m_wish)
                    ask(number + 1);
                return;
            }
            const QVariant value = reply.arguments().constFirst();
            const Grant grant{number, value.toUInt(), value.value<QDBusUnixFileDescriptor>()};
            if (wish == m_wish)
                m_grant = grant;
            else // it was released meanwhile
                giveBack(grant);
        });
    }

    const std::function<void()> m_onRefused;
    QString m_reason;
    bool m_isWanted = false;
    bool m_hasLogged = false; // whether the log says that no service grants it
    unsigned m_wish = 0;      // a grant for an older wish is given back
    std::optional<Grant> m_grant;
};

SleepInhibitor::SleepInhibitor(std::function<void()> onRefused)
    : m_asking(std::make_unique<Asking>(std::move(onRefused)))
{
}

SleepInhibitor::~SleepInhibitor() = default;

void SleepInhibitor::hold(const std::string &reason)
{
    m_asking->hold(reason);
}

void SleepInhibitor::release()
{
    m_asking->release();
}

bool SleepInhibitor::isWanted() const
{
    return m_asking->isWanted();
}

bool SleepInhibitor::isGranted() const
{
    return m_asking->isGranted();
}

} // namespace kestrel
