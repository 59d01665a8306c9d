// Measures the window; prints the numbers as one JSON object. It does not judge them.

#include <QApplication>
#include <QEventLoop>
#include <QScrollBar>
#include <QTimer>
#include <algorithm>
#include <clocale>
#include <cstdio>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "Stopwatch.h"
#include "platform/TemporaryFolder.h"
#include "ui/SimulatedRun.h"
#include "ui/look/Theme.h"
#include "ui/window/MainWindow.h"

namespace {

using namespace kestrel;
using bench::Stopwatch;
using nlohmann::ordered_json;

void waitUntil(const std::function<bool()> &condition)
{
    while (!condition())
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 20);
}

// Notices when a widget has been painted for the first time.
class FirstPaint : public QObject {
public:
    explicit FirstPaint(QWidget &widget) { widget.installEventFilter(this); }
    bool has = false;

private:
    bool eventFilter(QObject *, QEvent *event) override
    {
        // This runs after the paint itself.
        if (event->type() == QEvent::Paint)
            QMetaObject::invokeMethod(
                this, [this] { has = true; }, Qt::QueuedConnection);
        return false;
    }
};

AppModel::Options harmless()
{
    AppModel::Options options;
    options.settings = ConversionSettings();
    options.persists = false;
    options.changesFiles = false;
    return options;
}

// Time that passes after the picture does not belong to the start.
[[noreturn]] void endWith(const TemporaryFolder &temporary)
{
    std::filesystem::remove_all(temporary.path());
    std::_Exit(0);
}

// The parent process measures the time until this one has ended.
[[noreturn]] void start(QApplication &application, bool isEmpty)
{
    const TemporaryFolder temporary;
    if (isEmpty) {
        QWidget window;
        window.resize(1180, 760);
        const FirstPaint first(window);
        window.show();
        waitUntil([&] { return first.has; });
        endWith(temporary);
    }
    Theme::apply(application, false);
    AppModel::Options options = harmless();
    options.servesStatusPage = true;
    AppModel model(options);
    MainWindow window(model, temporary.path() / "window.conf");
    const FirstPaint first(window);
    window.show();
    waitUntil([&] { return first.has; });
    endWith(temporary);
}

ordered_json table(QApplication &application, const char *folder, const char *tools)
{
    Theme::apply(application, false);
    const TemporaryFolder temporary;
    AppModel::Options options = harmless();
    options.toolFolders = {tools};
    SimulatedRun *run = nullptr;
    options.makeRun = [&run](RunTask::Request request, Library &library, RunStats &stats) {
        auto simulated = std::make_unique<SimulatedRun>(std::move(request), library, stats);
        run = simulated.get();
        return simulated;
    };
    AppModel model(options);
    waitUntil([&] { return model.tools().has_value(); });
    model.open(folder);
    waitUntil([&] { return !model.isBusy(); });

    const Stopwatch opening;
    MainWindow window(model, temporary.path() / "window.conf");
    FirstPaint first(*window.table().viewport());
    window.show();
    waitUntil([&] { return first.has; });
    const double opened = opening.wall();

    std::vector<double> frames;
    QScrollBar &bar = *window.table().verticalScrollBar();
    for (int step = 0; step < 300; ++step) {
        const Stopwatch frame;
        bar.setValue(static_cast<int>(static_cast<long>(bar.maximum()) * step / 300));
        window.table().viewport()->repaint();
        frames.push_back(frame.wall());
    }
    std::sort(frames.begin(), frames.end());

    const Stopwatch sorting;
    model.library().setSortOrder({{RowComparator::Column::name, false}});
    window.table().viewport()->repaint();
    const double sorted = sorting.wall();
    model.library().setSortOrder(byName);

    model.startConversion();
    run->show(0.3);
    bar.setValue(bar.maximum() * 3 / 10);
    std::vector<FileItem *> working;
    for (const auto &item : model.library().items())
        if (isInWork(item->status))
            working.push_back(item.get());
    int reports = 0;
    QTimer reporter;
    QObject::connect(&reporter, &QTimer::timeout, [&] {
        for (FileItem *item : working)
            model.library().change(*item, [&](FileItem &file) {
                file.status = Status::Running{0.2 + 0.0001 * reports};
                file.fps = 60 + reports % 20;
            });
        ++reports;
        emit model.runChanged();
    });
    reporter.start(50);
    const Stopwatch reporting;
    QEventLoop loop;
    QTimer::singleShot(5000, &loop, &QEventLoop::quit);
    loop.exec();
    return {{"files", model.library().items().size()},
            {"opened", opened},
            {"frame", frames[frames.size() / 2]},
            {"worstFrame", frames[frames.size() * 99 / 100]},
            {"sorted", sorted},
            {"jobs", working.size()},
            {"reports", reports},
            {"share", reporting.cpu() / reporting.wall()},
            {"megabytes", bench::residentMegabytes()}};
}

} // namespace

int main(int count, char **words)
{
    QApplication application(count, words);
    std::setlocale(LC_NUMERIC, "C");
    const std::string_view what = count > 1 ? words[1] : "";
    if (what == "start" && count == 3)
        start(application, words[2] == std::string_view("empty"));
    if (what == "table" && count == 4) {
        fmt::print("{}\n", table(application, words[2], words[3]).dump());
        return 0;
    }
    fmt::print(stderr, "start empty|kestrel, table FOLDER TOOLS\n");
    return 2;
}
