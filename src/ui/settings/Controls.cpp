#include "ui/settings/Controls.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QStyleOptionButton>
#include <QStyleOptionFocusRect>
#include <QWheelEvent>
#include <algorithm>

#include "ui/look/Accessibility.h"
#include "ui/look/Strings.h"

namespace kestrel {

namespace {

constexpr int textFlags = Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap;

// Returns the offset that centres something of this height on the first line of a text.
int lead(const QFontMetrics &metrics, int side)
{
    return std::max(0, (metrics.height() - side) / 2);
}

} // namespace

Picker::Picker(const QString &accessibleName, QWidget *parent) : QComboBox(parent)
{
    setAccessibleName(accessibleName);
    setFocusPolicy(Qt::StrongFocus);
    setSizeAdjustPolicy(AdjustToMinimumContentsLengthWithIcon);
    setMinimumContentsLength(8);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    // Of a picker with a label, Qt reports only that label to screen readers.
    connect(this, &QComboBox::currentTextChanged, this, [this](const QString &text) {
        setAccessibleDescription(text);
        if (hasFocus())
            announce(*this, text);
    });
}

void Picker::wheelEvent(QWheelEvent *event)
{
    if (hasFocus())
        QComboBox::wheelEvent(event);
    else
        event->ignore();
}

CheckRow::CheckRow(const QString &text, QWidget *parent) : QCheckBox(text, parent)
{
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Minimum);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
    setAttribute(Qt::WA_Hover);
}

void CheckRow::setDetail(const QString &detail)
{
    if (detail == m_detail)
        return;
    m_detail = detail;
    setAccessibleDescription(detail);
    updateGeometry();
    update();
}

int CheckRow::indent() const
{
    return style()->pixelMetric(QStyle::PM_IndicatorWidth, nullptr, this) + Theme::em(0.45);
}

int CheckRow::detailWidth() const
{
    return m_detail.isEmpty() ? 0 : fontMetrics().horizontalAdvance(m_detail) + Theme::em(0.6);
}

int CheckRow::heightOfText(int width) const
{
    const QRect room(0, 0, std::max(1, width - indent() - detailWidth()), QWIDGETSIZE_MAX);
    return fontMetrics().boundingRect(room, textFlags, unbroken(text())).height();
}

QSize CheckRow::sizeHint() const
{
    const int width =
        indent() + std::min(fontMetrics().horizontalAdvance(text()), Theme::em(13)) + detailWidth();
    return {width, heightForWidth(width)};
}

QSize CheckRow::minimumSizeHint() const
{
    int widestWord = 0;
    for (const QString &word : text().split(' '))
        widestWord = std::max(widestWord, fontMetrics().horizontalAdvance(word));
    const int side = style()->pixelMetric(QStyle::PM_IndicatorHeight, nullptr, this);
    return {indent() + widestWord + detailWidth(), std::max(side, fontMetrics().height()) + Theme::em(0.3)};
}

int CheckRow::heightForWidth(int width) const
{
    return std::max(heightOfText(width) + Theme::em(0.3), minimumSizeHint().height());
}

void CheckRow::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    QStyleOptionButton option;
    initStyleOption(&option);
    const int side = style()->pixelMetric(QStyle::PM_IndicatorHeight, nullptr, this);
    const int top = std::max(0, (height() - std::max(heightOfText(width()), side)) / 2);
    const QColor color =
        palette().color(isEnabled() ? QPalette::Active : QPalette::Disabled, QPalette::WindowText);

    option.rect = QRect(0, top + lead(fontMetrics(), side), side, side);
    style()->drawPrimitive(QStyle::PE_IndicatorCheckBox, &option, &painter, this);
    const QRect room(indent(), top, width() - indent(), height() - top);
    painter.setPen(color);
    QRect drawn;
    painter.drawText(room.adjusted(0, 0, -detailWidth(), 0), textFlags, unbroken(text()), &drawn);
    painter.setPen(isEnabled() ? Theme::color(Theme::Tone::muted, palette()) : color);
    painter.drawText(room, Qt::AlignRight | Qt::AlignTop, m_detail);

    if (hasFocus() && window()->testAttribute(Qt::WA_KeyboardFocusChange)) {
        QStyleOptionFocusRect ring;
        ring.initFrom(this);
        const int margin = Theme::em(0.2);
        ring.rect = QRect(drawn.left() - margin, 0, drawn.width() + 2 * margin, height());
        style()->drawPrimitive(QStyle::PE_FrameFocusRect, &ring, &painter, this);
    }
}

bool CheckRow::hitButton(const QPoint &position) const
{
    return rect().contains(position);
}

CheckRow *switchRow(AppModel &model, const QString &text, bool ConversionSettings::*field)
{
    auto *row = new CheckRow(text);
    const auto follow = [&model, row, field] { row->setChecked(model.settings().*field); };
    QObject::connect(row, &CheckRow::clicked, &model, [&model, field](bool isChecked) {
        edit(model, [&](auto &changed) { changed.*field = isChecked; });
    });
    QObject::connect(&model, &AppModel::settingsChanged, row, follow);
    follow();
    return row;
}

QString measuringLine(Measuring measuring)
{
    return QStringLiteral("Verfahren: ") + qt(title(measuring));
}

Label *caption(const QString &text)
{
    return (new Label(text, Theme::Size::caption, Theme::Tone::muted))->wrapped();
}

Note::Note(const QString &icon, Theme::Tone iconTone, Theme::Tone textTone, QWidget *parent)
    : QWidget(parent), m_text(new Label({}, Theme::Size::caption, textTone))
{
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(Theme::em(0.4));
    row->addWidget(new IconLabel(icon, iconTone, 1), 0, Qt::AlignTop);
    row->addWidget(m_text->wrapped(), 1);
    setVisible(false);
}

void Note::setText(const QString &text)
{
    if (text == m_text->text())
        return;
    m_text->setText(text);
    setVisible(!text.isEmpty());
}

} // namespace kestrel
