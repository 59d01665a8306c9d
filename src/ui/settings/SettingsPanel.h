#pragma once

#include <QTimer>
#include <QWidget>
#include <filesystem>
#include <functional>
#include <span>
#include <vector>

#include "model/AppModel.h"
#include "model/AudioFacts.h"

class QBoxLayout;

namespace kestrel {

class Picker;
class Section;

// Shows the conversion settings, and what each choice means for the open library. It writes every change into
// the model at once, and shows what the model holds.
class SettingsPanel : public QWidget {
    Q_OBJECT

public:
    // REQUIRES: the model outlives the panel.
    explicit SettingsPanel(AppModel &model, QWidget *parent = nullptr);

    QSize sizeHint() const override;

protected:
    void showEvent(QShowEvent *event) override;

private:
    QWidget *runNote();
    Section *codecSection();
    Section *qualitySection();
    Section *resolutionSection();
    Section *audioSection();
    Section *outputSection();
    void addSwitch(QBoxLayout &contents, const char *text, bool ConversionSettings::*field);
    void addUnknownAudio(QBoxLayout &contents);

    // Returns a picker of an enumeration's cases, for one field of the settings.
    template <typename Value>
    Picker *picker(const char *name, Value ConversionSettings::*field, std::span<const Value> cases);
    Picker *jobsPicker();

    const ConversionSettings &settings() const { return m_model.settings(); }
    bool keepsVideo() const { return settings().codec == VideoCodecChoice::keepVideo; }
    void countAudioIn(std::chrono::milliseconds delay);
    void countAudio();
    void refresh();

    AppModel &m_model;
    AudioFacts m_audio;
    std::filesystem::path m_countedFolder;
    QTimer m_audioTimer;
    std::vector<std::function<void()>> m_follow; // each updates a part
    std::vector<QWidget *> m_tabStops;           // from top to bottom
};

} // namespace kestrel
