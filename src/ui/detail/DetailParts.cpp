#include "ui/detail/DetailParts.h"

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHelpEvent>
#include <QPainter>
#include <QPainterPath>
#include <QTextLayout>
#include <QToolTip>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

#include "ui/look/Icon.h"
#include "ui/look/Strings.h"

namespace kestrel {

namespace {

// Returns where the lines of a paragraph begin.
std::vector<int> breaks(const QString &paragraph, const QFont &font, int width,
                        QTextOption::WrapMode mode = QTextOption::WrapAtWordBoundaryOrAnywhere)
{
    std::vector<int> starts;
    QTextLayout layout(paragraph, font);
    QTextOption option;
    option.setWrapMode(mode);
    layout.setTextOption(option);
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(std::max(width, 1));
        starts.push_back(line.textStart());
    }
    layout.endLayout();
    return starts;
}

int lineCount(const QString &text, const QFont &font, int width, QTextOption::WrapMode mode)
{
    std::size_t lines = 0;
    for (const QString &paragraph : text.split(QLatin1Char('\n')))
        lines += std::max<std::size_t>(1, breaks(paragraph, font, width, mode).size());
    return static_cast<int>(lines);
}

void letGrowByWidth(QWidget &widget)
{
    QSizePolicy policy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    policy.setHeightForWidth(true);
    widget.setSizePolicy(policy);
}

// Keeps separators at the end of a line, and units with their numbers.
QString bound(QString text)
{
    return text.replace(QStringLiteral(" · "), QStringLiteral("\u00A0· "))
        .replace(QStringLiteral(" kbit/s"), QStringLiteral("\u00A0kbit/\u2060s"))
        .replace(QStringLiteral(" Mbit/s"), QStringLiteral("\u00A0Mbit/\u2060s"))
        .replace(QStringLiteral("CRF "), QStringLiteral("CRF\u00A0"));
}

} // namespace

FlowLabel::FlowLabel(const QString &text, Theme::Size size, Theme::Tone tone, int mostLines)
    : Label(text, size, tone), m_mostLines(mostLines)
{
    setWordWrap(true);
    letGrowByWidth(*this);
}

int FlowLabel::heightForWidth(int width) const
{
    return std::max<int>(1, static_cast<int>(wrapped(width).size())) * fontMetrics().lineSpacing();
}

QSize FlowLabel::sizeHint() const
{
    const int wide = std::min(fontMetrics().horizontalAdvance(text()) + 1, Theme::em(20));
    return {wide, heightForWidth(wide)};
}

QSize FlowLabel::minimumSizeHint() const
{
    return {Theme::em(4), fontMetrics().lineSpacing()};
}

QString FlowLabel::painted() const
{
    return bound(unbroken(text()));
}

QStringList FlowLabel::wrapped(int width) const
{
    const QString all = painted();
    const auto starts = breaks(all, font(), width);
    QStringList lines;
    for (std::size_t i = 0; i < starts.size(); ++i) {
        if (static_cast<int>(i) + 1 == m_mostLines && i + 1 < starts.size()) {
            lines.push_back(fontMetrics().elidedText(all.mid(starts[i]), Qt::ElideMiddle, width));
            break;
        }
        const int end = i + 1 < starts.size() ? starts[i + 1] : static_cast<int>(all.size());
        lines.push_back(all.mid(starts[i], end - starts[i]));
    }
    return lines;
}

void FlowLabel::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setPen(palette().color(QPalette::WindowText));
    const int height = fontMetrics().lineSpacing();
    const int flags =
        static_cast<int>(alignment() & Qt::AlignHorizontal_Mask) | Qt::AlignVCenter | Qt::TextSingleLine;
    int top = 0;
    for (const QString &line : wrapped(width())) {
        painter.drawText(QRect(0, top, width(), height), flags, line.trimmed());
        top += height;
    }
}

bool FlowLabel::event(QEvent *event)
{
    if (event->type() != QEvent::ToolTip)
        return Label::event(event);
    const bool isCut = static_cast<int>(breaks(painted(), font(), width()).size()) > m_mostLines;
    if (isCut)
        QToolTip::showText(static_cast<QHelpEvent *>(event)->globalPos(), plainTip(text()), this);
    return isCut;
}

