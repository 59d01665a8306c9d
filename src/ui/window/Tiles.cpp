#include "ui/window/Tiles.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QVBoxLayout>
#include <numeric>

#include "format/Fmt.h"
#include "ui/look/Strings.h"
#include "ui/table/RowText.h"

namespace kestrel {

namespace {

constexpr double leastWidth = 7; // of a tile, in heights of the text

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
    grid->setSizeConstraint(QLayout::SetNoConstraint); // it changes with the width
    m_files = add("film", "Dateien");
    m_before = add("drive", "Vorher");
    m_after = add("compress", "Nachher");
    m_saving = add("save", "Ersparnis");
    m_time = add("clock", "Rechenzeit");
    m_saving.value->setTone(Theme::Tone::green);
    arrange();
    for (const auto signal : {&AppModel::activityChanged, &AppModel::runChanged})
        connect(&model, signal, this, &Tiles::update);
    for (const auto signal : {&Library::filled, &Library::recomputed})
        connect(&model.library(), signal, this, &Tiles::update);
    update();
}

Tiles::Tile Tiles::add(const char *icon, const char *caption)
{
    auto *card = new Card;
    auto *column = new QVBoxLayout(card);
    column->setContentsMargins(Theme::em(0.7), Theme::em(0.55), Theme::em(0.6), Theme::em(0.55));
    column->setSpacing(Theme::em(0.1));
    auto *head = new QHBoxLayout;
    head->setSpacing(Theme::em(0.35));
    head->addWidget(new IconLabel(QString::fromUtf8(icon), Theme::Tone::accent, 0.95));
    Tile tile{.card = card};
    tile.caption = new ElidedLabel(QString::fromUtf8(caption), Theme::Size::caption, Theme::Tone::muted);
    head->addWidget(tile.caption, 1);
    column->addLayout(head);
    tile.value = new ElidedLabel(QStringLiteral("–"), Theme::Size::value);
    column->addWidget(tile.value);
    tile.detail = new ElidedLabel(QString(), Theme::Size::caption, Theme::Tone::muted);
    column->addWidget(tile.detail);
    card->setAccessibleName(QString::fromUtf8(caption));
    m_cards.push_back(card);
    return tile;
}

QSize Tiles::minimumSizeHint() const
{
    return {Theme::em(3 * leastWidth), layout()->minimumSize().height()};
}

void Tiles::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    arrange();
}

// In one row, or in two where there is little room.
void Tiles::arrange()
{
    const int all = static_cast<int>(m_cards.size());
    const int columns = width() >= Theme::em(leastWidth * all) ? all : 3;
    if (columns == m_columns)
        return;
    m_columns = columns;
    auto *grid = static_cast<QGridLayout *>(layout());
    for (int i = 0; i < all; ++i) {
        grid->addWidget(m_cards[static_cast<std::size_t>(i)], i / columns, i % columns);
        grid->setColumnStretch(i, i < columns ? 1 : 0);
    }
    updateGeometry();
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
    QString grade = isEstimated ? RowText::gradeWord(*totals.weakestKind) : QString();
    m_after.card->setToolTip(isEstimated ? qt(label(*totals.weakestKind)) : QString());
    m_after.detail->setBrief(grade);
    if (!totals.vmafValues.empty()) {
        const double sum = std::accumulate(totals.vmafValues.begin(), totals.vmafValues.end(), 0.0);
        grade += QStringLiteral(" · VMAF ") +
                 qt(Fmt::number(sum / static_cast<double>(totals.vmafValues.size()), 1));
    }
    set(m_after.detail, grade);

    const double saved = before - totals.estimatedBytes;
    m_saving.value->setTone(isPlanned && saved > 0 ? Theme::Tone::green : Theme::Tone::text);
    set(m_saving.value, isPlanned ? qt(Fmt::bytes(std::max(0.0, saved))) : none);
    set(m_saving.detail,
        isPlanned && before > 0 ? qt(Fmt::percent(std::max(0.0, saved / before))) : QString());

    const auto remaining = m_model.runRemaining();
    set(m_time.caption, remaining ? QStringLiteral("Restdauer") : QStringLiteral("Rechenzeit"));
    m_time.card->setAccessibleName(m_time.caption->text());
    set(m_time.value, remaining                     ? qt(Fmt::duration(*remaining))
                      : totals.encodeSeconds >= 0.5 ? qt(Fmt::duration(totals.encodeSeconds))
                                                    : none);
    set(m_time.detail, totals.encodeSeconds >= 0.5 || remaining ? QStringLiteral("geschätzt") : QString());
}

} // namespace kestrel
