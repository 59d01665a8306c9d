#pragma once

#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>

class QTimer;

namespace kestrel {

// Finds out whether a folder is there without anybody waiting: a share whose server is away may not answer
// for minutes. REQUIRES: the main thread. An answer comes through its event loop, and never after the
// destruction of the check.
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
