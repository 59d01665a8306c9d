#include "ui/settings/SettingsWindow.h"

#include <QClipboard>
#include <QImage>

#include "media/Log.h"
#include "support/Http.h"
#include "support/StatusPort.h"
#include "ui/Fixtures.h"
#include "ui/look/Strings.h"
#include "ui/look/Theme.h"
#include "ui/settings/QrCode.h"

namespace kestrel::test {

class SettingsWindowTest : public UiTest {
protected:
    SettingsWindow &show(AppModel::Options options = {})
    {
        start(std::move(options));
        window = std::make_unique<SettingsWindow>(*model);
        window->show();
        return *window;
    }
    CheckRow &row(const QString &name) const { return *named<CheckRow>(*window, name); }
    void press(const QString &name) const { click(*button(*window, name)); }

    std::unique_ptr<SettingsWindow> window;
};

TEST_F(SettingsWindowTest, switchesChangeTheirFieldAndFollowIt)
{
    ConversionSettings settings{.quality = QualityLevel::small};
    show({.settings = settings});
    EXPECT_FALSE(window->isModal());
    CheckRow &sleep = row("Ruhezustand des Computers während der Konvertierung deaktivieren");
    CheckRow &page = row("Fortschritt im Heimnetz als Webseite anzeigen");
    click(sleep);
    settings.preventSleep = false;
    EXPECT_EQ(model->settings(), settings);
    click(page);
    settings.statusPage = false;
    EXPECT_EQ(model->settings(), settings);
    model->setSettings({});
    EXPECT_TRUE(sleep.isChecked());
    EXPECT_TRUE(page.isChecked());
}

TEST_F(SettingsWindowTest, theServedPageIsShownWithItsAddresses)
{
    useStatusPort(freePort());
    show({.servesStatusPage = true});
    ASSERT_TRUE(eventually([&] { return model->statusPort().has_value(); }));
    if (model->statusURLs().empty())
        GTEST_SKIP() << "no network card is up";
    const QString first = qt(model->statusURLs().front());
    EXPECT_THAT(*window, says("Mit der Kamera des Smartphones scannen oder im Browser eingeben:"));
    EXPECT_THAT(texts(*window), Contains(first.toStdString()));
    const auto *code = window->findChild<QrCode *>();
    EXPECT_EQ(code->accessibleName(), first);
    EXPECT_TRUE(code->isVisible());
    press("Adresse kopieren");
    EXPECT_EQ(QGuiApplication::clipboard()->text(), first);

    click(row("Fortschritt im Heimnetz als Webseite anzeigen"));
    EXPECT_FALSE(code->isVisible());
    EXPECT_THAT(*window, Not(says("im Browser eingeben")));
}

TEST_F(SettingsWindowTest, aPageThatCannotBeServedTellsWhy)
{
    const std::uint16_t port = freePort();
    const auto other = listener(port);
    useStatusPort(port);
    show({.servesStatusPage = true});
    ASSERT_TRUE(eventually([&] { return model->statusServerError().has_value(); }));
    EXPECT_THAT(texts(*window), Contains(*model->statusServerError()));
    EXPECT_THAT(*window, Not(says("im Browser eingeben")));
}

TEST_F(SettingsWindowTest, namesFfmpegAndWhatItCan)
{
    standIn(toolbox, "ffmpeg",
            "case \"$2\" in -encoders) echo libx265;; -version) echo ffmpeg version 7.1;; esac");
    show();
    std::vector<std::string> said{"ffmpeg version 7.1",      "libx265 vorhanden",
                                  "libsvtav1 fehlt",         "sudo apt install ffmpeg",
                                  "libvmaf nicht vorhanden", "wird nicht gebraucht: Kestrel misst selbst"};
    said.push_back((toolbox / "ffmpeg").native());
    EXPECT_THAT(texts(*window), testing::IsSupersetOf(said));

    window.reset();
    fs::remove(toolbox / "ffmpeg");
    show();
    EXPECT_THAT(texts(*window), Contains("nicht gefunden"));
    EXPECT_THAT(*window,
                says("ffmpeg wurde nicht gefunden. Installation im Terminal: sudo apt install ffmpeg"));
    EXPECT_THAT(*window, Not(says("libvmaf")));
}

TEST_F(SettingsWindowTest, switchesTheMeasuringAndSaysHowItIsDone)
{
    measuresQuality.reset();
    ffmpeg("sleep 1000");
    film("a.mkv");
    show();
    CheckRow &measures = row("Qualität messen");
    EXPECT_TRUE(measures.isChecked());
    EXPECT_THAT(*window, says("erreicht. Verfahren: Eigene Messung."));
    click(measures);
    EXPECT_FALSE(model->measuresQuality());
    EXPECT_EQ(UserDefaults::standard().measuresQuality(), false);
    EXPECT_THAT(*window, says("Jede Datei bekommt den festen CRF-Wert ihrer Qualitätsstufe."));
    EXPECT_THAT(*window, Not(says("ab dem nächsten Lauf")));
    scan();
    model->startSampling({}, {});
    EXPECT_THAT(texts(*window), Contains("Änderungen gelten ab dem nächsten Lauf."));
    model->setMeasuresQuality(true);
    EXPECT_TRUE(measures.isChecked());
    stop();
    EXPECT_THAT(*window, Not(says("ab dem nächsten Lauf")));

    window.reset();
    scoringFfmpeg("");
    show();
    EXPECT_THAT(*window, says("Verfahren: libvmaf von ffmpeg."));
    EXPECT_THAT(texts(*window), Contains("libvmaf vorhanden"));
}

TEST_F(SettingsWindowTest, asksToRevealTheLog)
{
    show();
    EXPECT_THAT(texts(*window), Contains("~/Library/Logs/Kestrel/Kestrel.log"));
    fs::path revealed;
    QObject::connect(window.get(), &SettingsWindow::revealRequested,
                     [&](const fs::path &file) { revealed = file; });
    press("Im Dateimanager zeigen");
    EXPECT_EQ(revealed, Log::file());
}

TEST_F(SettingsWindowTest, listsSwapsThatWereCutOffWithTheCommandThatEndsThem)
{
    show();
    EXPECT_THAT(*window, Not(says("Tauschvorgänge")));
    const fs::path hidden = folder.write(".Film.mkv.kestrel-original", "original");
    scan();
    const std::string line = "mv -n -- '" + hidden.native() + "' '" + (folder / "Film.mkv").native() + "'";
    EXPECT_THAT(*window, says("„Film.mkv“ ist nach einem unterbrochenen Tausch noch versteckt"));
    EXPECT_THAT(texts(*window), Contains(line));
    press("Befehl kopieren");
    EXPECT_EQ(QGuiApplication::clipboard()->text(), qt(line));

    fs::rename(hidden, folder / "Film.mkv");
    rescan();
    EXPECT_THAT(*window, Not(says("Tauschvorgänge")));
}

namespace {

// Whether every line of the picture consists of whole modules, black or white, with white all around.
void expectSharpCode(double scale)
{
    QrCode code;
    code.setText("http://wohnzimmer.local:8765");
    QImage image((QSizeF(code.size()) * scale).toSize(), QImage::Format_RGB32);
    image.setDevicePixelRatio(scale);
    image.fill(Qt::red);
    code.render(&image);
    const auto isBlack = [&](int x, int y) { return image.pixelColor(x, y) == Qt::black; };

    int first = 0; // the finder pattern's corner: seven modules of black
    while (first < image.width() && !isBlack(first, first))
        ++first;
    ASSERT_LT(first, image.width()) << scale;
    int after = first;
    while (isBlack(after, first))
        ++after;
    ASSERT_EQ((after - first) % 7, 0) << scale;
    const int module = (after - first) / 7;
    EXPECT_GE(module, static_cast<int>(3 * scale)) << scale;
    EXPECT_GE(first, 4 * module) << scale;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const bool isInQuietZone = x < first || y < first;
            const bool expected =
                !isInQuietZone && isBlack(x - (x - first) % module, y - (y - first) % module);
            ASSERT_EQ(image.pixelColor(x, y), QColor(expected ? Qt::black : Qt::white))
                << scale << ": " << x << ", " << y;
        }
}

} // namespace

TEST(QrCode, isSharpAtEveryScaleInLightAndDark)
{
    for (const bool isDark : {false, true}) {
        Theme::apply(*qApp, isDark);
        for (const double scale : {1.0, 1.1, 1.25, 1.7, 2.0})
            expectSharpCode(scale);
    }
    Theme::apply(*qApp, false);
}

} // namespace kestrel::test
