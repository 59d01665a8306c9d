#include "ui/settings/SettingsWindow.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>
#include <algorithm>

#include "media/Log.h"
#include "model/ToolReport.h"
#include "ui/look/CopyButton.h"
#include "ui/look/Icon.h"
#include "ui/look/Phrases.h"
#include "ui/look/Strings.h"
#include "ui/look/VerticalScroll.h"
#include "ui/settings/Controls.h"
#include "ui/settings/QrCode.h"

namespace kestrel {

namespace {

constexpr double usualWindowWidth = 39; // in heights of the text

QWidget *capabilityRow(const ToolReport::Capability &capability)
{
    auto *whole = new QWidget;
    auto *row = new QHBoxLayout(whole);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(Theme::em(0.5));
    row->addWidget(capability.isThere      ? new IconLabel("check-circle", Theme::Tone::green, 1)
                   : capability.isMissed() ? new IconLabel("warning", Theme::Tone::orange, 1)
                                           : new IconLabel("info", Theme::Tone::muted, 1),
                   0, Qt::AlignTop);
    auto *texts = new QVBoxLayout;
    texts->setSpacing(0);
    texts->addWidget(new Label(qt(capability.name) + (capability.isThere      ? " vorhanden"
                                                      : capability.isMissed() ? " fehlt"
                                                                              : " nicht vorhanden")));
    texts->addWidget(caption(qt(capability.use)));
    if (capability.isMissed())
        texts->addWidget((new Label(qt(capability.remedy), Theme::Size::caption))->wrapped()->selectable());
    row->addLayout(texts, 1);
    return whole;
}

QWidget *swapRow(const HiddenOriginal &swap)
{
    auto *whole = new QWidget;
    auto *column = new QVBoxLayout(whole);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(Theme::em(0.3));
    column->addWidget((new Label(qt(swap.title())))->wrapped()->selectable());
    column->addWidget((new Label(qt(swap.moveLine()), Theme::Size::caption))->wrapped()->selectable());
    auto *copy = new CopyButton(QStringLiteral("Befehl"));
    copy->setAutoDefault(false);
    copy->setCopied(qt(swap.moveLine()));
    column->addWidget(copy, 0, Qt::AlignLeft);
    return whole;
}

} // namespace

SettingsWindow::SettingsWindow(AppModel &model, QWidget *parent)
    : QDialog(parent), m_model(model), m_sections(new QWidget)
{
    setWindowTitle(Phrases::plain(Phrases::settings));
    setModal(false);
    auto *column = new QVBoxLayout(m_sections);
    const int margin = Theme::em(0.8);
    column->setContentsMargins(margin, margin, margin, margin);
    column->setSpacing(margin);
    for (Section *section : {swapSection(), sleepSection(), qualitySection(), pageSection(), toolSection()})
        column->addWidget(section);
    column->addStretch(1);
    auto *whole = new QVBoxLayout(this);
    whole->setContentsMargins(0, 0, 0, 0);
    auto *scroll = new VerticalScroll(m_sections);
    scroll->setFocusPolicy(Qt::NoFocus);
    whole->addWidget(scroll);

    connect(&model, &AppModel::statusServerChanged, this, &SettingsWindow::showPage);
    connect(&model, &AppModel::toolsChanged, this, &SettingsWindow::showTools);
    connect(&model, &AppModel::toolsChanged, this, &SettingsWindow::showMeasuring);
    connect(&model, &AppModel::activityChanged, this, &SettingsWindow::showMeasuring);
    connect(&model, &AppModel::pendingSwapsChanged, this, &SettingsWindow::showSwaps);
    showPage();
    showTools();
    showMeasuring();
    showSwaps();
}

QSize SettingsWindow::sizeHint() const
{
    const int width = std::max(Theme::em(usualWindowWidth), minimumSizeHint().width());
    constexpr int around = 2 * VerticalScroll::ring;
    return {width, m_sections->heightForWidth(width - around) + around};
}

// Makes room for new contents; the window may be larger already.
void SettingsWindow::grow()
{
    if (isVisible())
        resize(size().expandedTo(sizeHint()).boundedTo(screen()->availableSize()));
}

Section *SettingsWindow::sleepSection()
{
    auto *section = new Section("moon", "Während der Konvertierung");
    section->contents()->addWidget(
        switchRow(m_model, "Ruhezustand des Computers während der Konvertierung deaktivieren",
                  &ConversionSettings::preventSleep));
    section->contents()->addWidget(caption(qt(Wording::text(Words::sleepNote))));
    return section;
}

Section *SettingsWindow::qualitySection()
{
    auto *section = new Section("sparkles", "Qualität");
    m_measures = new CheckRow(qt(measuringTitle));
    m_measuring = caption();
    m_measuringNote = new Note("info", Theme::Tone::muted, Theme::Tone::muted);
    connect(m_measures, &CheckRow::clicked, &m_model, &AppModel::setMeasuresQuality);
    for (QWidget *part : std::initializer_list<QWidget *>{m_measures, m_measuring, m_measuringNote})
        section->contents()->addWidget(part);
    return section;
}

Section *SettingsWindow::pageSection()
{
    auto *section = new Section("phone", qt(Wording::text(Words::pageHeading)));
    m_pageError = new Note("warning", Theme::Tone::orange);
    m_served = servedPage();
    section->contents()->addWidget(
        switchRow(m_model, "Fortschritt im Heimnetz als Webseite anzeigen", &ConversionSettings::statusPage));
    section->contents()->addWidget(m_pageError);
    section->contents()->addWidget(m_served);
    return section;
}

QWidget *SettingsWindow::servedPage()
{
    m_code = new QrCode;
    m_address = (new Label({}))->selectable();
    m_otherAddresses = caption()->selectable();
    m_copy = new CopyButton(QStringLiteral("Adresse"));
    m_copy->setAutoDefault(false);

    auto *texts = new QVBoxLayout;
    texts->setSpacing(Theme::em(0.5));
    texts->addWidget((new Label(qt(Wording::text(Words::pageInvitation))))->wrapped());
    texts->addWidget(m_address);
    texts->addWidget(m_copy, 0, Qt::AlignLeft);
    texts->addWidget(m_otherAddresses);
    texts->addStretch(1);
    auto *row = new QHBoxLayout;
    row->setSpacing(Theme::em(1));
    row->addWidget(m_code, 0, Qt::AlignTop);
    row->addLayout(texts, 1);

    auto *served = new QWidget;
    auto *column = new QVBoxLayout(served);
    column->setContentsMargins(0, Theme::em(0.2), 0, 0);
    column->setSpacing(Theme::em(0.6));
    column->addLayout(row);
    column->addWidget(caption(qt(Wording::text(Words::pageNote))));
    return served;
}

Section *SettingsWindow::toolSection()
{
    auto *section = new Section("terminal", "ffmpeg");
    m_program = (new Label({}))->wrapped()->selectable();
    m_version = (new Label({}))->wrapped()->selectable();
    m_toolError = new Note("warning", Theme::Tone::orange);
    m_capabilities = new QWidget;
    auto *list = new QVBoxLayout(m_capabilities);
    list->setContentsMargins(0, 0, 0, 0);
    list->setSpacing(Theme::em(0.35));

    auto *rows = new QGridLayout;
    rows->setHorizontalSpacing(Theme::em(0.9));
    rows->setVerticalSpacing(Theme::em(0.5));
    rows->setColumnStretch(1, 1);
    const auto name = [rows](int row, const char *text) {
        rows->addWidget(new Label(text, Theme::Size::body, Theme::Tone::muted), row, 0, Qt::AlignTop);
    };
    name(0, "Programm");
    rows->addWidget(m_program, 0, 1);
    name(1, "Version");
    rows->addWidget(m_version, 1, 1);
    rows->addWidget(m_toolError, 2, 1);
    rows->addWidget(m_capabilities, 3, 1);
    rows->addWidget(new Label("Protokoll", Theme::Size::body, Theme::Tone::muted), 4, 0);
    addPlace(*rows);
    section->contents()->addLayout(rows);
    return section;
}

// Returns a section that is hidden while no swap waits.
Section *SettingsWindow::swapSection()
{
    m_swaps = new Section("warning", qt(pendingSwapsTitle));
    m_swaps->contents()->addWidget(caption(
        "Kestrel repariert sie beim nächsten Start oder Analysieren, sobald es kann. Von Hand geht es "
        "im Terminal, solange nichts konvertiert wird:"));
    m_swapList = new QWidget;
    auto *list = new QVBoxLayout(m_swapList);
    list->setContentsMargins(0, 0, 0, 0);
    list->setSpacing(Theme::em(0.6));
    m_swaps->contents()->addWidget(m_swapList);
    return m_swaps;
}

void SettingsWindow::addPlace(QGridLayout &rows)
{
    auto *file = new ElidedLabel(shownBriefly(Log::file()));
    auto *reveal = new QPushButton(Icon::named("folder-open"), revealLabel());
    reveal->setAutoDefault(false);
    connect(reveal, &QPushButton::clicked, this, [this] { emit revealRequested(Log::file()); });
    auto *row = new QHBoxLayout;
    row->setSpacing(Theme::em(0.6));
    row->addWidget(file, 1);
    row->addWidget(reveal);
    rows.addLayout(row, 4, 1);
}

void SettingsWindow::showPage()
{
    const auto addresses = m_model.statusURLs();
    const bool isUnreachable = m_model.statusPort() && addresses.empty();
    m_pageError->setText(isUnreachable ? "Dieser Computer ist mit keinem Netz verbunden."
                                       : qt(m_model.statusServerError().value_or("")));
    m_served->setVisible(!addresses.empty());
    if (addresses.empty())
        return;
    QStringList others;
    for (auto address = std::next(addresses.begin()); address != addresses.end(); ++address)
        others << qt(*address);
    m_code->setText(qt(addresses.front()));
    m_address->setText(qt(addresses.front()));
    m_copy->setCopied(qt(addresses.front()));
    m_otherAddresses->setText("Falls das nicht klappt: " + others.join(", "));
    m_otherAddresses->setVisible(!others.isEmpty());
    grow();
}

void SettingsWindow::showMeasuring()
{
    const bool measures = m_model.measuresQuality();
    const auto &tools = m_model.tools();
    const auto activity = m_model.activity().kind;
    const bool isInRun = activity == Activity::Kind::converting || activity == Activity::Kind::sampling;
    QString text = qt(ToolReport::explanation(measures ? Measuring::builtIn : Measuring::nothing)) + ".";
    text[0] = text[0].toUpper();
    if (tools && measures)
        text += QStringLiteral(" ") + measuringLine(tools->measuring()) + ".";
    m_measures->setChecked(measures);
    m_measuring->setText(text);
    m_measuringNote->setText(isInRun ? Phrases::fromNextRun : QString());
    grow();
}

void SettingsWindow::showTools()
{
    const auto &tools = m_model.tools();
    const auto &error = m_model.toolError();
    m_program->setText(tools   ? shown(tools->ffmpeg)
                       : error ? Phrases::notFound
                               : QStringLiteral("wird gesucht …"));
    m_version->setText(tools ? qt(tools->version) : QStringLiteral("–"));
    m_toolError->setText(qt(error.value_or("")));
    qDeleteAll(m_capabilities->findChildren<QWidget *>(QString(), Qt::FindDirectChildrenOnly));
    if (tools)
        for (const auto &capability : ToolReport::capabilities(*tools))
            m_capabilities->layout()->addWidget(capabilityRow(capability));
    m_capabilities->setVisible(tools.has_value());
    grow();
}

void SettingsWindow::showSwaps()
{
    const auto &swaps = m_model.pendingSwaps();
    qDeleteAll(m_swapList->findChildren<QWidget *>(QString(), Qt::FindDirectChildrenOnly));
    for (const auto &swap : swaps)
        m_swapList->layout()->addWidget(swapRow(swap));
    m_swaps->setVisible(!swaps.empty());
    grow();
}

} // namespace kestrel
