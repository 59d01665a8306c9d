#include "cli/Session.h"

#include <QTimer>
#include <algorithm>
#include <system_error>

#include <fmt/format.h>

#include "cli/Terminal.h"
#include "model/Sentences.h"
#include "platform/Cancelled.h"
#include "platform/ErrorText.h"
#include "platform/Files.h"
#include "platform/Text.h"

namespace kestrel {

namespace fs = std::filesystem;

namespace {

std::optional<std::set<fs::path>> parseOnly(const std::vector<std::string> &words,
                                            const std::stop_token &stop)
{
    if (words.empty())
        return std::nullopt;
    std::set<fs::path> files;
    for (const auto &word : words)
        for (const auto &file : word == "-" ? Terminal::readLines(stop) : std::vector{word})
            files.insert(fs::path(file).lexically_normal());
    return files;
}

AppModel::Options optionsOf(const Arguments &arguments, Session::Access access,
                            const std::optional<std::set<fs::path>> &only)
{
    AppModel::Options options;
    const ConversionSettings stored = options.store.settings().value_or(ConversionSettings());
    options.settings = arguments.applied(arguments.startsFromDefaults ? ConversionSettings() : stored);
    options.measuresQuality = arguments.measuresQuality      ? arguments.measuresQuality
                              : arguments.startsFromDefaults ? std::optional(true)
                                                             : std::nullopt;
    options.persists = false; // options apply to this run only
    options.changesFiles = access == Session::Access::changesFiles;
    options.servesStatusPage =
        arguments.command == Arguments::Command::convert || arguments.command == Arguments::Command::measure;
    options.asksAgain = arguments.asksAgain;
    options.only = only;
    return options;
}

} // namespace

Session::Session(const Arguments &arguments, Interrupt &interrupt, Access access)
    : m_arguments(arguments), m_interrupt(interrupt), m_only(parseOnly(arguments.only, interrupt.token())),
      m_model(optionsOf(arguments, access, m_only)),
      m_onInterrupt(interrupt.token(), [this] { m_mailbox.post([this] { stop(); }); })
{
    interrupt.setOnSuspend([this] {
        m_mailbox.post(
            [this] { m_interrupt.suspend([this] { m_model.suspend(); }, [this] { m_model.resume(); }); });
    });
    QObject::connect(&m_model, &AppModel::statusServerChanged, [this] { tellAddress(); });
    QObject::connect(&m_model, &AppModel::repaired,
                     [](const std::string &message) { Terminal::complain(Terminal::shown(message)); });
}

Session::~Session()
{
    m_interrupt.setOnSuspend({});
}

void Session::stop()
{
    m_model.stop();
    m_loop.quit();
}

void Session::tellAddress() const
{
    if (const auto &error = m_model.statusServerError())
        return Terminal::complain(*error);
    const auto addresses = m_model.statusURLs();
    if (const auto port = m_model.statusPort())
        Terminal::complain("Fortschritt im Browser: " + (addresses.empty()
                                                             ? fmt::format("http://localhost:{}", *port)
                                                             : addresses.front()));
}

void Session::waitUntil(const std::function<bool()> &condition)
{
    QObject waiting; // limits the connections to this call
    const auto look = [&] {
        if (condition() || m_interrupt.isRequested())
            m_loop.quit();
    };
    QObject::connect(&m_model, &AppModel::toolsChanged, &waiting, look);
    QObject::connect(&m_model, &AppModel::activityChanged, &waiting, look);
    // A running task ends first: the activity reports that it has stopped.
    while (!condition() && !(m_interrupt.isRequested() && !m_model.isBusy()))
        m_loop.exec();
}

void Session::waitUntilIdle()
{
    waitUntil([this] { return !m_model.isBusy(); });
    throwIfStopped(m_interrupt.token());
}

void Session::showTheEnd()
{
    using namespace std::chrono_literals;
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now();
    // A page requests the status every two seconds, a hidden one every fifteen.
    if (!m_model.statusPort() || end - m_model.statusPageAskedAt() > 20s)
        return;
    const auto patience = m_interrupt.isRequested() ? 3s : 16s;
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, &m_loop, [&] {
        const auto asked = m_model.statusPageAskedAt() - end;
        const auto passed = Clock::now() - end;
        // A reply within the first moment may have been made before the end.
        if (passed > patience || (asked > 300ms && passed - asked > 300ms))
            m_loop.quit();
    });
    look.start(100ms);
    m_loop.exec();
}

void Session::open(const fs::path &folder)
{
    requireTools();
    const bool showsProgress = Terminal::isErrorTerminal();
    const auto progress = QObject::connect(&m_model, &AppModel::activityChanged, [&] {
        const Activity &activity = m_model.activity();
        if (showsProgress && activity.kind == Activity::Kind::scanning)
            Terminal::writeError(fmt::format("\rAnalysiere {}/{} …\x1b[K", activity.done, activity.total));
    });
    m_model.open(folder);
    waitUntil([this] { return !m_model.isBusy(); });
    QObject::disconnect(progress);
    if (showsProgress)
        Terminal::writeError("\r\x1b[K");
    throwIfStopped(m_interrupt.token());
    if (m_model.scanError())
        throw ToolError::failed(Sentences::scanFailed(*m_model.scanError()));
    for (const auto &original : m_model.hiddenHere())
        Terminal::complain(
            fmt::format("{}\n  {}", Terminal::shown(original.title()), Terminal::shown(original.moveLine())));
    tellMissing();
}

void Session::requireTools()
{
    const VideoCodecChoice wanted = m_model.settings().codec;
    waitUntil([this] { return m_model.tools() || m_model.toolError(); });
    throwIfStopped(m_interrupt.token());
    if (m_model.toolError())
        throw ToolError::failed(*m_model.toolError());
    if (m_model.settings().codec == wanted)
        return;
    const auto sentence =
        fmt::format("{} kann {} nicht kodieren", m_model.tools()->ffmpeg.native(), title(wanted));
    if (m_arguments.isCodecChosen)
        throw UsageError(sentence + ".");
    Terminal::complain(sentence + " – das Bild bleibt unverändert.");
}

void Session::tellMissing()
{
    if (!m_only)
        return;
    std::set<fs::path> found;
    for (const auto &item : library().items())
        found.insert(item->relativePath);
    for (const auto &file : *m_only)
        if (!found.contains(file) && m_arguments.command != Arguments::Command::clip) {
            ++m_missing;
            Terminal::complain(fmt::format("„{}“: Diese Videodatei gibt es in dem Ordner nicht.",
                                           Terminal::shown(file.native())));
        }
}

std::string_view Session::nothingFound() const
{
    return m_only ? "Von den genannten Dateien wurde keine gefunden." : Sentences::nothingFound;
}

UsageError unreadable(const std::string &subject, const std::error_code &why)
{
    return UsageError(fmt::format("{} kann nicht gelesen werden: {}.", subject, ErrorText::describe(why)));
}

fs::path requireFolder(const fs::path &given)
{
    std::error_code error;
    // "..", read literally, leads to the wrong folder behind a symbolic link.
    const bool climbs = std::find(given.begin(), given.end(), "..") != given.end();
    const fs::path folder = Files::standardized(climbs ? fs::canonical(given, error) : given);
    if (!error && fs::exists(folder, error) && !fs::is_directory(folder, error))
        throw UsageError("„" + Terminal::shown(given.native()) + "“ ist kein Ordner.");
    if (!error)
        fs::directory_iterator(folder, error);
    if (error)
        throw unreadable("Der Ordner „" + Terminal::shown(given.native()) + "“", error);
    return folder;
}

} // namespace kestrel
