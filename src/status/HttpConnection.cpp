#include "status/HttpConnection.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <utility>

#include <fcntl.h>
#include <sys/socket.h>

namespace kestrel {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t mostAtOnce = 8192, longestHead = 16384; // bytes
constexpr auto patience = 10s;  // for a request to arrive, and for its answer to be read
constexpr auto lastMoment = 2s; // for the client to close the connection, once it has everything
constexpr const char *headEnd = "\r\n\r\n";
constexpr std::size_t headEndSize = 4;

} // namespace

HttpConnection::HttpConnection(FileDescriptor socket, Events events)
    : m_socket(std::move(socket)), m_events(std::move(events)),
      m_readable(m_socket.get(), QSocketNotifier::Read), m_writable(m_socket.get(), QSocketNotifier::Write)
{
    ::fcntl(m_socket.get(), F_SETFL, O_NONBLOCK);
    m_writable.setEnabled(false);
    m_clock.setSingleShot(true);
    QObject::connect(&m_clock, &QTimer::timeout, &m_clock, [this] { m_events.ended(); });
    QObject::connect(&m_readable, &QSocketNotifier::activated, &m_readable, [this] { read(); });
    QObject::connect(&m_writable, &QSocketNotifier::activated, &m_writable, [this] { write(); });
    m_clock.start(patience);
}

void HttpConnection::read()
{
    std::array<char, mostAtOnce> buffer; // NOLINT(cppcoreguidelines-pro-type-member-init): filled by recv
    const ssize_t count = ::recv(m_socket.get(), buffer.data(), buffer.size(), 0);
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (count > 0)
        return take(buffer.data(), static_cast<std::size_t>(count));
    const bool isAnswered = !m_answer.empty() && m_written == m_answer.size();
    if (count < 0 || !m_hasAsked || isAnswered)
        return m_events.ended();
    m_readable.setEnabled(false); // the client still waits for its answer
}

void HttpConnection::take(const char *bytes, std::size_t count)
{
    if (m_hasAsked)
        return;
    m_head.append(bytes, count);
    const std::size_t end = m_head.find(headEnd);
    if (std::min(end, m_head.size()) + (end == std::string::npos ? 0 : headEndSize) > longestHead)
        return m_events.ended();
    if (end == std::string::npos)
        return;
    m_hasAsked = true;
    m_clock.stop(); // the client is not responsible for the time that the answer takes
    m_head.resize(end + headEndSize);
    m_events.asked(std::exchange(m_head, {}));
}

void HttpConnection::answer(std::string bytes)
{
    m_answer = std::move(bytes);
    m_clock.start(patience);
    write();
}

void HttpConnection::write()
{
    while (m_written < m_answer.size()) {
        const ssize_t count =
            ::send(m_socket.get(), m_answer.data() + m_written, m_answer.size() - m_written, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0 && errno == EAGAIN)
            return m_writable.setEnabled(true);
        if (count < 0)
            return m_events.ended();
        m_written += static_cast<std::size_t>(count);
    }
    m_writable.setEnabled(false);
    if (!m_readable.isEnabled())
        return m_events.ended();
    ::shutdown(m_socket.get(), SHUT_WR);
    m_clock.start(lastMoment);
}

} // namespace kestrel
