#include "ui/Demo.h"

#include <QApplication>
#include <QDialog>
#include <QEventLoop>
#include <QMessageBox>
#include <QPainter>
#include <QPixmap>
#include <QTimer>
#include <cstdio>
#include <functional>
#include <memory>
#include <utility>

#include <fmt/format.h>

#include "platform/TemporaryFolder.h"
#include "ui/SimulatedRun.h"
#include "ui/detail/DetailSheet.h"
#include "ui/look/Strings.h"
#include "ui/settings/SettingsWindow.h"
#include "ui/window/MainWindow.h"

namespace kestrel {

namespace {

AppModel::Options harmless()
{
    AppModel::Options options;
    options.store = UserDefaults::testSuite();
    options.settings = ConversionSettings();
    options.settings->parallelJobs = 4; // the simulated run works on as many
    options.measuresQuality = true;
    options.persists = false;
    options.changesFiles = false;
    return options;
}

void runLoop(int milliseconds)
{
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

void waitUntil(const std::function<bool()> &condition)
{
    while (!condition())
        runLoop(10);
}

// Returns what the quality search would find for a film of these settings.
SampleResult madeUpSample(const FileItem &item)
{
    SampleResult sample;
    const double source = item.info->videoBitrate();
    for (const auto &[value, vmaf] :
         std::initializer_list<std::pair<int, double>>{{23, 96.4}, {27, 94.1}, {25, 95.2}}) {
        Sampler::Step step;
        step.value = value;
        step.vmaf = vmaf;
        step.vmafWorst = vmaf - 1.3;
        step.bitrate = source * (0.52 - 0.045 * (value - 23));
        step.megapixelsPerSecond = 41 + value;
        step.seconds = 30;
        sample.steps.push_back(step);
    }
    sample.qualityValue = 25;
    sample.vmafTarget = 95;
    sample.vmafMean = 95.2;
    sample.vmafWorst = 93.9;
    sample.videoBitrate = sample.steps.back().bitrate;
    sample.heuristicBitrate = item.estimate->videoBytes * 8 / std::max(1.0, item.info->playTime());
    sample.megapixelsPerSecond = 66;
    sample.measuredSeconds = std::min(30.0, item.info->playTime());
    sample.scorer = title(Measuring::builtIn);
    return sample;
}

// Adds a caption below the picture that says that it is made up.
QPixmap captioned(const QPixmap &picture, const QPalette &palette)
{
    const auto &colors = Theme::colors(palette);
    const QSizeF size = picture.deviceIndependentSize();
    const QRectF strip(0, size.height(), size.width(), Theme::em(1.8));
    QPixmap whole(QSizeF(size.width(), strip.bottom()).toSize() * picture.devicePixelRatio());
    whole.setDevicePixelRatio(picture.devicePixelRatio());
    whole.fill(colors.card);
    QPainter painter(&whole);
    painter.drawPixmap(QPointF(), picture);
    painter.fillRect(QRectF(0, strip.top(), strip.width(), 1), colors.line);
    painter.setFont(Theme::font(Theme::Size::caption));
    painter.setPen(colors.muted);
    painter.drawText(strip, Qt::AlignCenter, QStringLiteral("Simulierter Lauf"));
    return whole;
}

class Camera {
public:
    explicit Camera(std::filesystem::path folder) : m_folder(std::move(folder)) {}

    void take(QWidget &widget, const char *name)
    {
        runLoop(150); // layouts and bars finish moving
        takeAtOnce(widget, name);
    }
    void takeAtOnce(QWidget &widget, const char *name)
    {
        const auto file = m_folder / (std::string(name) + ".png");
        if (!captioned(widget.grab(), widget.palette()).save(QString::fromStdString(file.native()))) {
            fmt::print(stderr, "{} kann nicht geschrieben werden.\n", Text::shown(file));
            m_hasFailed = true;
        }
    }
    bool hasFailed() const { return m_hasFailed; }

private:
    const std::filesystem::path m_folder;
    bool m_hasFailed = false;
};

FileItem *firstActionable(AppModel &model)
{
    for (FileItem *item : model.library().filesInTableOrder())
        if (item->isActionable() && item->plan->encodesVideo())
            return item;
    return nullptr;
}

void resizeAsWanted(QWidget &window)
{
    if (const QString size = qEnvironmentVariable("KESTREL_DEMO_SIZE"); size.contains(QLatin1Char('x')))
        window.resize(size.section(QLatin1Char('x'), 0, 0).toInt(),
                      size.section(QLatin1Char('x'), 1, 1).toInt());
}

void pictureMissingTools(Camera &camera, const std::filesystem::path &state)
{
    AppModel::Options options = harmless();
    options.toolFolders = {"/nonexistent"};
    AppModel model(options);
    MainWindow window(model, state);
    resizeAsWanted(window);
    window.show();
    waitUntil([&] { return model.toolError().has_value(); });
    camera.take(window, "tools-missing");
}

} // namespace

int runDemo(const std::filesystem::path &folder, const std::filesystem::path &pictures)
{
    std::error_code error;
    std::filesystem::create_directories(pictures, error);
    Camera camera(pictures);
    const TemporaryFolder temporary;
    const auto state = temporary.path() / "window.conf";
    pictureMissingTools(camera, state);

    AppModel::Options options = harmless();
    options.servesStatusPage = true;
    SimulatedRun *run = nullptr;
    options.makeRun = [&run](RunTask::Request request, Library &library, RunStats &stats) {
        auto simulated = std::make_unique<SimulatedRun>(std::move(request), library, stats);
        run = simulated.get();
        return simulated;
    };
    AppModel model(options);
    MainWindow window(model, state);
    resizeAsWanted(window);
    window.show();
    waitUntil([&] { return model.tools() || model.toolError(); });
    if (!model.tools()) {
        fmt::print(stderr, "{}\n", *model.toolError());
        return 1;
    }
    camera.take(window, "empty");
    bool isPictured = false;
    QObject::connect(&model, &AppModel::activityChanged, &window, [&] {
        if (model.activity().done > 0 && !std::exchange(isPictured, true))
            camera.takeAtOnce(window, "scanning");
    });
    model.open(folder);
    waitUntil([&] { return !model.isBusy(); });
    camera.take(window, "library");

    FileItem *item = firstActionable(model);
    if (item == nullptr) {
        fmt::print(stderr, "In diesem Ordner gibt es nichts zu konvertieren.\n");
        return 1;
    }
    window.showSettings();
    camera.take(*window.settingsWindow(), "settings");
    window.settingsWindow()->close();

    model.library().setSample(*item, model.settings().videoKey(), madeUpSample(*item));
    model.recompute();
    model.library().setSelection({item->id});
    camera.take(window, "measured");
    model.library().setDetailItem(item);
    window.detailSheet()->resize(window.detailSheet()->width(), Theme::em(57));
    camera.take(*window.detailSheet(), "details");
    window.detailSheet()->close();

    model.startConversion();
    run->show(0.5);
    camera.take(window, "converting");
    window.close();
    for (QWidget *widget : QApplication::topLevelWidgets())
        if (auto *question = qobject_cast<QMessageBox *>(widget)) {
            camera.take(*question, "quit");
            question->reject();
        }
    run->show(1);
    camera.take(window, "finished");
    return camera.hasFailed() ? 1 : 0;
}

} // namespace kestrel
