#pragma once

#include "model/ModelFixture.h"
#include "support/Builders.h"
#include "ui/Find.h"
#include "ui/settings/CodecCard.h"
#include "ui/settings/Controls.h"
#include "ui/settings/SettingsPanel.h"

namespace kestrel::test {

class SettingsTest : public ModelTest {
protected:
    void ffmpegWithVmaf()
    {
        standIn(toolbox, "ffmpeg",
                "case \"$2\" in -encoders) echo libx265 libsvtav1;; -filters) echo libvmaf;;\n"
                "-version) echo ffmpeg version 7; esac");
        measuresQuality = true;
    }
    SettingsPanel &show(AppModel::Options options = {})
    {
        if (!model)
            start(std::move(options));
        panel = std::make_unique<SettingsPanel>(*model);
        panel->resize(320, 900);
        panel->show();
        settle();
        return *panel;
    }
    // A library whose files have this sound.
    void open(const std::vector<MediaInfo> &films)
    {
        for (std::size_t i = 0; i < films.size(); ++i)
            film(std::to_string(i) + ".mkv");
        startAndScan();
        give(films);
    }
    void give(const std::vector<MediaInfo> &films)
    {
        for (std::size_t i = 0; i < films.size(); ++i)
            model->library().setInfo(item(std::to_string(i) + ".mkv"), films[i]);
        model->recompute();
    }
    // "Deutsch: 2 Dateien", checked ones with a star, from top to bottom.
    std::vector<std::string> languages() const
    {
        std::vector<std::pair<int, std::string>> rows;
        for (const auto *row : panel->findChildren<CheckRow *>())
            if (row->parentWidget()->inherits("kestrel::LanguageList"))
                rows.emplace_back(row->y(), ((row->isChecked() ? "*" : "") + row->text() +
                                             (row->detail().isEmpty() ? "" : ": ") + row->detail())
                                                .toStdString());
        std::sort(rows.begin(), rows.end());
        std::vector<std::string> list;
        for (auto &[y, text] : rows)
            list.push_back(std::move(text));
        return list;
    }
    CodecCard &card(const QString &name) const { return *named<CodecCard>(*panel, name); }
    Picker &picker(const QString &name) const { return *named<Picker>(*panel, name); }
    CheckRow &row(const QString &name) const { return *named<CheckRow>(*panel, name); }

    std::unique_ptr<SettingsPanel> panel;
};

} // namespace kestrel::test
