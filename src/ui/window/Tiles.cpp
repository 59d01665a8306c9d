#include "ui/window/Tiles.h"

#include <QGridLayout>
#include <cmath>
#include <numeric>
#include <utility>

#include "format/Fmt.h"
#include "ui/look/Phrases.h"
#include "ui/look/Strings.h"
#include "ui/table/RowText.h"

namespace kestrel {

namespace {

constexpr double leastWidth = 7; // width of a card, in heights of the text

// Returns texts for where the whole one does not fit.
QStringList briefGrades(const Totals &totals)
{
    if (!totals.weakestKind)
        return {};
    const QString word = RowText::gradeWord(*totals.weakestKind);
    if (*totals.weakestKind != SizeEstimate::Kind::calibrated)
        return {word};
    const QString files = QStringLiteral(" (%1)").arg(counted(totals.samples));
    return {word + files, QStringLiteral("hochger.") + files};
}

void set(Label *label, const QString &text)
{
    if (label->text() == text)
        return;
    label->setText(text);
    label->setAccessibleName(text);
}

} // namespace

Tiles::Tiles(AppModel &model, QWidget *parent) : QWidget(parent), m_model(model)
{
    auto *grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setSpacing(Theme::em(0.5));
    grid->setSizeConstraint(QLayout::SetNoConstraint); // the layout changes with the width
    m_files = add("film", "Dateien");
    m_before = add("drive", "Vorher");
    m_after = add("compress", "Nachher");
    m_saving = add("save", "Ersparnis");
    m_time = add("clock", Phrases::computingTime);
    for (const auto signal : {&AppModel::activityChanged, &AppModel::runChanged})
        connect(&model, signal, this, &Tiles::update);
    for (const auto signal : {&Library::filled, &Library::recomputed})
        connect(&model.library(), signal, this, &Tiles::update);
    update();
}

Tiles::Tile Tiles::add(const char *icon, const QString &caption)
{
    const Tile tile{.card = new Card,
                    .icon = new IconLabel(QString::fromUtf8(icon), Theme::Tone::accent, 0.95),
                    .value = new ElidedLabel(QStringLiteral("–"), Theme::Size::value),
                    .detail = new ElidedLabel(QString(), Theme::Size::caption, Theme::Tone::muted),
                    .caption = new ElidedLabel(caption, Theme::Size::caption, Theme::Tone::muted)};
    auto *inside = new QGridLayout(tile.card);
    inside->setHorizontalSpacing(Theme::em(0.35));
    inside->setVerticalSpacing(Theme::em(0.1));
    tile.card->setAccessibleName(caption);
    static_cast<QGridLayout *>(layout())->addWidget(tile.card, 0, static_cast<int>(m_tiles.size()));
    arrange(tile, false, true); // the card must own its parts even if no resize follows
    m_tiles.push_back(tile);
    return tile;
}

QSize Tiles::minimumSizeHint() const
{
    return {Theme::em(3 * leastWidth), layout()->minimumSize().height()};
}

bool Tiles::isLine() const
{
    return m_isLow || width() < Theme::em(leastWidth * static_cast<double>(m_tiles.size()));
}

void Tiles::setLow(bool isLow)
{
    if (std::exchange(m_isLow, isLow) != isLow)
        arrange();
}

void Tiles::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    arrange();
}

void Tiles::arrange()
{
    const bool isLine = this->isLine();
    for (const Tile &tile : m_tiles)
        arrange(tile, isLine, true);
    auto *row = static_cast<QGridLayout *>(layout());
    const auto wanted = [](const Tile &tile) { return tile.card->sizeHint().width(); };
    const int all = std::accumulate(m_tiles.begin(), m_tiles.end(), 4 * row->horizontalSpacing(),
                                    [&](int sum, const Tile &tile) { return sum + wanted(tile); });
    for (int column = 0; const Tile &tile : m_tiles) {
        if (isLine && all > width())
            arrange(tile, isLine, false);
        row->setColumnStretch(column++, isLine ? wanted(tile) : 1);
    }
    updateGeometry();
}

