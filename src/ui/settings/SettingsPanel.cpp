#include "ui/settings/SettingsPanel.h"

#include <QButtonGroup>
#include <QGridLayout>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

#include "encoding/ConversionJob.h"
#include "format/Fmt.h"
#include "ui/look/Phrases.h"
#include "ui/look/Strings.h"
#include "ui/look/VerticalScroll.h"
#include "ui/settings/CodecCard.h"
#include "ui/settings/Controls.h"
#include "ui/settings/LanguageList.h"

namespace kestrel {

using namespace std::chrono_literals;

namespace {

// The letter after "&" focuses the control.
constexpr const char *resolutionTitle = "&Zielauflösung", *unknownTitle = "&Spuren ohne Sprachkennung",
                     *containerTitle = "&Container", *jobsTitle = "G&leichzeitig";

constexpr std::chrono::milliseconds countingPause = 200ms; // while files are being probed
constexpr std::int64_t mostJobs = 4;                       // the largest number offered
constexpr double usualWidth = 21, leastWidth = 18.7;       // in heights of the text

Label *labelOf(QWidget *control, const char *text)
{
    auto *label = new Label(QString::fromUtf8(text));
    label->setBuddy(control);
    return label;
}

void setText(Label *label, const QString &text)
{
    label->setText(text);
    label->setVisible(!text.isEmpty());
}

QString target(QualityLevel quality)
{
    const double value = vmafTarget(quality);
    const int digits = value == std::floor(value) ? 0 : 1;
    return QStringLiteral(
               "Ziel ca. %1 VMAF · der CRF-Wert wird je Datei so gemessen, dass das Ziel erreicht wird.")
        .arg(qt(Fmt::number(value, digits)));
}

QString withoutMeasuring(const ConversionSettings &settings)
{
    return QStringLiteral(
               "Jede Datei bekommt den festen Wert %1, weil das Messen der Qualität abgeschaltet ist.")
        .arg(qt(qualityLabel(settings.codec, settings.quality)));
}

QString undecided(std::size_t files)
{
    return files == 0
               ? QString()
               : QStringLiteral("%1 Dateien haben keine Spur in den gewählten Sprachen, aber Spuren ohne "
                                "Kennung. „Nur Standardspur“ behält die als Standard markierte – bei "
                                "deutschen Releases meist Deutsch. Vorher per Probeclip anhören.")
                     .arg(files);
}

QString losslessTracks(std::size_t tracks)
{
    return tracks == 0 ? QStringLiteral(" Keine solchen Spuren gefunden.")
                       : QStringLiteral(" Betrifft %1 Spuren.").arg(tracks);
}

QString whatBecomesOfOriginals(const AppModel &model)
{
    if (model.settings().outputMode == OutputMode::replaceOriginal)
        return model.outputWarning() ? QString()
                                     : "Das Original kommt nach erfolgreicher Prüfung in den Papierkorb.";
    const auto &root = model.rootURL();
    return root ? QStringLiteral("Die neuen Dateien kommen in den Ordner „%1“ daneben.")
                      .arg(shown(ConversionJob::outputRoot(*root).filename()))
                : QStringLiteral("Die neuen Dateien kommen in einen Ordner daneben.");
}

} // namespace

SettingsPanel::SettingsPanel(AppModel &model, QWidget *parent) : QWidget(parent), m_model(model)
{
    auto *sections = new QWidget;
    auto *column = new QVBoxLayout(sections);
    const int margin = Theme::em(0.6);
    column->setContentsMargins(margin, margin, margin, margin);
    column->setSpacing(margin);
    for (Section *section :
         {codecSection(), qualitySection(), resolutionSection(), audioSection(), outputSection()})
        column->addWidget(section);
    column->addStretch(1);

    auto *scroll = new VerticalScroll(sections);
    scroll->setFocusPolicy(Qt::NoFocus); // the controls have it, and are scrolled into view
    auto *whole = new QVBoxLayout(this);
    whole->setContentsMargins(0, 0, 0, 0);
    whole->setSpacing(0);
    QWidget *note = runNote();
    note->setContentsMargins(margin, margin, margin, 0);
    whole->addWidget(note);
    whole->addWidget(scroll);
    setMinimumWidth(Theme::em(leastWidth));
    for (std::size_t i = 1; i < m_tabStops.size(); ++i)
        setTabOrder(m_tabStops[i - 1], m_tabStops[i]);

    m_audioTimer.setSingleShot(true);
    connect(&m_audioTimer, &QTimer::timeout, this, &SettingsPanel::countAudio);
    connect(&model, &AppModel::settingsChanged, this, &SettingsPanel::refresh);
    connect(&model, &AppModel::toolsChanged, this, &SettingsPanel::refresh);
    connect(&model, &AppModel::folderChanged, this, &SettingsPanel::refresh);
    const auto countSoon = [this] { countAudioIn(0ms); };
    connect(&model, &AppModel::settingsChanged, this, countSoon);
    connect(&model.library(), &Library::filled, this, countSoon);
    connect(&model.library(), &Library::recomputed, this, countSoon);
    connect(&model.library(), &Library::itemChanged, this, [this](const FileItem &item) {
        if (item.needsPlan) // its info may be new
            countAudioIn(countingPause);
    });
    refresh();
}

QSize SettingsPanel::sizeHint() const
{
    return {Theme::em(usualWidth), Theme::em(40)};
}

void SettingsPanel::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    countAudioIn(0ms);
}

