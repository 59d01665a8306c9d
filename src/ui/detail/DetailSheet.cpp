#include "ui/detail/DetailSheet.h"

#include <QHBoxLayout>
#include <QPushButton>
#include <QScreen>
#include <QScrollBar>
#include <QShortcut>
#include <QVBoxLayout>
#include <algorithm>

#include "model/AppModel.h"
#include "planning/Planner.h"
#include "ui/detail/DetailParts.h"
#include "ui/detail/DetailViews.h"
#include "ui/detail/SearchText.h"
#include "ui/detail/TrackText.h"
#include "ui/look/Accessibility.h"
#include "ui/look/Bar.h"
#include "ui/look/Icon.h"
#include "ui/look/Strings.h"
#include "ui/look/VerticalScroll.h"

namespace kestrel {

namespace {

constexpr const char *commandTitle = "ffmpeg-Befehl";

using Theme::Size;
using Theme::Tone;

constexpr int mostErrorLines = 10, mostCommandLines = 8;
constexpr qsizetype longestTitle = 80;

// Qt replaces "[*]" in a window's title, unless it is doubled.
QString asTitle(const QString &name)
{
    QString title = name.left(longestTitle);
    return title.replace(QStringLiteral("[*]"), QStringLiteral("[*][*]"));
}

QPushButton *button(const QString &icon, const QString &text, const QString &help)
{
    auto *button = new QPushButton(text);
    if (!icon.isEmpty())
        button->setIcon(Icon::named(icon));
    button->setToolTip(help);
    return button;
}

} // namespace

DetailSheet::DetailSheet(AppModel &model, QWidget *parent) : QDialog(parent), m_model(model)
{
    setWindowTitle(QStringLiteral("Details"));
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins({});
    column->setSpacing(0);
    m_scroll = new VerticalScroll(makeContents());
    m_scroll->setAccessibleName(QStringLiteral("Einzelheiten"));
    column->addWidget(m_scroll, 1);
    column->addWidget(new Rule);
    column->addLayout(makeButtons());
    m_scroll->setFocus();

    const QSize usual(Theme::em(51), Theme::em(46));
    resize(screen() != nullptr ? usual.boundedTo(screen()->availableSize() * 0.9) : usual);
    follow();
    refresh();
}

QWidget *DetailSheet::makeHead()
{
    auto *head = new Card;
    auto *column = new QVBoxLayout(head);
    const int margin = Theme::em(0.75);
    column->setContentsMargins(margin, margin, margin, margin);
    column->setSpacing(Theme::em(0.6));

    auto *top = new QHBoxLayout;
    top->setSpacing(Theme::em(0.75));
    top->addWidget((new IconLabel(QStringLiteral("film"), Tone::accent, 2.6))->onTint(), 0, Qt::AlignTop);
    auto *names = new QVBoxLayout;
    names->setSpacing(Theme::em(0.1));
    m_name = new FlowLabel({}, Size::heading, Tone::text, 4);
    m_folder = new FlowLabel({}, Size::caption, Tone::muted, 2);
    names->addWidget(m_name);
    names->addWidget(m_folder);
    top->addLayout(names, 1);
    column->addLayout(top);

    auto *state = new QHBoxLayout;
    state->setSpacing(Theme::em(0.5));
    m_stateIcon = new IconLabel(QStringLiteral("clock"), Tone::muted, 1.0);
    m_state = new FlowLabel({}, Size::body, Tone::text, 2);
    state->addWidget(m_stateIcon, 0, Qt::AlignTop);
    state->addWidget(m_state, 1);
    column->addLayout(state);
    m_bar = new Bar;
    column->addWidget(m_bar);
    m_facts.layout = new QVBoxLayout;
    column->addLayout(m_facts.layout);
    return head;
}

QWidget *DetailSheet::makeContents()
{
    auto *contents = new QWidget;
    auto *column = new QVBoxLayout(contents);
    const int margin = Theme::em(1);
    column->setContentsMargins(margin, margin, margin, margin);
    column->setSpacing(Theme::em(0.75));
    column->addWidget(makeHead());
    const auto section = [&](const char *icon, const char *title) {
        auto *made = new Section(QString::fromLatin1(icon), QString::fromUtf8(title));
        column->addWidget(made);
        return made;
    };
    m_errorSection = section("warning", "Fehler");
    m_error = new CopyableText(QStringLiteral("Fehlertext"), mostErrorLines);
    m_errorSection->contents()->addWidget(m_error);
    m_trackSection = section("film", "Spuren");
    m_tracks.layout = m_trackSection->contents();
    m_estimateSection = section("compress", "Schätzung");
    m_estimate.layout = m_estimateSection->contents();
    m_searchSection = section("chart", "Qualitätssuche");
    m_search.layout = m_searchSection->contents();
    m_commandSection = section("terminal", commandTitle);
    m_command =
        new CopyableText(QString::fromUtf8(commandTitle), mostCommandLines, QTextOption::WrapAnywhere);
    m_commandNote = new FlowLabel({}, Size::caption, Tone::muted);
    m_commandSection->contents()->addWidget(m_commandNote);
    m_commandSection->contents()->addWidget(m_command);
    column->addStretch(1); // it alone gets the remaining space
    return contents;
}

QLayout *DetailSheet::makeButtons()
{
    m_reveal = button(QStringLiteral("external"), revealLabel(), {});
    m_clip = button(
        QStringLiteral("film"), QStringLiteral("&Probeclip"),
        QStringLiteral("60 Sekunden dieser Datei mit den aktuellen Einstellungen erzeugen – zum Testen am "
                       "Fernseher (landet in %1)")
            .arg(qt(Wording::text(Words::clipFolder))));
    m_previous = button({}, QStringLiteral("&Vorherige"), QStringLiteral("Die Datei darüber zeigen (Alt+↑)"));
    connect(new QShortcut(Qt::ALT | Qt::Key_Up, this), &QShortcut::activated, m_previous,
            &QPushButton::click);
    m_next = button({}, QStringLiteral("&Nächste"), QStringLiteral("Die Datei darunter zeigen (Alt+↓)"));
    connect(new QShortcut(Qt::ALT | Qt::Key_Down, this), &QShortcut::activated, m_next, &QPushButton::click);
    auto *close = button({}, QStringLiteral("&Schließen"), {});
    close->setDefault(true);

    auto *row = new QHBoxLayout;
    const int margin = Theme::em(1);
    row->setContentsMargins(margin, Theme::em(0.6), margin, Theme::em(0.75));
    row->setSpacing(Theme::em(0.5));
    for (auto *left : {m_reveal, m_clip})
        row->addWidget(left);
    row->addStretch();
    for (auto *right : {m_previous, m_next, close})
        row->addWidget(right);

    connect(m_reveal, &QPushButton::clicked, this, [this] {
        if (const FileItem *item = m_model.library().detailItem())
            emit revealRequested(item->resultURL.value_or(item->url));
    });
    connect(m_clip, &QPushButton::clicked, this, &DetailSheet::makeProbeClip);
    connect(m_previous, &QPushButton::clicked, this, [this] { step(-1); });
    connect(m_next, &QPushButton::clicked, this, [this] { step(1); });
    connect(close, &QPushButton::clicked, this, &QDialog::reject);
    return row;
}

void DetailSheet::follow()
{
    Library &library = m_model.library();
    connect(&library, &Library::itemChanged, this, [this](const FileItem &item) {
        if (&item == m_model.library().detailItem())
            refresh();
    });
    connect(&library, &Library::recomputed, this, &DetailSheet::refresh);
    connect(&library, &Library::sorted, this, &DetailSheet::updateNeighbours);
    connect(&library, &Library::filled, this, &DetailSheet::closeIfOpen);
    connect(&library, &Library::detailItemChanged, this, [this] {
        if (m_model.library().detailItem() == nullptr)
            return closeIfOpen();
        refresh();
        updateNeighbours();
        m_scroll->verticalScrollBar()->setValue(0);
        announce(*this, m_name->text());
    });
    for (const auto signal :
         {&AppModel::activityChanged, &AppModel::toolsChanged, &AppModel::settingsChanged})
        connect(&m_model, signal, this, &DetailSheet::refresh);
    connect(this, &QDialog::finished, this, [this] { m_model.library().setDetailItem(nullptr); });
    updateNeighbours();
}

template <typename Record, typename Build>
void DetailSheet::put(Place<Record> &place, const Record &record, Build build)
{
    if (place.shown == record)
        return;
    place.shown = record;
    while (QLayoutItem *old = place.layout->takeAt(0)) {
        // The widget is deleted later, because it may hold a button that is being clicked.
        old->widget()->hide();
        old->widget()->deleteLater();
        delete old;
    }
    place.layout->addWidget(build(record));
}

void DetailSheet::refresh()
{
    const FileItem *item = m_model.library().detailItem();
    if (item == nullptr)
        return;
    updateHead(*item);
    const ConversionSettings &settings = m_model.settingsOf(*item);
    updateSections(*item, settings);
    updateSearch(*item, settings);
    updateButtons();
}

// A second reject() would emit finished() again.
void DetailSheet::closeIfOpen()
{
    if (isVisible())
        reject();
}

void DetailSheet::updateHead(const FileItem &item)
{
    const QString name = DetailText::name(item);
    setWindowTitle(asTitle(name));
    m_name->setText(name);
    m_folder->setText(DetailText::folder(item));
    const DetailText::State state = DetailText::state(item);
    m_stateIcon->set(state.icon, state.tone);
    m_state->setText(state.text);
    m_state->setTone(state.tone == Tone::muted ? Tone::text : state.tone);
    m_bar->setValue(state.bar.value_or(0), state.tone);
    m_bar->setVisible(state.bar.has_value());
    const auto facts = DetailText::facts(item);
    put(m_facts, facts, &DetailViews::facts);
    QStringList spoken{m_name->text(), state.text};
    for (const auto &fact : facts)
        spoken += fact.name + QLatin1Char(' ') + fact.value;
    m_scroll->setAccessibleDescription(spoken.join(QStringLiteral(", ")));
}

void DetailSheet::updateSections(const FileItem &item, const ConversionSettings &settings)
{
    const auto error = DetailText::error(item);
    m_errorSection->setVisible(error.has_value());
    m_error->setText(error.value_or(QString()));

    m_trackSection->setVisible(item.info.has_value());
    put(m_tracks, TrackText::tracks(item, settings), &DetailViews::tracks);

    const auto estimate = DetailText::estimate(item);
    m_estimateSection->setVisible(estimate.has_value());
    if (estimate)
        put(m_estimate, *estimate, &DetailViews::estimate);

    const auto command = DetailText::command(item, settings, m_model.tools());
    m_commandSection->setVisible(command.has_value());
    m_command->setText(command.value_or(QString()));
    m_commandNote->setText(DetailText::commandNote(item, settings));
}

void DetailSheet::updateSearch(const FileItem &item, const ConversionSettings &settings)
{
    const SampleResult *sample = item.sample(settings.videoKey());
    m_searchSection->setVisible(sample != nullptr || SearchText::canBeSearched(item));
    SearchRecord record;
    if (sample != nullptr) {
        const FrameSize frame =
            item.plan ? FrameSize{item.plan->outputWidth, item.plan->outputHeight} : FrameSize();
        record.search = SearchText::search(*sample, frame);
        record.sample = *sample;
    } else {
        record.why = SearchText::noSearch(item);
        record.canMeasure =
            item.isActionable() && item.plan->encodesVideo() && !m_model.isBusy() && m_model.tools();
    }
    const bool isNew = m_search.shown != record;
    put(m_search, record, [this](const SearchRecord &made) {
        if (made.search)
            return DetailViews::search(*made.search, made.sample);
        return DetailViews::noSearch(made.why, made.canMeasure ? [this] { emit measureRequested(); }
                                                               : std::function<void()>());
    });
    if (auto *measure = m_searchSection->findChild<QPushButton *>(QStringLiteral("measure"));
        measure != nullptr && isNew)
        setTabOrder(m_error->findChild<QPushButton *>(), measure); // it may be newer than those after it
}

void DetailSheet::updateButtons()
{
    const FileItem *item = m_model.library().detailItem();
    m_clip->setEnabled(item->info && item->plan && m_model.tools() && !m_model.isBusy());
}

void DetailSheet::updateNeighbours()
{
    const auto files = m_model.library().filesInTableOrder();
    const auto here = std::find(files.begin(), files.end(), m_model.library().detailItem());
    m_previous->setEnabled(here != files.end() && here != files.begin());
    m_next->setEnabled(here != files.end() && here + 1 != files.end());
}

void DetailSheet::step(int by)
{
    const auto files = m_model.library().filesInTableOrder();
    const auto here = std::find(files.begin(), files.end(), m_model.library().detailItem());
    if (here == files.end())
        return;
    const auto place = here - files.begin() + by;
    if (place >= 0 && place < static_cast<std::ptrdiff_t>(files.size()))
        m_model.library().setDetailItem(files[static_cast<std::size_t>(place)]);
    m_model.library().setSelection(
        {m_model.library().detailItem()->id}); // the row to return to when the sheet closes
}

void DetailSheet::makeProbeClip()
{
    const FileItem *item = m_model.library().detailItem();
    if (item == nullptr)
        return;
    m_model.library().setSelection({item->id});
    m_model.makeProbeClip();
}

} // namespace kestrel
