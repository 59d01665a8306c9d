#include "ui/table/RowDelegate.h"

#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QTextBoundaryFinder>
#include <QToolTip>
#include <QTreeView>
#include <algorithm>

#include "ui/look/Icon.h"
#include "ui/look/Strings.h"
#include "ui/look/Style.h"

namespace kestrel {

namespace {

using Columns::at;
using Theme::Tone;

int margin()
{
    return Theme::em(0.45);
}

void drawLine(QPainter &painter, const QRect &place, const QString &text, const QFont &font,
              const QColor &color, int column)
{
    painter.setFont(font);
    painter.setPen(color);
    painter.drawText(
        place,
        static_cast<int>((at(column).isNumeric ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter) |
            Qt::TextSingleLine,
        QFontMetrics(font).elidedText(text, at(column).elide, place.width()));
}

// Returns the cell with the brief forms of texts that are too wide, or with a single text broken into two
// lines.
RowText::Cell fitted(RowText::Cell cell, int width, const QFontMetrics &body, const QFontMetrics &caption)
{
    if (!cell.icon.isEmpty())
        width -= Theme::em(1.25);
    if (!cell.brief.isEmpty() && body.horizontalAdvance(cell.text) > width)
        cell.text = cell.brief;
    if (!cell.briefDetail.isEmpty() && caption.horizontalAdvance(cell.detail) > width)
        cell.detail = cell.briefDetail;
    if (!cell.canBreak || body.horizontalAdvance(cell.text) <= width)
        return cell;
    for (qsizetype at = cell.text.size(); (at = cell.text.lastIndexOf(QLatin1Char(' '), at - 1)) > 0;)
        if (body.horizontalAdvance(cell.text.left(at)) <= width) {
            cell.detail = cell.text.mid(at + 1);
            cell.text.truncate(at);
            break;
        }
    return cell;
}

struct ChipPlace {
    QRect place;
    QString label;
    QString help;
    StreamAction action;
};

// Places as many chips as there is room for; the last then shows how many more there are.
std::vector<ChipPlace> layOut(const std::vector<RowText::Chip> &chips, const QRect &line, const QFont &font)
{
    const QFontMetrics metrics(font);
    const int padding = Theme::em(0.32), gap = Theme::em(0.25);
    std::vector<ChipPlace> places;
    int x = line.left();
    for (std::size_t i = 0; i < chips.size(); ++i) {
        const bool isLast = i + 1 == chips.size();
        const QString rest = QStringLiteral("+%1").arg(chips.size() - i);
        const int needed = metrics.horizontalAdvance(chips[i].label) + 2 * padding;
        const int reserve = isLast ? 0 : gap + metrics.horizontalAdvance(rest) + 2 * padding;
        if (x + needed + reserve > line.right() + 1) {
            QString help;
            for (std::size_t other = i; other < chips.size(); ++other)
                help += (help.isEmpty() ? QString() : QStringLiteral("\n")) + chips[other].help;
            const int width = metrics.horizontalAdvance(rest) + 2 * padding;
            if (x + width <= line.right() + 1)
                places.push_back(
                    {QRect(x, line.top(), width, line.height()), rest, help, StreamAction::keep});
            break;
        }
        places.push_back(
            {QRect(x, line.top(), needed, line.height()), chips[i].label, chips[i].help, chips[i].action});
        x += needed + gap;
    }
    return places;
}

void drawChip(QPainter &painter, const ChipPlace &chip, const QFont &base, const QPalette &palette)
{
    const auto &colors = Theme::colors(palette);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    QFont font = base;
    QColor text = colors.text;
    painter.setBrush(Qt::NoBrush);
    switch (chip.action) {
    case StreamAction::keep:
        painter.setPen(QPen(colors.line, 1));
        painter.setBrush(colors.track);
        break;
    case StreamAction::convert:
        painter.setPen(QPen(colors.accent, 1));
        painter.setBrush(Theme::tinted(Tone::accent, palette));
        text = colors.accent;
        break;
    case StreamAction::drop:
        painter.setPen(QPen(colors.line, 1, Qt::DashLine));
        font.setStrikeOut(true);
        text = colors.muted;
        break;
    }
    const QRectF frame = QRectF(chip.place).adjusted(0.5, 0.5, -0.5, -0.5);
    painter.drawRoundedRect(frame, frame.height() * 0.3, frame.height() * 0.3);
    painter.setFont(font);
    painter.setPen(text);
    painter.drawText(chip.place, Qt::AlignCenter | Qt::TextSingleLine, chip.label);
    painter.restore();
}

// Says how much of a name's beginning fits on a line: in letters, and up to the end of a word, if that is not
// much less.
struct Fitting {
    qsizetype letters = 0, words = 0;
};
Fitting fittingPart(const QString &name, const QFontMetrics &metrics, int width)
{
    QTextBoundaryFinder letters(QTextBoundaryFinder::Grapheme, name);
    qsizetype fitting = 0, word = 0;
    const qsizetype extension = name.lastIndexOf('.') + 1; // the extension stays with its name
    for (qsizetype end = letters.toNextBoundary(); end > 0; end = letters.toNextBoundary()) {
        if (metrics.horizontalAdvance(name, static_cast<int>(end)) > width)
            break;
        fitting = end;
        if (end != extension && QStringLiteral(" ._-–").contains(name[end - 1]))
            word = end;
    }
    return {fitting, word > fitting / 2 ? word : fitting};
}

struct Lines {
    QRect first, second;
};

Lines lines(const QRect &cell, bool hasSecond)
{
    const QRect inner = cell.adjusted(margin(), 0, -margin(), 0);
    const int height = QFontMetrics(Theme::font(Theme::Size::body)).height();
    const int small = QFontMetrics(Theme::font(Theme::Size::caption)).height() + 2;
    if (!hasSecond)
        return {QRect(inner.left(), inner.center().y() - height / 2, inner.width(), height), {}};
    const int gap = Theme::em(0.1);
    const int top = inner.top() + (inner.height() - height - gap - small) / 2;
    return {QRect(inner.left(), top, inner.width(), height),
            QRect(inner.left(), top + height + gap, inner.width(), small)};
}

// Paints a name. `cell` excludes what stands before it; `count` is a folder's number of files.
void drawName(QPainter &painter, const QRect &cell, const RowText::Cell &name, const QFont &font,
              const QFont &small, const QColor &color, const QColor &muted)
{
    const QFontMetrics metrics(font), smallMetrics(small);
    const int gap = Theme::em(0.5);
    const int tail =
        name.detail.isEmpty() ? 0 : gap + Theme::em(0.2) + smallMetrics.horizontalAdvance(name.detail);
    const auto [first, second] = RowDelegate::nameLines(name.text, metrics, cell.width(), tail);
    if (second.isEmpty()) {
        const auto [top, bottom] = lines(cell.adjusted(-margin(), 0, margin(), 0), !name.detail.isEmpty());
        drawLine(painter, top, first, font, color, Columns::name);
        return drawLine(painter, bottom, name.detail, small, muted, Columns::name);
    }
    const int height = metrics.height();
    const QRect top(cell.left(), cell.top() + (cell.height() - 2 * height) / 2, cell.width(), height);
    drawLine(painter, top, first, font, color, Columns::name);
    const QRect bottom = top.translated(0, height);
    drawLine(painter, bottom, second, font, color, Columns::name);
    drawLine(painter, bottom.adjusted(metrics.horizontalAdvance(second) + gap, 0, 0, 0), name.detail, small,
             muted, Columns::name);
}

QRect checkPlace(const QRect &cell)
{
    const int side = Theme::em(1.05);
    QRect place(0, 0, side, side);
    place.moveCenter(cell.center());
    return place;
}

} // namespace

RowDelegate::RowDelegate(const LibraryModel &model, QObject *parent)
    : QStyledItemDelegate(parent), m_model(model)
{
}

int RowDelegate::rowHeight()
{
    return Theme::em(2.75);
}

RowDelegate::NameLines RowDelegate::nameLines(const QString &name, const QFontMetrics &metrics, int place,
                                              int tail)
{
    const int width = place - 1; // advances are rounded to whole pixels, painted text is not
    if (metrics.horizontalAdvance(name) <= width)
        return {name, {}};
    const auto [letters, words] = fittingPart(name, metrics, width);
    const int room = std::max(0, width - tail);
    if (const QString rest = name.mid(words).trimmed(); metrics.horizontalAdvance(rest) <= room)
        return {name.left(words).trimmed(), rest};
    return {name.left(letters).trimmed(),
            metrics.elidedText(name.mid(letters).trimmed(), Qt::ElideMiddle, room)};
}

QSize RowDelegate::sizeHint(const QStyleOptionViewItem &, const QModelIndex &) const
{
    return {Theme::em(6), rowHeight()};
}

void RowDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    const auto &colors = Theme::colors(option.palette);
    const TableNode &row = m_model.node(index);
    const bool isSelected = option.state.testFlag(QStyle::State_Selected);
    if (isSelected)
        painter->fillRect(option.rect, colors.selection);
    else if (option.state.testFlag(QStyle::State_MouseOver))
        painter->fillRect(option.rect, colors.hover);
    const bool isLeftOut = row.item != nullptr && !row.item->included && !row.item->isFinished();

