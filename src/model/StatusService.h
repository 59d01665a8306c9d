#pragma once

#include <QObject>
#include <QTimer>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/Mailbox.h"
#include "status/StatusServer.h"

namespace kestrel {

class AppModel;

// Serves a page in the home network that shows what a model is doing. Requests are answered on the server's
// thread, and get a snapshot from the main thread at most five times a second. REQUIRES: the main thread.
class StatusService : public QObject {
    Q_OBJECT

public:
    // REQUIRES: the model outlives the service.
    explicit StatusService(const AppModel &model);
    ~StatusService() override;

    // Starts or stops it; does nothing where it already is in that state. Where it cannot listen, it tries
    // again every few seconds, because another instance may have ended.
    void apply(bool isOn, std::uint16_t port);

    // Returns the port while it listens.
    std::optional<std::uint16_t> port() const { return m_port; }
    const std::optional<std::string> &error() const { return m_error; } // German
    // Returns when a page last requested the status; long ago where no page is open.
    std::chrono::steady_clock::time_point askedAt();

    // Converts the user's text to a port: 1 … 65535 in decimal digits, with or without "+".
    static std::optional<std::uint16_t> parsePort(const std::string &text);

signals:
    void changed(); // port or error has changed

private:
    void answer(const std::string &path, StatusServer::Reply reply);
    void answerWithSnapshot(StatusServer::Reply reply);
    void makeSnapshot();
    void listen();
    void setState(std::optional<std::uint16_t> port, std::optional<std::string> error);

    const AppModel &m_model;
    std::optional<std::uint16_t> m_wanted, m_port;
    std::optional<std::string> m_error;
    QTimer m_nextTry;
    Mailbox m_mailbox;

    // Guarded by m_lock.
    std::mutex m_lock;
    std::vector<StatusServer::Reply> m_waiting;
    StatusServer::Response m_latest;
    std::chrono::steady_clock::time_point m_madeAt{}, m_askedAt{};

    std::unique_ptr<StatusServer> m_server; // last, so that what its thread uses outlives it
};

} // namespace kestrel
