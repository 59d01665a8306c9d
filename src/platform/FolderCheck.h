#pragma once

#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>

class QTimer;

namespace kestrel {

// Finds out whether a folder exists without blocking the caller: a share whose server is away may not answer
// for minutes. A reply comes through the main thread's event loop, and never after the destruction of the
// check. REQUIRES: the main thread.
class FolderCheck {
public:
    FolderCheck(std::filesystem::path folder, std::function<void()> onThere);
    ~FolderCheck();

private:
    enum class Answer { none, isThere, isNotThere };

    void look();

    const std::function<void()> m_onThere;
    const std::shared_ptr<std::atomic<Answer>> m_answer;
    const std::unique_ptr<QTimer> m_timer;
};

} // namespace kestrel