    if (index.column() == Columns::include) {
        if (const QVariant state = index.data(Qt::CheckStateRole); state.isValid())
            Draw::check(*painter, checkPlace(option.rect), static_cast<Qt::CheckState>(state.toInt()), true,
                        option.palette);
        return;
    }
    const QFont body = Theme::font(Theme::Size::body), caption = Theme::font(Theme::Size::caption);
    const RowText::Cell cell = fitted(m_model.cell(index), option.rect.width() - 2 * margin(),
                                      QFontMetrics(body), QFontMetrics(caption));
    QFont first = body;
    if (row.isFolder() && index.column() == Columns::name)
        first.setWeight(QFont::DemiBold);
    const auto chips = m_model.chips(index);
    const bool hasSecond = !cell.detail.isEmpty() || !chips.empty() || cell.bar;
    auto [top, bottom] = lines(option.rect, hasSecond);

    QString icon = cell.icon;
    Tone iconTone = cell.tone;
    if (index.column() == Columns::name) {
        icon = row.isFolder() ? QStringLiteral("folder") : QStringLiteral("film");
        iconTone = row.isFolder() ? Tone::accent : Tone::muted;
    }
    const QColor firstColor = isLeftOut ? colors.muted : Theme::color(cell.tone, option.palette);
    if (!icon.isEmpty()) {
        const int side = Theme::em(index.column() == Columns::name ? 1.2 : 0.95);
        const int gap = Theme::em(index.column() == Columns::name ? 0.5 : 0.3);
        const QRect around = index.column() == Columns::name ? option.rect : top;
        int x = top.left();
        if (at(index.column()).isNumeric)
            x = std::max(top.left(),
                         top.right() - QFontMetrics(first).horizontalAdvance(cell.text) - gap - side);
        painter->drawPixmap(QPoint(x, around.center().y() - side / 2 + 1),
                            Icon::pixmap(icon, isLeftOut ? Tone::muted : iconTone, side,
                                         painter->device()->devicePixelRatioF(), option.palette));
        if (!at(index.column()).isNumeric) {
            top.setLeft(top.left() + side + gap);
            bottom.setLeft(cell.bar ? top.left() : bottom.left());
        }
    }
    if (index.column() == Columns::name) {
        const QRect place(top.left(), option.rect.top(), top.width(), option.rect.height());
        return drawName(*painter, place, cell, first, caption, firstColor, colors.muted);
    }
    if (cell.canBreak && !cell.detail.isEmpty())
        first = caption;
    drawLine(*painter, top, cell.text, first, firstColor, index.column());
    if (cell.bar) {
        QRectF bar(bottom);
        const double height = std::max(5, Theme::em(0.34));
        bar.setTop(bar.center().y() - height / 2);
        bar.setHeight(height);
        Draw::bar(*painter, bar, *cell.bar, Theme::color(cell.tone, option.palette), option.palette);
    } else if (!chips.empty()) {
        for (const ChipPlace &chip : layOut(chips, bottom, caption))
            drawChip(*painter, chip, caption, option.palette);
    } else if (!cell.detail.isEmpty()) {
        const bool isOneText = cell.canBreak; // one text in two lines
        drawLine(*painter, bottom, cell.detail, isOneText ? first : caption,
                 isOneText ? firstColor : colors.muted, index.column());
    }
}

bool RowDelegate::editorEvent(QEvent *event, QAbstractItemModel *, const QStyleOptionViewItem &option,
                              const QModelIndex &index)
{
    if (index.column() != Columns::include || event->type() != QEvent::MouseButtonRelease)
        return false;
    const auto *mouse = static_cast<QMouseEvent *>(event);
    if (mouse->button() != Qt::LeftButton || !option.rect.contains(mouse->position().toPoint()))
        return false;
    emit checkClicked(index);
    return true;
}

bool RowDelegate::helpEvent(QHelpEvent *event, QAbstractItemView *view, const QStyleOptionViewItem &option,
                            const QModelIndex &index)
{
    if (event->type() == QEvent::ToolTip) {
        const auto chips = m_model.chips(index);
        const auto [top, bottom] = lines(option.rect, !chips.empty());
        for (const ChipPlace &chip : layOut(chips, bottom, Theme::font(Theme::Size::caption)))
            if (chip.place.contains(event->pos())) {
                QToolTip::showText(event->globalPos(), plainTip(chip.help), view, chip.place);
                return true;
            }
    }
    return QStyledItemDelegate::helpEvent(event, view, option, index);
}

} // namespace kestrel
