#pragma once

#include <QEventLoop>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <string_view>
#include <system_error>

#include "cli/Arguments.h"
#include "cli/Interrupt.h"
#include "model/AppModel.h"
#include "platform/Mailbox.h"

namespace kestrel {

// Owns the model of one call of the command line, and the event loop that drives it. Its waiting functions
// throw Cancelled once the user has interrupted the call.
class Session {
public:
    enum class Access { readOnly, changesFiles };

    Session(const Arguments &arguments, Interrupt &interrupt, Access access);
    ~Session();
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    AppModel &model() { return m_model; }
    const Library &library() const { return m_model.library(); }

    // Locates the tools and scans the folder, with progress on a terminal. Throws UsageError where the folder
    // cannot be read or the settings cannot be met, ToolError where tools are missing.
    void open(const std::filesystem::path &folder);
    void waitUntilIdle();
    // Keeps serving the status page to an open browser until it has shown the end.
    void showTheEnd();
    // Returns the number of files that "--only" names and the folder lacks; each has been reported.
    std::size_t missing() const { return m_missing; }
    // Returns the sentence for a library without files.
    std::string_view nothingFound() const;

private:
    void stop();
    void tellAddress() const;
    void waitUntil(const std::function<bool()> &condition);
    void requireTools();
    void tellMissing();

    const Arguments &m_arguments;
    Interrupt &m_interrupt;
    const std::optional<std::set<std::filesystem::path>> m_only;
    AppModel m_model;
    QEventLoop m_loop;
    Mailbox m_mailbox;
    std::stop_callback<std::function<void()>> m_onInterrupt;
    std::size_t m_missing = 0;
};

// `subject` names for the user what cannot be read.
UsageError unreadable(const std::string &subject, const std::error_code &why);
// Returns the folder as an absolute path. Throws UsageError when it cannot be opened.
std::filesystem::path requireFolder(const std::filesystem::path &given);

} // namespace kestrel