void SettingsPanel::countAudioIn(std::chrono::milliseconds delay)
{
    if (!m_audioTimer.isActive() || m_audioTimer.remainingTimeAsDuration() > delay)
        m_audioTimer.start(delay);
}

void SettingsPanel::countAudio()
{
    if (!isVisible())
        return; // the counts are updated when it is shown
    m_audio = AudioFacts::of(m_model.library().items(), settings());
    refresh();
}

void SettingsPanel::refresh()
{
    for (const auto &follow : m_follow)
        follow();
}

QWidget *SettingsPanel::runNote()
{
    auto *note = new Note("info", Theme::Tone::muted, Theme::Tone::muted);
    const auto follow = [this, note] {
        const bool isRunning = m_model.activity().kind == Activity::Kind::converting;
        note->setText(isRunning ? Phrases::fromNextRun : QString());
    };
    connect(&m_model, &AppModel::activityChanged, note, follow);
    m_follow.emplace_back(follow);
    return note;
}

Section *SettingsPanel::codecSection()
{
    auto *section = new Section("film", "Video-Codec");
    auto *group = new QButtonGroup(section);
    for (const VideoCodecChoice codec : allCodecs()) {
        auto *card = new CodecCard(codec);
        group->addButton(card);
        section->contents()->addWidget(card);
        m_tabStops.push_back(card);
        connect(card, &CodecCard::clicked, this,
                [this, codec] { edit(m_model, [&](auto &changed) { changed.codec = codec; }); });
        m_follow.emplace_back([this, card] {
            card->setSupported(!m_model.tools() || supports(*m_model.tools(), card->codec()));
            card->setChecked(settings().codec == card->codec());
            card->setFocusPolicy(card->isChecked() ? Qt::StrongFocus
                                                   : Qt::ClickFocus); // one tab stop; the arrows move on
        });
    }
    return section;
}

