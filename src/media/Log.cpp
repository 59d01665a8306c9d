#include "media/Log.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <fstream>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>

#include <fmt/format.h>

#include "platform/Paths.h"
#include "platform/Timestamp.h"

namespace kestrel::Log {

namespace fs = std::filesystem;

namespace {

void append(const std::string &line)
{
    // The file is opened for every line, so that the file may be moved away or deleted while the program
    // runs.
    std::ofstream stream(file(), std::ios::binary | std::ios::app);
    stream << line;
}

// Appends the lines on one thread, in the order of their arrival.
class Queue {
public:
    Queue() : m_thread([this](const std::stop_token &stop) { work(stop); }) {}

    void push(std::string line)
    {
        const std::scoped_lock guard(m_lock);
        m_lines.push_back(std::move(line));
        m_changed.notify_all();
    }

    void flush()
    {
        std::unique_lock guard(m_lock);
        m_changed.wait(guard, [this] { return m_lines.empty() && !m_isWriting; });
    }

private:
    void work(const std::stop_token &stop)
    {
        std::unique_lock guard(m_lock);
        // The loop ends only when it should stop and everything is written.
        while (m_changed.wait(guard, stop, [this] { return !m_lines.empty(); })) {
            const std::string line = std::move(m_lines.front());
            m_lines.pop_front();
            m_isWriting = true;
            guard.unlock();
            append(line);
            guard.lock();
            m_isWriting = false;
            m_changed.notify_all();
        }
    }

    std::mutex m_lock;
    std::condition_variable_any m_changed;
    std::deque<std::string> m_lines; // guarded by m_lock
    bool m_isWriting = false;        // guarded by m_lock
    std::jthread m_thread;           // last, so that everything it uses outlives it
};

Queue &queue()
{
    static Queue instance;
    return instance;
}

} // namespace

const fs::path &file()
{
    static const fs::path path = [] {
        const fs::path folder = Paths::home() / "Library/Logs/Kestrel";
        std::error_code ignored;
        fs::create_directories(folder, ignored);
        return folder / "Kestrel.log";
    }();
    return path;
}

void write(std::string_view message)
{
    std::string line = fmt::format("[{}] {}\n", timestamp(std::chrono::system_clock::now()), message);
    file(); // its path is created before the queue, so that it outlives the queue
    queue().push(std::move(line));
}

void flush()
{
    queue().flush();
}

} // namespace kestrel::Log
