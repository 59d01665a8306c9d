#include "ui/look/Style.h"

#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <QStyleFactory>
#include <QStyleOption>
#include <QToolButton>
#include <algorithm>
#include <cstdint>

#include "ui/look/Theme.h"

namespace kestrel {

namespace {

constexpr double radius = 6;

bool isPrimary(const QWidget *widget)
{
    return widget != nullptr && widget->isEnabled() && widget->property("primary").toBool();
}

bool hasVisibleFocus(const QStyleOption *option)
{
    return option->state.testFlag(QStyle::State_HasFocus) &&
           option->state.testFlag(QStyle::State_KeyboardFocusChange);
}

// Returns the icon in the colour of texts on the accent.
QIcon onAccent(const QIcon &icon, const QSize &size, const QWidget *widget, const QPalette &palette)
{
    if (icon.isNull())
        return icon;
    QPixmap pixmap = icon.pixmap(size, widget != nullptr ? widget->devicePixelRatioF() : 1);
    QPainter painter(&pixmap);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(pixmap.rect(), Theme::color(Theme::Tone::onAccent, palette));
    painter.end();
    return QIcon(pixmap);
}

enum class Ground { card, flat, primary };

void button(const QStyleOption *option, QPainter *painter, Ground kind)
{
    const auto &colors = Theme::colors(option->palette);
    const bool isEnabled = option->state.testFlag(QStyle::State_Enabled);
    const bool isDown =
        option->state.testFlag(QStyle::State_Sunken) || option->state.testFlag(QStyle::State_On);
    const bool isHovered = isEnabled && option->state.testFlag(QStyle::State_MouseOver);
    const bool isDefault = kind == Ground::primary;

    QColor ground = kind == Ground::flat ? QColor(Qt::transparent) : colors.card;
    if (isDefault && isEnabled)
        ground = isDown ? colors.accent.darker(115) : isHovered ? colors.accent.lighter(108) : colors.accent;
    else if (isDown)
        ground = colors.track;
    else if (isHovered)
        ground = colors.hover;
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(kind == Ground::flat || (isDefault && isEnabled) ? QPen(Qt::NoPen)
                                                                     : QPen(colors.line, 1));
    painter->setBrush(ground);
    painter->drawRoundedRect(QRectF(option->rect).adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
    painter->restore();
}

void ring(QPainter *painter, const QRectF &place, const QColor &color)
{
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setBrush(Qt::NoBrush);
    painter->setPen(QPen(color, 2));
    painter->drawRoundedRect(place, radius - 1, radius - 1);
    painter->restore();
}

void focusRing(const QStyleOption *option, QPainter *painter)
{
    ring(painter, QRectF(option->rect).adjusted(1, 1, -1, -1),
         Theme::color(Theme::Tone::accent, option->palette));
}

void focusRingOnAccent(const QStyleOption *option, QPainter *painter)
{
    ring(painter, QRectF(option->rect).adjusted(3, 3, -3, -3),
         Theme::color(Theme::Tone::onAccent, option->palette));
}

void headerArrow(const QStyleOption *option, QPainter *painter, const QWidget *widget)
{
    const auto *header = qstyleoption_cast<const QStyleOptionHeader *>(option);
    if (header == nullptr || header->sortIndicator == QStyleOptionHeader::None)
        return;
    const double width = Theme::em(0.5), height = width / 2;
    const bool isUp =
        header->sortIndicator == QStyleOptionHeader::SortDown; // Qt names the ascending order so
    const QPointF centre(QRectF(option->rect).center().x(),
                         widget != nullptr ? widget->height() / 2.0 : QRectF(option->rect).center().y());
    const double tip = isUp ? -height / 2 : height / 2;
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(
        QPen(Theme::colors(option->palette).text, 1.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter->drawPolyline(QPolygonF(
        {centre + QPointF(-width / 2, -tip), centre + QPointF(0, tip), centre + QPointF(width / 2, -tip)}));
    painter->restore();
}

} // namespace

void Draw::check(QPainter &painter, const QRect &place, Qt::CheckState state, bool isEnabled,
                 const QPalette &palette)
{
    const auto &colors = Theme::colors(palette);
    const double side = std::min(place.width(), place.height()) - 2.0;
    QRectF box(0, 0, side, side);
    box.moveCenter(QRectF(place).center());
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    if (!isEnabled)
        painter.setOpacity(0.5);
    const bool isOn = state != Qt::Unchecked;
    painter.setPen(isOn ? QPen(Qt::NoPen) : QPen(colors.muted, 1.5));
    painter.setBrush(isOn ? colors.accent : colors.card);
    painter.drawRoundedRect(box.adjusted(0.75, 0.75, -0.75, -0.75), side * 0.25, side * 0.25);
    painter.setPen(
        QPen(colors.onAccent, std::max(1.8, side * 0.13), Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    const auto at = [&](double x, double y) { return QPointF(box.x() + x * side, box.y() + y * side); };
    if (state == Qt::Checked)
        painter.drawPolyline(QPolygonF({at(0.26, 0.53), at(0.43, 0.70), at(0.75, 0.33)}));
    else if (state == Qt::PartiallyChecked)
        painter.drawLine(at(0.29, 0.5), at(0.71, 0.5));
    painter.restore();
}

void Draw::bar(QPainter &painter, const QRectF &place, double fraction, const QColor &fill,
               const QPalette &palette)
{
    const double round = place.height() / 2;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    QPainterPath track;
    track.addRoundedRect(place, round, round);
    painter.setBrush(Theme::colors(palette).track);
    painter.drawPath(track);
    const double width = place.width() * std::clamp(fraction, 0.0, 1.0);
    if (width > 0) {
        painter.setClipPath(track, Qt::IntersectClip);
        painter.setBrush(fill);
        painter.drawRoundedRect(QRectF(place.x(), place.y(), std::max(width, place.height()), place.height()),
                                round, round);
    }
    painter.restore();
}

Style::Style() : QProxyStyle(QStyleFactory::create(QStringLiteral("Fusion"))) {}

void Style::drawPrimitive(PrimitiveElement element, const QStyleOption *option, QPainter *painter,
                          const QWidget *widget) const
{
    switch (element) {
    case PE_PanelButtonCommand: {
        const auto *push = qstyleoption_cast<const QStyleOptionButton *>(option);
        const auto has = [push](auto feature) { return push != nullptr && push->features.testFlag(feature); };
        const bool isDefault = has(QStyleOptionButton::DefaultButton);
        button(option, painter,
               isDefault                       ? Ground::primary
               : has(QStyleOptionButton::Flat) ? Ground::flat
                                               : Ground::card);
        if (hasVisibleFocus(option))
            isDefault ? focusRingOnAccent(option, painter) : focusRing(option, painter);
        return;
    }
    case PE_PanelButtonTool:
        return button(option, painter, isPrimary(widget) ? Ground::primary : Ground::flat);
    case PE_IndicatorHeaderArrow:
        return headerArrow(option, painter, widget);
    case PE_PanelScrollAreaCorner:
        return;
    case PE_FrameFocusRect:
        if (const auto *focus = qstyleoption_cast<const QStyleOptionFocusRect *>(option)) {
            QStyleOptionFocusRect around(*focus);
            if (qobject_cast<const QToolButton *>(widget) != nullptr)
                around.rect.adjust(-3, -3, 3, 3); // Qt's own frame would touch the text
            return isPrimary(widget) ? focusRingOnAccent(&around, painter) : focusRing(&around, painter);
        }
        break;
    case PE_IndicatorCheckBox:
        return Draw::check(*painter, option->rect,
                           option->state.testFlag(State_On)         ? Qt::Checked
                           : option->state.testFlag(State_NoChange) ? Qt::PartiallyChecked
                                                                    : Qt::Unchecked,
                           option->state.testFlag(State_Enabled), option->palette);
    default:
        break;
    }
    QProxyStyle::drawPrimitive(element, option, painter, widget);
}

void Style::drawControl(ControlElement element, const QStyleOption *option, QPainter *painter,
                        const QWidget *widget) const
{
    const auto &colors = Theme::colors(option->palette);
    if (element == CE_ToolBar) {
        painter->fillRect(option->rect, colors.window);
        painter->fillRect(QRect(option->rect.left(), option->rect.bottom(), option->rect.width(), 1),
                          colors.line);
        return;
    }
    if (element == CE_HeaderSection || element == CE_HeaderEmptyArea) {
        painter->fillRect(option->rect, colors.card);
        painter->fillRect(QRect(option->rect.left(), option->rect.bottom(), option->rect.width(), 1),
                          colors.line);
        return;
    }
    if (element == CE_Splitter)
        return;
    if (element == CE_HeaderLabel) {
        if (const auto *header = qstyleoption_cast<const QStyleOptionHeader *>(option)) {
            QStyleOptionHeader label(*header);
            label.text = header->fontMetrics.elidedText(header->text, Qt::ElideRight, header->rect.width());
            label.palette.setColor(QPalette::ButtonText, header->sortIndicator != QStyleOptionHeader::None
                                                             ? colors.text
                                                             : colors.muted);
            return QProxyStyle::drawControl(element, &label, painter, widget);
        }
    }
    if (element == CE_ToolButtonLabel && isPrimary(widget)) {
        if (const auto *tool = qstyleoption_cast<const QStyleOptionToolButton *>(option)) {
            QStyleOptionToolButton label(*tool);
            label.palette.setColor(QPalette::ButtonText, colors.onAccent);
            label.icon = onAccent(tool->icon, tool->iconSize, widget, option->palette);
            return QProxyStyle::drawControl(element, &label, painter, widget);
        }
    }
    if (element == CE_MenuItem || element == CE_MenuBarItem) {
        if (const auto *item = qstyleoption_cast<const QStyleOptionMenuItem *>(option)) {
            QStyleOptionMenuItem calm(*item); // a copy on which icons and texts look as elsewhere
            calm.palette.setColor(QPalette::Highlight, colors.selection);
            calm.palette.setColor(QPalette::HighlightedText, colors.text);
            return QProxyStyle::drawControl(element, &calm, painter, widget);
        }
    }
    if (element == CE_PushButtonLabel) {
        if (const auto *push = qstyleoption_cast<const QStyleOptionButton *>(option);
            push != nullptr && push->features.testFlag(QStyleOptionButton::DefaultButton) &&
            option->state.testFlag(State_Enabled)) {
            QStyleOptionButton label(*push);
            label.palette.setColor(QPalette::ButtonText,
                                   Theme::color(Theme::Tone::onAccent, option->palette));
            label.icon = onAccent(push->icon, push->iconSize, widget, option->palette);
            return QProxyStyle::drawControl(element, &label, painter, widget);
        }
    }
    QProxyStyle::drawControl(element, option, painter, widget);
}

// Draws a scroll bar's handle without grooves and arrows.
void Style::drawComplexControl(ComplexControl control, const QStyleOptionComplex *option, QPainter *painter,
                               const QWidget *widget) const
{
    if (control == CC_ToolButton && isPrimary(widget))
        button(option, painter, Ground::primary);
    if (control != CC_ScrollBar) {
        QProxyStyle::drawComplexControl(control, option, painter, widget);
        if (control == CC_ComboBox && hasVisibleFocus(option))
            focusRing(option, painter);
        return;
    }
    const auto &colors = Theme::colors(option->palette);
    QRectF handle = subControlRect(control, option, SC_ScrollBarSlider, widget);
    const bool isActive = option->state.testFlag(State_MouseOver) || option->state.testFlag(State_Sunken);
    const bool isHorizontal = option->state.testFlag(State_Horizontal);
    const double thickness = isActive ? 8 : 6;
    if (isHorizontal)
        handle =
            QRectF(handle.left() + 2, handle.center().y() - thickness / 2, handle.width() - 4, thickness);
    else
        handle =
            QRectF(handle.center().x() - thickness / 2, handle.top() + 2, thickness, handle.height() - 4);
    QColor color = colors.muted;
    color.setAlphaF(isActive ? 0.8F : 0.45F);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    painter->setBrush(color);
    painter->drawRoundedRect(handle, thickness / 2, thickness / 2);
    painter->restore();
}

QRect Style::subControlRect(ComplexControl control, const QStyleOptionComplex *option, SubControl part,
                            const QWidget *widget) const
{
    const auto *bar = qstyleoption_cast<const QStyleOptionSlider *>(option);
    if (control != CC_ScrollBar || bar == nullptr)
        return QProxyStyle::subControlRect(control, option, part, widget);
    const bool isHorizontal = bar->orientation == Qt::Horizontal;
    const int length = isHorizontal ? bar->rect.width() : bar->rect.height();
    const int range = bar->maximum - bar->minimum;
    int handle = length;
    if (range > 0)
        handle = std::clamp(static_cast<int>(std::int64_t(bar->pageStep) * length / (range + bar->pageStep)),
                            std::min(length, pixelMetric(PM_ScrollBarSliderMin, option, widget)), length);
    const int start = sliderPositionFromValue(bar->minimum, bar->maximum, bar->sliderPosition,
                                              length - handle, bar->upsideDown);
    const auto piece = [&](int from, int size) {
        return visualRect(bar->direction, bar->rect,
                          isHorizontal
                              ? QRect(bar->rect.left() + from, bar->rect.top(), size, bar->rect.height())
                              : QRect(bar->rect.left(), bar->rect.top() + from, bar->rect.width(), size));
    };
    switch (part) {
    case SC_ScrollBarSlider:
        return piece(start, handle);
    case SC_ScrollBarGroove:
        return bar->rect;
    case SC_ScrollBarSubPage:
        return piece(0, start);
    case SC_ScrollBarAddPage:
        return piece(start + handle, length - start - handle);
    default:
        return {};
    }
}

QRect Style::subElementRect(SubElement element, const QStyleOption *option, const QWidget *widget) const
{
    if (element != SE_HeaderArrow)
        return QProxyStyle::subElementRect(element, option, widget);
    const int side = Theme::em(0.8);
    return visualRect(option->direction, option->rect,
                      QRect(option->rect.right() - side - Theme::em(0.2),
                            option->rect.center().y() - side / 2, side, side));
}

int Style::pixelMetric(PixelMetric metric, const QStyleOption *option, const QWidget *widget) const
{
    switch (metric) {
    case PM_IndicatorWidth:
    case PM_IndicatorHeight:
    case PM_ExclusiveIndicatorWidth:
    case PM_ExclusiveIndicatorHeight:
        return Theme::em(1.05);
    case PM_SmallIconSize:
    case PM_ButtonIconSize:
        return Theme::em(1.1);
    case PM_ToolBarIconSize:
        return Theme::em(1.4);
    case PM_ScrollBarExtent:
        return 12;
    case PM_HeaderMargin:
        return Theme::em(0.45);
    case PM_ButtonShiftHorizontal:
    case PM_ButtonShiftVertical:
        return 0;
    default:
        return QProxyStyle::pixelMetric(metric, option, widget);
    }
}

int Style::styleHint(StyleHint hint, const QStyleOption *option, const QWidget *widget,
                     QStyleHintReturn *data) const
{
    switch (hint) {
    case SH_ItemView_ShowDecorationSelected:
        return 1;
    case SH_ToolTip_Mask:
    case SH_DialogButtonBox_ButtonsHaveIcons: // these icons are of another family
        return 0;
    default:
        return QProxyStyle::styleHint(hint, option, widget, data);
    }
}

QSize Style::sizeFromContents(ContentsType type, const QStyleOption *option, const QSize &size,
                              const QWidget *widget) const
{
    QSize result = QProxyStyle::sizeFromContents(type, option, size, widget);
    if (type == CT_PushButton)
        result = result.expandedTo({0, Theme::em(1.9)}) + QSize(Theme::em(0.5), 0);
    if (type == CT_ComboBox)
        result = result.expandedTo({0, Theme::em(1.9)});
    return result;
}

} // namespace kestrel