Section *SettingsPanel::qualitySection()
{
    auto *section = new Section("sparkles", "Qualität");
    auto *quality = picker("Qualität", &ConversionSettings::quality, allQualities());
    section->setTitle("&Qualität", quality);
    auto *explained = (new Label({}, Theme::Size::caption))->wrapped();
    auto *aim = caption();
    auto *how = caption();
    auto *unmeasured = new Note("warning", Theme::Tone::orange);
    auto *idle = new Note("info", Theme::Tone::muted, Theme::Tone::muted);
    for (QWidget *part : std::initializer_list<QWidget *>{quality, explained, aim, how, unmeasured, idle})
        section->contents()->addWidget(part);
    m_follow.emplace_back([this, quality, explained, aim, how, unmeasured, idle] {
        const auto &tools = m_model.tools();
        const bool measures = m_model.measuresQuality();
        quality->setEnabled(!keepsVideo());
        setText(explained, keepsVideo() ? QString() : qt(explanation(settings().quality)));
        setText(aim, keepsVideo() || !measures ? QString() : target(settings().quality));
        setText(how, keepsVideo() || !measures || !tools ? QString() : measuringLine(tools->measuring()));
        unmeasured->setText(keepsVideo() || measures ? QString() : withoutMeasuring(settings()));
        idle->setText(keepsVideo() ? "Das Video wird nicht neu kodiert und behält seine Qualität." : "");
    });
    return section;
}

Section *SettingsPanel::resolutionSection()
{
    auto *section = new Section("resize", Phrases::plain(QString::fromUtf8(resolutionTitle)));
    auto *resolution = picker(resolutionTitle, &ConversionSettings::resolution, allResolutions());
    section->setTitle(resolutionTitle, resolution);
    section->contents()->addWidget(resolution);
    auto *idle = new Note("info", Theme::Tone::muted, Theme::Tone::muted);
    section->contents()->addWidget(idle);
    m_follow.emplace_back([this, resolution, idle] {
        resolution->setEnabled(!keepsVideo());
        idle->setText(keepsVideo() ? "Das Video wird nicht neu kodiert und behält seine Auflösung." : "");
    });
    return section;
}

Section *SettingsPanel::audioSection()
{
    auto *section = new Section("speaker", "Tonspuren");
    QBoxLayout &contents = *section->contents();
    auto *languages = new LanguageList;
    languages->setTabAnchor(m_tabStops.back());
    connect(&m_model, &AppModel::folderChanged, languages, [this, languages] {
        if (m_model.rootURL() && !m_countedFolder.empty() && *m_model.rootURL() != m_countedFolder)
            languages->forget(settings().audioLanguages);
        m_countedFolder = m_model.rootURL().value_or(std::filesystem::path());
    });
    connect(languages, &LanguageList::chosen, this, [this](const std::string &code, bool isChosen) {
        edit(m_model, [&](ConversionSettings &changed) {
            if (isChosen)
                changed.audioLanguages.insert(code);
            else
                changed.audioLanguages.erase(code);
        });
    });
    m_follow.emplace_back([this, languages] {
        languages->setLanguages(m_model.rootURL() ? std::optional(m_audio.filesByLanguage) : std::nullopt,
                                settings().audioLanguages);
    });
    contents.addWidget(languages);
    contents.addWidget(
        caption("Hat eine Datei keine der gewählten Sprachen, bleiben alle ihre Tonspuren erhalten."));
    contents.addSpacing(Theme::em(0.2));
    addSwitch(contents, "Kommentar- und Audiodeskriptionsspuren entfernen",
              &ConversionSettings::dropCommentary);
    addUnknownAudio(contents);
    contents.addSpacing(Theme::em(0.2));
    addSwitch(contents, "Verlustfreie Tonspuren in E-AC3 umwandeln",
              &ConversionSettings::convertLosslessAudio);
    auto *help = caption();
    contents.addWidget(help);
    m_follow.emplace_back([this, help] {
        help->setText(
            unbroken("TrueHD, DTS-HD MA, FLAC, PCM → E-AC3 640 kbit/s (max. 5.1). Spart viel, klingt "
                     "praktisch gleich." +
                     (m_model.rootURL() ? losslessTracks(m_audio.losslessTracks) : QString())));
    });
    return section;
}

void SettingsPanel::addSwitch(QBoxLayout &contents, const char *text, bool ConversionSettings::*field)
{
    m_tabStops.push_back(switchRow(m_model, QString::fromUtf8(text), field));
    contents.addWidget(m_tabStops.back());
}

