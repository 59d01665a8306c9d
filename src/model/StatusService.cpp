#include "model/StatusService.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "media/Log.h"
#include "model/AppModel.h"
#include "model/StatusReport.h"
#include "status/StatusPage.h"

namespace kestrel {

namespace {

// Requests within this time get the same snapshot.
constexpr std::chrono::milliseconds freshness{200};

constexpr std::chrono::seconds untilNextTry{5};

constexpr const char *iconPaths[] = {"/apple-touch-icon.png", "/apple-touch-icon-precomposed.png",
                                     "/favicon.ico"};

} // namespace

StatusService::StatusService(const AppModel &model) : m_model(model)
{
    m_nextTry.setSingleShot(true);
    connect(&m_nextTry, &QTimer::timeout, this, &StatusService::listen);
}

StatusService::~StatusService() = default;

std::optional<std::uint16_t> StatusService::parsePort(const std::string &text)
{
    const std::string_view digits = std::string_view(text).substr(text.starts_with('+') ? 1 : 0);
    std::uint16_t port = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
    const bool isWhole = error == std::errc() && end == digits.data() + digits.size();
    return isWhole && port > 0 ? std::optional(port) : std::nullopt;
}

void StatusService::apply(bool isOn, std::uint16_t port)
{
    const auto wanted = isOn ? std::optional(port) : std::nullopt;
    if (wanted == m_wanted)
        return;
    m_wanted = wanted;
    m_nextTry.stop();
    setState(std::nullopt, std::nullopt);
    if (!isOn) {
        m_server.reset();
        m_waiting.clear(); // their connections are closed
        return;
    }
    if (!m_server)
        m_server = std::make_unique<StatusServer>(
            [this](const std::string &path, StatusServer::Reply reply) { answer(path, std::move(reply)); });
    listen();
}

void StatusService::listen()
{
    const std::uint16_t port = *m_wanted;
    m_server->start(port, [this, port](const std::optional<std::string> &error) {
        m_mailbox.post([this, port, error] {
            if (m_wanted != port) // it was switched off meanwhile
                return;
            setState(error ? std::nullopt : std::optional(port), error);
            if (error)
                m_nextTry.start(untilNextTry);
        });
    });
}

void StatusService::setState(std::optional<std::uint16_t> port, std::optional<std::string> error)
{
    if (port == m_port && error == m_error)
        return;
    if (error)
        Log::write("Statusseite: " + *error);
    m_port = port;
    m_error = std::move(error);
    emit changed();
}

// Runs on the server's thread.
void StatusService::answer(const std::string &path, StatusServer::Reply reply)
{
    using Response = StatusServer::Response;
    if (path == "/status.json")
        return answerWithSnapshot(std::move(reply));
    if (path == "/" || path == "/index.html")
        return reply(Response{200, "text/html; charset=utf-8", std::string(StatusPage::html())});
    if (std::find(std::begin(iconPaths), std::end(iconPaths), path) != std::end(iconPaths))
        return reply(Response{200, "image/png", std::string(StatusPage::touchIcon())});
    reply(std::nullopt);
}

// Runs on the server's thread.
void StatusService::answerWithSnapshot(StatusServer::Reply reply)
{
    const std::scoped_lock guard(m_lock);
    m_askedAt = std::chrono::steady_clock::now();
    if (m_askedAt - m_madeAt < freshness)
        return reply(m_latest);
    m_waiting.push_back(std::move(reply));
    if (m_waiting.size() == 1)
        m_mailbox.post([this] { makeSnapshot(); });
}

std::chrono::steady_clock::time_point StatusService::askedAt()
{
    const std::scoped_lock guard(m_lock);
    return m_askedAt;
}

void StatusService::makeSnapshot()
{
    if (!m_server)
        return;
    m_server->post([this, snapshot = statusSnapshot(m_model)] {
        StatusServer::Response response{200, "application/json; charset=utf-8", snapshot.toJson()};
        const std::scoped_lock guard(m_lock);
        m_latest = std::move(response);
        m_madeAt = std::chrono::steady_clock::now();
        for (const auto &reply : std::exchange(m_waiting, {}))
            reply(m_latest);
    });
}

} // namespace kestrel
