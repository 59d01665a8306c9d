#include "ui/detail/DetailViews.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QPushButton>
#include <QVBoxLayout>

#include "ui/detail/DetailParts.h"
#include "ui/detail/SearchChart.h"
#include "ui/detail/SearchText.h"
#include "ui/detail/TrackText.h"
#include "ui/look/Icon.h"
#include "ui/look/Phrases.h"

namespace kestrel::DetailViews {

namespace {

using Theme::Size;
using Theme::Tone;

// Returns the layout, without margins, of an empty widget.
template <typename Layout>
Layout *layoutOf(QWidget *widget, double spacing)
{
    auto *layout = new Layout(widget);
    layout->setContentsMargins({});
    layout->setSpacing(Theme::em(spacing));
    return layout;
}

Label *bold(Label *label)
{
    QFont font = label->font();
    font.setWeight(QFont::DemiBold);
    label->setFont(font);
    return label;
}

// Returns both one below the other, the second in small print.
QVBoxLayout *twoLines(Label *first, const QString &second)
{
    auto *column = new QVBoxLayout;
    column->setSpacing(Theme::em(0.1));
    column->addWidget(first);
    if (!second.isEmpty())
        column->addWidget(new FlowLabel(second, Size::caption, Tone::muted));
    column->addStretch();
    return column;
}

// Returns an icon that is aligned with the first line of a text.
IconLabel *besideText(const QString &icon, Tone tone)
{
    return new IconLabel(icon, tone, 1.0);
}

void addRow(QGridLayout &grid, const TrackText::Track &track)
{
    const int row = grid.rowCount();
    auto *icon = besideText(track.icon, Tone::muted);
    icon->setAccessibleName(track.kind);
    icon->setToolTip(track.kind);
    grid.addWidget(icon, row, 0, Qt::AlignTop);
    const bool hasTitle = !track.title.isEmpty();
    grid.addLayout(twoLines(new FlowLabel(hasTitle ? track.title : track.kind), track.details), row, 1);
    if (!track.fate)
        return;
    const Tone tone = TrackText::tone(track.fate->action);
    auto *word = new FlowLabel(TrackText::word(track.fate->action), Size::body, tone);
    grid.addWidget(besideText(TrackText::icon(track.fate->action), tone), row, 2, Qt::AlignTop);
    grid.addLayout(twoLines(word, track.fate->reason), row, 3);
}

QHBoxLayout *remark(const QString &text)
{
    auto *row = new QHBoxLayout;
    row->setSpacing(Theme::em(0.5));
    row->addWidget(besideText(QStringLiteral("info"), Tone::accent), 0, Qt::AlignTop);
    row->addWidget(new FlowLabel(text), 1);
    return row;
}

QWidget *legendEntry(const QString &text, std::optional<Tone> tone)
{
    auto *entry = new QWidget;
    auto *row = layoutOf<QHBoxLayout>(entry, 0.35);
    row->addWidget(new Swatch(tone), 0, Qt::AlignVCenter);
    row->addWidget(new Label(text, Size::caption, Tone::text));
    return entry;
}

} // namespace

QWidget *facts(const std::vector<DetailText::Fact> &facts)
{
    auto *widget = new QWidget;
    auto *row = layoutOf<QHBoxLayout>(widget, 1);
    for (const auto &fact : facts) {
        auto *column = new QVBoxLayout;
        column->setSpacing(Theme::em(0.1));
        column->addWidget(new Label(fact.name, Size::caption, Tone::muted));
        column->addWidget(bold(new FlowLabel(fact.value, Size::body, Tone::text, 2)));
        column->addStretch();
        row->addLayout(column, 1);
    }
    if (facts.empty())
        widget->hide(); // it needs no space
    return widget;
}

QWidget *tracks(const TrackText::Tracks &tracks)
{
    auto *widget = new QWidget;
    auto *column = layoutOf<QVBoxLayout>(widget, 0.6);
    auto *grid = new QGridLayout;
    grid->setHorizontalSpacing(Theme::em(0.5));
    grid->setVerticalSpacing(Theme::em(0.55));
    grid->setColumnStretch(1, 3);
    grid->setColumnStretch(3, 2);
    for (const auto &track : tracks.rows)
        addRow(*grid, track);
    column->addLayout(grid);
    for (const auto &note : tracks.notes)
        column->addLayout(remark(note));
    return widget;
}

QWidget *estimate(const DetailText::Estimate &estimate)
{
    auto *widget = new QWidget;
    auto *column = layoutOf<QVBoxLayout>(widget, 0.5);
    auto *head = new QHBoxLayout;
    head->setSpacing(Theme::em(0.75));
    head->addWidget(new Label(estimate.sizes, Size::value));
    if (!estimate.change.isEmpty())
        head->addWidget(
            new Label(estimate.change, Size::value, estimate.saving.isEmpty() ? Tone::orange : Tone::green));
    head->addStretch();
    if (!estimate.time.isEmpty()) {
        head->addWidget(besideText(QStringLiteral("clock"), Tone::muted));
        head->addWidget(new Label(estimate.time, Size::body, Tone::muted));
    }
    column->addLayout(head);
    if (!estimate.parts.empty()) {
        std::vector<SplitBar::Share> shares;
        auto *legend = new QHBoxLayout;
        legend->setSpacing(Theme::em(1));
        for (const auto &part : estimate.parts) {
            shares.push_back({part.bytes, part.tone});
            legend->addWidget(legendEntry(part.name, part.tone));
        }
        if (!estimate.saving.isEmpty())
            legend->addWidget(legendEntry(estimate.saving, std::nullopt));
        legend->addStretch();
        column->addWidget(new SplitBar(std::move(shares), estimate.whole));
        column->addLayout(legend);
    }
    column->addLayout(twoLines(bold(new FlowLabel(estimate.grade)), estimate.explanation));
    return widget;
}

QWidget *search(const SearchText::Search &search, const SampleResult &sample)
{
    auto *widget = new QWidget;
    auto *column = layoutOf<QVBoxLayout>(widget, 0.6);
    column->addWidget(new FlowLabel(search.summary));
    if (search.hasScores)
        column->addWidget(new SearchChart(sample));

    auto *table = new QGridLayout;
    table->setHorizontalSpacing(Theme::em(1.2));
    table->setVerticalSpacing(Theme::em(0.3));
    const auto cell = [&](const QString &text, int row, int place, Size size, Tone tone) {
        auto *label = new Label(text, size, tone);
        label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        table->addWidget(label, row, place);
        return label;
    };
    const auto fill = [&](const SearchText::Search::Row &row, int line, Size size, Tone tone) {
        std::vector<QString> texts{row.crf};
        if (search.hasScores)
            texts.insert(texts.end(), {row.vmaf, row.worst});
        texts.insert(texts.end(), {row.bitrate, row.speed});
        int place = 1;
        for (const QString &text : texts) {
            auto *label = cell(text, line, place++, size, tone);
            if (row.isChosen)
                bold(label);
        }
    };
    fill({QStringLiteral("CRF"), QStringLiteral("VMAF"), QStringLiteral("schlechtester Abschnitt"),
          QStringLiteral("Bitrate"), QStringLiteral("Tempo")},
         0, Size::caption, Tone::muted);
    int line = 1;
    for (const auto &row : search.rows) {
        if (row.isChosen) {
            auto *mark = besideText(QStringLiteral("check"), Tone::green);
            mark->setAccessibleName(QStringLiteral("gewählt"));
            table->addWidget(mark, line, 0);
        }
        fill(row, line++, Size::body, Tone::text);
    }
    table->setColumnMinimumWidth(0, Theme::em(1));
    table->setColumnStretch(table->columnCount(), 1);
    column->addLayout(table);
    return widget;
}

QWidget *noSearch(const QString &why, const std::function<void()> &measure)
{
    auto *widget = new QWidget;
    auto *row = layoutOf<QHBoxLayout>(widget, 0.75);
    row->addWidget(new FlowLabel(why, Size::body, Tone::muted), 1);
    if (measure) {
        auto *button = new QPushButton(Icon::named(QStringLiteral("gauge")), Phrases::measure);
        button->setObjectName(QStringLiteral("measure"));
        QObject::connect(button, &QPushButton::clicked, button, measure);
        row->addWidget(button, 0, Qt::AlignTop);
    }
    return widget;
}

} // namespace kestrel::DetailViews