void SettingsPanel::addUnknownAudio(QBoxLayout &contents)
{
    auto *unknown = picker(unknownTitle, &ConversionSettings::unknownAudio, allUnknownAudioPolicies());
    auto *warning = new Note("warning", Theme::Tone::orange);
    contents.addSpacing(Theme::em(0.2));
    contents.addWidget(labelOf(unknown, unknownTitle));
    contents.addWidget(unknown);
    contents.addWidget(warning);
    m_follow.emplace_back([this, warning] { warning->setText(undecided(m_audio.undecidedFiles)); });
}

Section *SettingsPanel::outputSection()
{
    auto *section = new Section("save", "Ausgabe");
    auto *mode = picker("Ausgabe", &ConversionSettings::outputMode, allOutputModes());
    section->setTitle("Aus&gabe", mode);
    auto *originals = caption();
    auto *warning = new Note("warning", Theme::Tone::orange);
    for (QWidget *part : std::initializer_list<QWidget *>{mode, originals, warning})
        section->contents()->addWidget(part);
    m_follow.emplace_back([this, originals, warning] {
        setText(originals, whatBecomesOfOriginals(m_model));
        warning->setText(qt(m_model.outputWarning().value_or("")));
    });

    auto *rows = new QGridLayout;
    rows->setHorizontalSpacing(Theme::em(0.6));
    rows->setVerticalSpacing(Theme::em(0.4));
    rows->setColumnStretch(1, 1);
    auto *container = picker(containerTitle, &ConversionSettings::container, allContainers());
    rows->addWidget(labelOf(container, containerTitle), 0, 0);
    rows->addWidget(container, 0, 1);
    auto *jobs = jobsPicker();
    rows->addWidget(labelOf(jobs, jobsTitle), 1, 0);
    rows->addWidget(jobs, 1, 1);
    section->contents()->addSpacing(Theme::em(0.2));
    section->contents()->addLayout(rows);
    return section;
}

template <typename Value>
Picker *SettingsPanel::picker(const char *name, Value ConversionSettings::*field,
                              std::span<const Value> cases)
{
    auto *picker = new Picker(Phrases::plain(QString::fromUtf8(name)));
    for (const Value value : cases)
        picker->addItem(qt(title(value)));
    connect(picker, &Picker::activated, this, [this, field, cases](int index) {
        edit(m_model, [&](auto &changed) { changed.*field = cases[static_cast<std::size_t>(index)]; });
    });
    m_follow.emplace_back([this, picker, field, cases] {
        const auto chosen = std::find(cases.begin(), cases.end(), settings().*field);
        picker->setCurrentIndex(static_cast<int>(chosen - cases.begin()));
    });
    m_tabStops.push_back(picker);
    return picker;
}

// A number that is not offered, from a file that was edited by hand, is an additional entry while it is set.
Picker *SettingsPanel::jobsPicker()
{
    auto *jobs = new Picker(Phrases::plain(QString::fromUtf8(jobsTitle)));
    const auto add = [jobs](int place, std::int64_t count) {
        jobs->insertItem(place, QString::number(count), qint64(count));
    };
    for (std::int64_t count = 1; count <= mostJobs; ++count)
        add(jobs->count(), count);
    connect(jobs, &Picker::activated, this, [this, jobs](int index) {
        edit(m_model, [&](auto &changed) { changed.parallelJobs = jobs->itemData(index).toLongLong(); });
    });
    m_follow.emplace_back([this, jobs, add] {
        const std::int64_t count = settings().parallelJobs;
        for (int i = jobs->count() - 1; i >= 0; --i)
            if (const auto other = jobs->itemData(i).toLongLong();
                other != count && (other < 1 || other > mostJobs))
                jobs->removeItem(i);
        if (jobs->findData(qint64(count)) < 0)
            add(count < 1 ? 0 : jobs->count(), count);
        jobs->setCurrentIndex(jobs->findData(qint64(count)));
    });
    m_tabStops.push_back(jobs);
    return jobs;
}

} // namespace kestrel
