#pragma once

#include <QObject>
#include <QTimer>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/Mailbox.h"

namespace kestrel {

// Delivers workers' reports to the main thread, where `deliver` gets them in batches: only the latest of each
// key, and at most twenty batches a second, however much is reported. Drops what is not delivered at its
// destruction. REQUIRES: the workers have ended before that.
template <typename Key, typename Report>
class Outbox {
public:
    using Reports = std::map<Key, Report>;

    // REQUIRES: the main thread.
    template <typename Deliver>
    explicit Outbox(Deliver deliver)
    {
        m_timer.setSingleShot(true);
        m_timer.setInterval(50);
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this, deliver] { deliver(take()); });
    }

    // May be called from any thread.
    void post(const Key &key, Report report)
    {
        const std::scoped_lock guard(m_lock);
        m_reports.insert_or_assign(key, std::move(report));
        if (m_isScheduled)
            return;
        m_isScheduled = true;
        m_mailbox.post([this] { m_timer.start(); });
    }

    // Drops what this key has reported so far. REQUIRES: the main thread.
    void discard(const Key &key)
    {
        const std::scoped_lock guard(m_lock);
        m_reports.erase(key);
    }

    // Returns everything that has not been delivered. REQUIRES: the main thread.
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
