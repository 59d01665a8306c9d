#include "ui/Shell.h"

#include <QApplication>
#include <QIcon>
#include <QLibraryInfo>
#include <QTranslator>
#include <clocale>
#include <string_view>

#include "model/AppModel.h"
#include "platform/ApplicationId.h"
#include "platform/ColorScheme.h"
#include "platform/Launcher.h"
#include "platform/Mailbox.h"
#include "platform/OnExit.h"
#include "platform/Signals.h"
#include "ui/Demo.h"
#include "ui/look/Accessibility.h"
#include "ui/look/Theme.h"
#include "ui/window/MainWindow.h"

namespace kestrel {

namespace {

// Corrects Qt's German key names that differ from those on German keyboards.
class Keys : public QTranslator {
public:
    QString translate(const char *context, const char *source, const char *, int) const override
    {
        const bool isReturn =
            std::string_view(context) == "QShortcut" && std::string_view(source) == "Return";
        return isReturn ? QStringLiteral("Eingabe") : QString();
    }
    bool isEmpty() const override { return false; }
};

AppModel::Options optionsOf(const WindowOptions &options)
{
    AppModel::Options model;
    model.openFolder = options.folder;
    if (options.usesTestSuite)
        model.store = UserDefaults::testSuite();
    model.servesStatusPage = true;
    return model;
}

bool startsDark(const QPalette &desktop, const WindowState &state)
{
    const QByteArray remembered = state.value("dark");
    return remembered.isEmpty() ? Theme::isDark(desktop) : remembered == "1";
}

} // namespace

int runWindow(const WindowOptions &options, const std::string &version)
{
    Signals termination; // created first: Qt starts threads
    QApplication::setApplicationName(QStringLiteral("Kestrel"));
    QApplication::setApplicationVersion(QString::fromStdString(version));
    QApplication::setDesktopFileName(QLatin1String(applicationId));
    int count = 1;
    std::string name = "kestrel";
    char *words = name.data();
    QApplication application(count, &words);
    std::setlocale(LC_NUMERIC, "C"); // Qt has set the user's; numbers for ffmpeg need a point
    QLocale::setDefault(QLocale(QLocale::German));
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/kestrel.svg")));
    QTranslator german;
    if (german.load(QStringLiteral("qtbase_de"), QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QCoreApplication::installTranslator(&german);
    Keys keys;
    QCoreApplication::installTranslator(&keys);

    installAccessibility();

    if (options.snapshots) {
        Theme::apply(application, options.isDark);
        return runDemo(*options.folder, *options.snapshots);
    }

    const AppModel::Options modelOptions = optionsOf(options);
    WindowState state(modelOptions.store.file());
    const QPalette desktop = QApplication::palette();
    Theme::apply(application, startsDark(desktop, state));
    AppModel model(modelOptions);
    MainWindow window(model, modelOptions.store.file());
    const bool hasDarkPalette = Theme::isDark(desktop);
    const ColorScheme scheme([&](std::optional<bool> isDark) {
        Theme::apply(application, isDark.value_or(hasDarkPalette));
        state.setValue("dark", !isDark ? "" : *isDark ? "1" : "0");
    });
    // A signal ends the window as "Abbrechen und beenden" does.
    Mailbox mailbox;
    termination.setOnEnd([&] { mailbox.post([&] { window.quitGuard().stopAndQuit(); }); });
    const auto endAsUsual = onExit([&] { termination.setOnEnd({}); });
    QObject::connect(&model, &AppModel::badgeChanged,
                     [](const std::optional<std::string> &text) { Launcher::setBadge(text); });
    QObject::connect(&model, &AppModel::attentionRequested, &window, [&] { QApplication::alert(&window); });
    QApplication::setQuitOnLastWindowClosed(false);
    QObject::connect(&window, &MainWindow::closed, &application, &QApplication::quit);
    window.show();
    return QApplication::exec();
}

} // namespace kestrel