void Tiles::arrange(const Tile &tile, bool isLine, bool hasCaption)
{
    auto *inside = static_cast<QGridLayout *>(tile.card->layout());
    inside->setContentsMargins(Theme::em(0.7), Theme::em(isLine ? 0.3 : 0.55), Theme::em(0.6),
                               Theme::em(isLine ? 0.3 : 0.55));
    inside->addWidget(tile.icon, 0, 0);
    inside->addWidget(tile.caption, 0, 1);
    if (isLine)
        inside->addWidget(tile.value, 0, 2);
    else
        inside->addWidget(tile.value, 1, 0, 1, 3);
    inside->addWidget(tile.detail, 2, 0, 1, 3);
    inside->setColumnStretch(isLine ? 2 : 1, 1);
    inside->setColumnStretch(isLine ? 1 : 2, 0);
    tile.value->setFont(Theme::font(isLine ? Theme::Size::heading : Theme::Size::value));
    tile.caption->setVisible(hasCaption);
    tile.detail->setVisible(!isLine);
}

void Tiles::update()
{
    const Totals &totals = m_model.totals();
    const QString none = QStringLiteral("–");
    const bool hasFiles = totals.files > 0;
    const bool isEstimated = totals.weakestKind.has_value();
    const bool isPlanned = hasFiles && (isEstimated || m_model.activity().kind != Activity::Kind::scanning);
    set(m_files.value, hasFiles ? QString::number(totals.files) : none);
    const QString duration = qt(Fmt::duration(totals.duration));
    set(m_files.detail,
        totals.errors > 0       ? QStringLiteral("%1 · %2 nicht lesbar").arg(duration).arg(totals.errors)
        : hasFiles              ? QStringLiteral("Laufzeit ") + duration
        : totals.incomplete > 0 ? QStringLiteral("%1 evtl. noch kopiert").arg(totals.incomplete)
                                : QString());
    const auto before = static_cast<double>(totals.sourceBytes);
    set(m_before.value, hasFiles ? qt(Fmt::bytes(before)) : none);
    set(m_before.detail, isPlanned ? QStringLiteral("%1 zu konvertieren").arg(totals.actionable) : QString());

    set(m_after.value, isPlanned ? qt(Fmt::bytes(totals.estimatedBytes)) : none);
    m_after.card->setToolTip(qt(totals.gradeText()));
    QString vmaf;
    if (isEstimated && !totals.vmafValues.empty()) {
        const double sum = std::accumulate(totals.vmafValues.begin(), totals.vmafValues.end(), 0.0);
        vmaf =
            QStringLiteral("VMAF ") + qt(Fmt::number(sum / static_cast<double>(totals.vmafValues.size()), 1));
    }
    m_after.detail->setBriefs(briefGrades(totals));
    set(m_after.detail, joined({qt(totals.gradeText()), vmaf}));
    showSaving(isPlanned);

    const auto remaining = m_model.runRemaining();
    set(m_time.caption, remaining ? QStringLiteral("Restdauer") : Phrases::computingTime);
    m_time.card->setAccessibleName(m_time.caption->text());
    const auto shown = remaining ? remaining : totals.shownSeconds();
    set(m_time.value, shown ? qt(Fmt::duration(*shown)) : none);
    set(m_time.detail, shown ? QStringLiteral("geschätzt") : QString());
    if (isLine())
        arrange(); // each part is as wide as its text
}

// Shows the growth of a library that would become larger, instead of a saving of nothing.
void Tiles::showSaving(bool isPlanned)
{
    const Totals &totals = m_model.totals();
    const auto before = static_cast<double>(totals.sourceBytes);
    const double saved = before - totals.estimatedBytes;
    const bool grows = isPlanned && saved <= -1024; // less is not visible
    set(m_saving.caption, grows ? QStringLiteral("Zuwachs") : QStringLiteral("Ersparnis"));
    m_saving.card->setAccessibleName(m_saving.caption->text());
    m_saving.value->setTone(grows                    ? Theme::Tone::orange
                            : isPlanned && saved > 0 ? Theme::Tone::green
                                                     : Theme::Tone::text);
    const QString sign = grows ? QStringLiteral("+") : QString();
    set(m_saving.value, isPlanned ? sign + qt(Fmt::bytes(std::abs(saved))) : QStringLiteral("–"));
    set(m_saving.detail,
        isPlanned && before > 0 ? sign + qt(Fmt::percent(std::abs(saved) / before)) : QString());
}

} // namespace kestrel