TextBox::TextBox(int mostLines, QTextOption::WrapMode wrapMode) : m_mostLines(mostLines)
{
    QFont mono = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    const QFont size = Theme::font(Theme::Size::caption);
    size.pointSizeF() > 0 ? mono.setPointSizeF(size.pointSizeF()) : mono.setPixelSize(size.pixelSize());
    setFont(mono);
    setReadOnly(true);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setTabChangesFocus(true);
    setWordWrapMode(wrapMode);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFrameShape(QFrame::NoFrame);
    viewport()->setAutoFillBackground(false);
    document()->setDocumentMargin(Theme::em(0.5));
    letGrowByWidth(*this);
}

int TextBox::heightForWidth(int width) const
{
    const int margin = static_cast<int>(std::ceil(document()->documentMargin()));
    const int lines =
        std::min(lineCount(toPlainText(), font(), width - 2 * margin, wordWrapMode()), m_mostLines);
    return lines * fontMetrics().lineSpacing() + 2 * margin + 1;
}

QSize TextBox::sizeHint() const
{
    return {Theme::em(20), heightForWidth(Theme::em(20))};
}

QSize TextBox::minimumSizeHint() const
{
    return {Theme::em(8), Theme::em(2)};
}

void TextBox::paintEvent(QPaintEvent *event)
{
    {
        QPainter painter(viewport());
        painter.setRenderHint(QPainter::Antialiasing);
        const bool isFocused = hasFocus();
        const auto &colors = Theme::colors(palette());
        painter.setPen(isFocused ? QPen(colors.accent, 2) : QPen(colors.line, 1));
        painter.setBrush(colors.window);
        const double inset = isFocused ? 1 : 0.5;
        painter.drawRoundedRect(QRectF(viewport()->rect()).adjusted(inset, inset, -inset, -inset), 6, 6);
    }
    QPlainTextEdit::paintEvent(event);
}

CopyableText::CopyableText(const QString &name, int mostLines, QTextOption::WrapMode wrapMode)
    : m_box(new TextBox(mostLines, wrapMode)), m_button(new CopyButton(name))
{
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins({});
    column->setSpacing(Theme::em(0.5));
    column->addWidget(m_box);
    auto *row = new QHBoxLayout;
    row->addStretch();
    row->addWidget(m_button);
    column->addLayout(row);
    m_box->setAccessibleName(name);
}

void CopyableText::setText(const QString &text)
{
    if (text == m_text)
        return;
    m_text = text;
    m_box->setPlainText(text);
    m_button->setCopied(text);
    m_box->updateGeometry();
}

SplitBar::SplitBar(std::vector<Share> shares, double whole) : m_shares(std::move(shares)), m_whole(whole)
{
    setAccessibleName(QStringLiteral("Aufteilung")); // the text beside it has the values
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

QSize SplitBar::sizeHint() const
{
    return {Theme::em(10), Theme::em(0.8)};
}

void SplitBar::paintEvent(QPaintEvent *)
{
    const auto &colors = Theme::colors(palette());
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath outline;
    outline.addRoundedRect(rect(), height() * 0.3, height() * 0.3);
    painter.setClipPath(outline);
    painter.fillRect(rect(), colors.track);
    if (!(m_whole > 0))
        return;
    double left = 0;
    for (const Share &share : m_shares) {
        const double wide = width() * std::clamp(share.value / m_whole, 0.0, 1.0);
        painter.fillRect(QRectF(left, 0, wide, height()), Theme::color(share.tone, palette()));
        left += wide;
        painter.fillRect(QRectF(left - 1, 0, 1, height()), colors.card); // separates the parts visibly
    }
}

Rule::Rule()
{
    setFixedHeight(1);
}

void Rule::paintEvent(QPaintEvent *)
{
    QPainter(this).fillRect(rect(), Theme::colors(palette()).line);
}

Swatch::Swatch(std::optional<Theme::Tone> tone) : m_tone(tone)
{
    setFixedSize(Theme::em(0.7), Theme::em(0.7));
}

void Swatch::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(m_tone ? Theme::color(*m_tone, palette()) : Theme::colors(palette()).track);
    painter.drawRoundedRect(rect(), 3, 3);
}

} // namespace kestrel
