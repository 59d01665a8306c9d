#include "ui/look/Parts.h"

#include <QEvent>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QMessageBox>
#include <QPainter>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

#include "ui/look/Icon.h"
#include "ui/look/Strings.h"

namespace kestrel {

Label::Label(const QString &text, Theme::Size size, Theme::Tone tone, QWidget *parent)
    : QLabel(text, parent), m_tone(tone)
{
    setTextFormat(Qt::PlainText);
    setFont(Theme::font(size));
    tint();
}

void Label::setTone(Theme::Tone tone)
{
    m_tone = tone;
    tint();
}

Label *Label::wrapped()
{
    setWordWrap(true);
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
    return this;
}

Label *Label::selectable()
{
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setCursor(Qt::IBeamCursor);
    return this;
}

void Label::changeEvent(QEvent *event)
{
    QLabel::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        tint();
}

void Label::tint()
{
    const QColor color = Theme::color(m_tone, QGuiApplication::palette());
    if (palette().color(QPalette::WindowText) == color)
        return;
    QPalette tinted = palette();
    tinted.setColor(QPalette::WindowText, color);
    setPalette(tinted);
}

QSize ElidedLabel::minimumSizeHint() const
{
    const QSize whole = Label::minimumSizeHint();
    return {std::min(whole.width(), fontMetrics().averageCharWidth() * 8), whole.height()};
}

void ElidedLabel::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const int room = contentsRect().width();
    QString line = text();
    for (const QString &brief : m_briefs)
        if (fontMetrics().horizontalAdvance(line) > room)
            line = brief;
    line = fontMetrics().elidedText(line, m_mode, room);
    painter.setPen(palette().color(QPalette::WindowText));
    painter.drawText(contentsRect(), static_cast<int>(alignment()), line);
    setToolTip(line == text() ? QString() : plainTip(text()));
}

IconLabel::IconLabel(QString name, Theme::Tone tone, double side, QWidget *parent)
    : QWidget(parent), m_name(std::move(name)), m_tone(tone)
{
    const int pixels = Theme::em(side);
    setFixedSize(pixels, pixels);
}

IconLabel *IconLabel::onTint()
{
    m_isOnTint = true;
    return this;
}

void IconLabel::set(const QString &name, Theme::Tone tone)
{
    m_name = name;
    m_tone = tone;
    update();
}

void IconLabel::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QRect place = rect();
    if (m_isOnTint) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(Theme::tinted(m_tone, palette()));
        painter.drawRoundedRect(place, width() * 0.26, width() * 0.26);
        const int margin = width() / 5;
        place.adjust(margin, margin, -margin, -margin);
    }
    painter.drawPixmap(place.topLeft(),
                       Icon::pixmap(m_name, m_tone, place.width(), devicePixelRatioF(), palette()));
}

Card::Card(QWidget *parent) : QFrame(parent)
{
    setFrameShape(QFrame::NoFrame);
}

void Card::paintEvent(QPaintEvent *)
{
    const auto &colors = Theme::colors(palette());
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(colors.line, 1));
    painter.setBrush(colors.card);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 10, 10);
}

Section::Section(const QString &icon, const QString &title, QWidget *parent) : Card(parent)
{
    auto *outer = new QVBoxLayout(this);
    const int margin = Theme::em(0.75);
    outer->setContentsMargins(margin, margin, margin, margin);
    outer->setSpacing(Theme::em(0.5));
    auto *head = new QHBoxLayout;
    head->setSpacing(Theme::em(0.5));
    head->addWidget(new IconLabel(icon, Theme::Tone::accent, 1.1));
    m_title = new Label(title, Theme::Size::body);
    QFont bold = m_title->font();
    bold.setWeight(QFont::DemiBold);
    m_title->setFont(bold);
    head->addWidget(m_title, 1);
    outer->addLayout(head);
    m_contents = new QVBoxLayout;
    m_contents->setSpacing(Theme::em(0.4));
    outer->addLayout(m_contents);
    setAccessibleName(title);
}

void Section::setTitle(const QString &title, QWidget *control)
{
    m_title->setText(title);
    m_title->setBuddy(control);
}

void makeHeadline(QMessageBox &box)
{
    if (auto *text = box.findChild<QLabel *>(QStringLiteral("qt_msgbox_label")))
        text->setFont(Theme::font(Theme::Size::heading));
}

} // namespace kestrel
