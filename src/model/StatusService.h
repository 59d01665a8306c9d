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

// Serves what a model is doing as a page in the home network. Main thread; requests are answered on the
// server's, and ask the main thread for a snapshot at most five times a second.
class StatusService : public QObject {
    Q_OBJECT

public:
    // The model outlives the service.
    explicit StatusService(const AppModel &model);
    ~StatusService() override;

    // Starts or stops it; does nothing where it is so already. Where it cannot listen, it tries again every
    // few seconds, because another instance may have ended.
    void apply(bool isOn, std::uint16_t port);

    // Present while it listens.
    std::optional<std::uint16_t> port() const { return m_port; }
    const std::optional<std::string> &error() const { return m_error; } // German
    // When the page has last asked; long ago where nobody has it open.
    std::chrono::steady_clock::time_point askedAt();

    // Makes the port of the user's text: 1 … 65535 in decimal digits, with or without "+".
    static std::optional<std::uint16_t> parsePort(const std::string &text);

signals:
    void changed(); // port or error

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

    std::unique_ptr<StatusServer> m_server; // last: its thread uses the above
};

} // namespace kestrel
