#include "status/StatusServer.h"

#include <QHostAddress>
#include <QTcpServer>
#include <QThread>
#include <QTimer>
#include <algorithm>
#include <map>
#include <mutex>
#include <semaphore>
#include <utility>

#include <fmt/format.h>

#include "platform/ApplicationId.h"
#include "platform/Mailbox.h"
#include "platform/Network.h"
#include "platform/Text.h"
#include "status/HttpConnection.h"
#include "status/HttpRequest.h"

namespace kestrel {

namespace {

constexpr std::size_t mostConnections = 64;
constexpr int waitingConnections = 128;

const char *reason(int status)
{
    switch (status) {
    case 404:
        return "Not Found";
    case 405:
        return "Method Not Allowed";
    default:
        return "OK";
    }
}

std::string written(const StatusServer::Response &response, bool hasBody)
{
    const std::string head =
        fmt::format("HTTP/1.1 {} {}\r\nContent-Type: {}\r\nContent-Length: {}\r\n"
                    "Cache-Control: no-store\r\nConnection: close\r\n\r\n",
                    response.status, reason(response.status), response.contentType, response.body.size());
    return hasBody ? head + response.body : head;
}

} // namespace

StatusServer::Response StatusServer::Response::text(std::string message, int status)
{
    return {status, "text/plain; charset=utf-8", std::move(message)};
}

// Lives on the server's thread.
class StatusServer::Listener : public QTcpServer {
public:
    explicit Listener(Handler handler)
        : m_handler(std::move(handler)), m_letterbox(std::make_shared<Letterbox>())
    {
        setListenBacklogSize(waitingConnections);
    }
    ~Listener() override { m_letterbox->close(); }

    void listen(std::uint16_t number, const OnState &onState)
    {
        close();
        if (QTcpServer::listen(QHostAddress::Any, number))
            return onState(std::nullopt);
        onState(serverError() == QAbstractSocket::AddressInUseError
                    ? fmt::format("Port {} ist schon belegt – läuft Kestrel ein zweites Mal?", number)
                    : fmt::format("Port {} lässt sich nicht öffnen.", number));
    }

private:
    // Drops replies that arrive after the end of the server.
    class Letterbox {
    public:
        void close()
        {
            const std::scoped_lock guard(m_lock);
            m_mailbox.reset();
        }
        void post(std::function<void()> action)
        {
            const std::scoped_lock guard(m_lock);
            if (m_mailbox)
                m_mailbox->post(std::move(action));
        }

    private:
        std::mutex m_lock;
        std::optional<Mailbox> m_mailbox{std::in_place}; // guarded by m_lock
    };

    using Number = std::uint64_t; // older connections have smaller ones

    void incomingConnection(qintptr descriptor) override
    {
        if (m_connections.size() == mostConnections)
            makeRoom();
        const Number number = m_nextNumber++;
        m_connections.emplace(number, std::make_unique<HttpConnection>(
                                          FileDescriptor(static_cast<int>(descriptor)),
                                          HttpConnection::Events{[this, number](const std::string &head) {
                                                                     respond(number, head);
                                                                 },
                                                                 [this, number] { end(number); }}));
    }

    // Evicts the oldest connection that has not sent its request, or the oldest of all.
    void makeRoom()
    {
        const auto victim = std::find_if(m_connections.begin(), m_connections.end(),
                                         [](const auto &entry) { return !entry.second->hasAsked(); });
        end(victim != m_connections.end() ? victim->first : m_connections.begin()->first);
    }

    // The connection may be in the middle of reporting its end, so it is destroyed later.
    void end(Number number)
    {
        auto ended = m_connections.extract(number);
        if (ended.empty())
            return;
        m_ended.push_back(std::move(ended.mapped()));
        if (m_ended.size() == 1)
            QTimer::singleShot(0, this, [this] { m_ended.clear(); });
    }

    void respond(Number number, const std::string &head)
    {
        const auto request = HttpRequest::parse(head);
        if (!request) // the head is nothing that could be answered
            return end(number);
        const bool hasBody = request->method != "HEAD";
        const auto reply = [this, letterbox = m_letterbox, number,
                            hasBody](const std::optional<Response> &response) {
            letterbox->post(
                [this, number,
                 bytes = written(response.value_or(Response::text("Nicht gefunden", 404)), hasBody)] {
                    if (const auto found = m_connections.find(number); found != m_connections.end())
                        found->second->answer(bytes);
                });
        };
        if (!isMeantForUs(*request))
            reply(std::nullopt);
        else if (request->method != "GET" && request->method != "HEAD")
            reply(Response::text("Die Seite kann nur anzeigen.", 405));
        else
            m_handler(request->path, reply);
    }

    // A page elsewhere may have pointed its own name at this computer, to read file names.
    static bool isMeantForUs(const HttpRequest &request)
    {
        if (!request.host)
            return true;
        const std::string name = request.hasSeveralHosts ? "" : hostWithoutPort(*request.host);
        if (isAddressInDigits(name) || name == "localhost")
            return true;
        if (!name.empty() && name == Text::lower(Network::fullHostName()))
            return true;
        const std::string own = Text::lower(Network::hostName());
        if (own.empty() || (name != own && !name.starts_with(own + ".")))
            return false;
        const auto domains = Network::domains();
        return name == own || name == own + ".local" ||
               std::any_of(domains.begin(), domains.end(),
                           [&](const auto &domain) { return name == own + "." + Text::lower(domain); });
    }

    const Handler m_handler;
    const std::shared_ptr<Letterbox> m_letterbox;
    std::map<Number, std::unique_ptr<HttpConnection>> m_connections;
    std::vector<std::unique_ptr<HttpConnection>> m_ended;
    Number m_nextNumber = 0;
};

// The thread creates, uses and destroys the listener.
struct StatusServer::Thread : QThread {
    explicit Thread(Handler wanted) : handler(std::move(wanted))
    {
        setObjectName(QString::fromLatin1(applicationId) + QStringLiteral(".statusserver"));
        start();
        isReady.acquire();
    }
    ~Thread() override
    {
        quit();
        wait();
    }
    void run() override
    {
        Listener here(std::move(handler));
        Mailbox calls;
        listener = &here;
        mailbox = &calls;
        isReady.release();
        exec();
    }

    Handler handler;
    Listener *listener = nullptr;
    Mailbox *mailbox = nullptr;
    std::binary_semaphore isReady{0};
};

StatusServer::StatusServer(Handler handler) : m_thread(std::make_unique<Thread>(std::move(handler))) {}

StatusServer::~StatusServer() = default;

void StatusServer::start(std::uint16_t number, OnState onState)
{
    m_thread->mailbox->post([listener = m_thread->listener, number, onState = std::move(onState)] {
        listener->listen(number, onState);
    });
}

void StatusServer::stop()
{
    m_thread->mailbox->post([listener = m_thread->listener] { listener->close(); });
}

void StatusServer::post(std::function<void()> action)
{
    m_thread->mailbox->post(std::move(action));
}

std::vector<std::string> StatusServer::pageURLs(std::uint16_t number)
{
    std::vector<std::string> hosts = Network::ipv4Addresses();
    if (const std::string name = Network::localHostName(); !name.empty())
        hosts.insert(hosts.begin(), name);
    for (auto &host : hosts)
        host = fmt::format("http://{}:{}", host, number);
    return hosts;
}

} // namespace kestrel
