#include "platform/Mailbox.h"

#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <atomic>
#include <utility>

namespace kestrel {

namespace {

class Call : public QEvent {
public:
    explicit Call(std::function<void()> action) : QEvent(QEvent::User), m_action(std::move(action)) {}
    void run() const { m_action(); }

private:
    std::function<void()> m_action;
};

} // namespace

// Qt's queue orders everything between the two threads, but the thread sanitizer does not see into Qt: the
// counter shows it the same order.
class Mailbox::Receiver : public QObject {
public:
    ~Receiver() override { m_posted.load(); }

    void post(std::function<void()> action)
    {
        auto call = std::make_unique<Call>(std::move(action));
        ++m_posted;
        QCoreApplication::postEvent(this, call.release());
    }
    bool event(QEvent *event) override
    {
        m_posted.load();
        if (event->type() != QEvent::User)
            return QObject::event(event);
        static_cast<Call *>(event)->run();
        return true;
    }

private:
    std::atomic<unsigned> m_posted = 0;
};

Mailbox::Mailbox() : m_receiver(std::make_unique<Receiver>()) {}

Mailbox::~Mailbox() = default;

void Mailbox::post(std::function<void()> action)
{
    m_receiver->post(std::move(action));
}

} // namespace kestrel
