#pragma once

#include <QMessageBox>
#include <QPushButton>
#include <QTest>

#include "model/ModelFixture.h"
#include "ui/window/MainWindow.h"

namespace kestrel::test {

class WindowTest : public ModelTest {
protected:
    AppModel &ready(AppModel::Options options = {})
    {
        if (!options.settings)
            options.settings = ConversionSettings();
        options.settings->parallelJobs = 1;
        return start(std::move(options));
    }
    void openWindow()
    {
        window = std::make_unique<MainWindow>(*model, home() / "window.conf");
        window->show();
    }
    // ffmpeg works until the file "go" is there.
    void slowFfmpeg()
    {
        ffmpeg("while [ ! -e " + quoted(toolbox / "go") + " ]; do sleep 0.02; done\n" + writes(4));
    }
    QMessageBox *question() const { return window->findChild<QMessageBox *>(); }
    QPushButton *button(const QString &text) const
    {
        for (auto *candidate : question()->findChildren<QPushButton *>())
            if (candidate->text().remove(QLatin1Char('&')) == text)
                return candidate;
        return nullptr;
    }
    ~WindowTest() override { window.reset(); }

    std::unique_ptr<MainWindow> window;
};

} // namespace kestrel::test
