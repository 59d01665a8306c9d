#include "platform/FileManager.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <memory>

#include "platform/Files.h"
#include "platform/Signals.h"
#include "platform/Text.h"

#include <unistd.h>

namespace kestrel::FileManager {

namespace fs = std::filesystem;

namespace {

constexpr int patience = 3000; // milliseconds to wait for a reply

// The path is encoded, because a name that is no UTF-8 would not survive a Qt string.
QString uri(const fs::path &absolute)
{
    return QString::fromStdString("file://" + Text::percentEncoded(absolute.native()));
}

void report(const OnAnswer &onAnswer, bool isTaken)
{
    if (onAnswer)
        onAnswer(isTaken);
}

} // namespace

// https://www.freedesktop.org/wiki/Specifications/file-manager-interface/
void reveal(const fs::path &file, const OnAnswer &onAnswer)
{
    const fs::path path = Files::standardized(file);
    const auto openFolder = [path, onAnswer] { open(path.parent_path(), onAnswer); };
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return openFolder();

    QDBusMessage message = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    const QString startupId;
    message.setArguments({QStringList{uri(path)}, startupId});
    auto *watcher =
        new QDBusPendingCallWatcher(bus.asyncCall(message, patience), QCoreApplication::instance());
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [watcher, onAnswer, openFolder] {
        watcher->deleteLater();
        if (watcher->isError())
            openFolder();
        else
            report(onAnswer, true);
    });
}

void open(const fs::path &path, const OnAnswer &onAnswer)
{
    // The process has no owner, because it would end with that, and a session of its own, because the
    // terminal's Ctrl+C must not reach the program that shows the file.
    auto *opener = new QProcess;
    opener->setStandardInputFile(QProcess::nullDevice());
    opener->setStandardOutputFile(QProcess::nullDevice());
    opener->setStandardErrorFile(QProcess::nullDevice());
    opener->setChildProcessModifier([] {
        ::setsid();
        Signals::unblockInChild();
    });
    const auto answer = [onAnswer, isTold = std::make_shared<bool>(false)](bool isTaken) {
        if (!std::exchange(*isTold, true))
            report(onAnswer, isTaken);
    };
    QObject::connect(opener, &QProcess::finished, opener, [opener, answer](int status) {
        opener->deleteLater();
        answer(status == 0);
    });
    QObject::connect(opener, &QProcess::errorOccurred, opener,
                     [opener, answer](QProcess::ProcessError error) {
                         if (error != QProcess::FailedToStart)
                             return;
                         opener->deleteLater();
                         answer(false);
                     });
    // xdg-open may run as long as the program that shows the file.
    QTimer::singleShot(patience, opener, [answer] { answer(true); });
    opener->start(QStringLiteral("xdg-open"), {uri(Files::standardized(path))});
}

} // namespace kestrel::FileManager
