#include <QGuiApplication>
#include <QString>
#include <QtGlobal>
#include <cstdlib>
#include <string_view>

#include "cli/Commands.h"
#include "cli/Terminal.h"
#include "ui/Shell.h"

namespace kestrel {

namespace {

QtMessageHandler qtsHandler = nullptr;

// Where no screen can be opened, whatever the reason, Qt writes English lines and aborts in the application
// object's constructor; only this function can report it better.
void tellMissingScreen(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    if (QGuiApplication::platformName().isEmpty()) { // no screen is open yet
        if (type == QtFatalMsg) {
            Terminal::complain(
                "Hier lässt sich kein Bildschirm für das Fenster öffnen; ohne Fenster gehen die "
                "Befehle plan, convert, measure, clip, score und doctor.");
            std::_Exit(ExitStatus::unusable);
        }
        if (type != QtDebugMsg && std::string_view(context.category).starts_with("qt.qpa"))
            return;
    }
    qtsHandler(type, context, text);
}

int runWindowOnScreen(const Arguments &arguments)
{
    qtsHandler = qInstallMessageHandler(tellMissingScreen);
    WindowOptions options;
    if (!arguments.folder.empty())
        options.folder = arguments.folder;
    if (arguments.command == Arguments::Command::demo)
        options.snapshots = arguments.snapshots;
    options.usesTestSuite = arguments.usesTestSuite;
    options.isDark = arguments.isDark;
    return runWindow(options, KESTREL_VERSION);
}

} // namespace

} // namespace kestrel

int main(int count, char **words)
{
    kestrel::Terminal::openStreams();
    return kestrel::runCommandLine(count, words, kestrel::runWindowOnScreen);
}
