#include "platform/FolderCheck.h"

#include <QTimer>
#include <algorithm>
#include <system_error>
#include <thread>
#include <utility>

namespace kestrel {

namespace {

constexpr int firstPause = 5, longestPause = 1000; // milliseconds

} // namespace

// The thread may hang forever, so it is never joined, and it uses only what it owns or shares.
FolderCheck::FolderCheck(std::filesystem::path folder, std::function<void()> onThere)
    : m_onThere(std::move(onThere)), m_answer(std::make_shared<std::atomic<Answer>>(Answer::none)),
      m_timer(std::make_unique<QTimer>())
{
    std::thread([folder = std::move(folder), answer = m_answer] {
        std::error_code error;
        *answer = std::filesystem::is_directory(folder, error) ? Answer::isThere : Answer::isNotThere;
    }).detach();
    m_timer->setSingleShot(true);
    m_timer->callOnTimeout([this] { look(); });
    m_timer->start(firstPause);
}

FolderCheck::~FolderCheck() = default;

void FolderCheck::look()
{
    if (*m_answer == Answer::none)
        m_timer->start(std::min(2 * m_timer->interval(), longestPause));
    else if (*m_answer == Answer::isThere)
        m_onThere();
}

} // namespace kestrel
