#pragma once

#include <QObject>
#include <QTimer>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/Mailbox.h"

namespace kestrel {

// Brings what workers report to the main thread, where `deliver` gets it in one piece: of each key only the
// latest, and no more than twenty times a second, however much they report. The workers must have ended
// before the outbox is destroyed; what is not delivered by then is dropped.
template <typename Key, typename Report>
class Outbox {
public:
    using Reports = std::map<Key, Report>;

    // On the main thread.
    template <typename Deliver>
    explicit Outbox(Deliver deliver)
    {
        m_timer.setSingleShot(true);
        m_timer.setInterval(50);
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this, deliver] { deliver(take()); });
    }

    // From any thread.
    void post(const Key &key, Report report)
    {
        const std::scoped_lock guard(m_lock);
        m_reports.insert_or_assign(key, std::move(report));
        if (m_isScheduled)
            return;
        m_isScheduled = true;
        m_mailbox.post([this] { m_timer.start(); });
    }

    // On the main thread: what this key has reported until now is overtaken by something else.
    void discard(const Key &key)
    {
        const std::scoped_lock guard(m_lock);
        m_reports.erase(key);
    }

    // On the main thread: everything that has not been delivered.
    Reports take()
    {
        const std::scoped_lock guard(m_lock);
        m_isScheduled = false;
        return std::exchange(m_reports, {});
    }

private:
    QTimer m_timer;
    Mailbox m_mailbox;

    // Guarded by m_lock.
    std::mutex m_lock;
    Reports m_reports;
    bool m_isScheduled = false;
};

} // namespace kestrel
