#include "ui/settings/CodecCard.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QStyleOptionFocusRect>
#include <QVBoxLayout>

#include "ui/look/Strings.h"
#include "ui/settings/Controls.h"

namespace kestrel {

CodecCard::CodecCard(VideoCodecChoice codec, QWidget *parent)
    : QRadioButton(parent), m_codec(codec), m_mark(new IconLabel("circle", Theme::Tone::muted, 1.1)),
      m_title(new Label(qt(title(codec)))),
      m_reason(new Note("warning", Theme::Tone::orange, Theme::Tone::muted))
{
    setAccessibleName(qt(title(codec)));
    setAttribute(Qt::WA_Hover);
    QFont bold = m_title->font();
    bold.setWeight(QFont::DemiBold);
    m_title->setFont(bold);

    auto *row = new QHBoxLayout(this);
    const int margin = Theme::em(0.55);
    row->setContentsMargins(margin, margin, margin, margin);
    row->setSpacing(Theme::em(0.5));
    row->addWidget(m_mark, 0, Qt::AlignTop);
    auto *texts = new QVBoxLayout;
    texts->setSpacing(Theme::em(0.1));
    texts->addWidget(m_title);
    texts->addWidget(
        (new Label(unbroken(qt(summary(codec))), Theme::Size::caption, Theme::Tone::muted))->wrapped());
    texts->addSpacing(Theme::em(0.1));
    texts->addWidget(m_reason);
    row->addLayout(texts, 1);
    m_reason->setText("Der installierte ffmpeg kann diesen Encoder nicht.");
    for (QWidget *child : findChildren<QWidget *>()) {
        child->setAttribute(Qt::WA_TransparentForMouseEvents);
        child->setForegroundRole(QPalette::WindowText); // a button's text would ignore tones
    }
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Minimum);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);

    connect(this, &QRadioButton::toggled, this, &CodecCard::showMark);
    setSupported(true);
}

void CodecCard::setSupported(bool isSupported)
{
    setEnabled(isSupported);
    m_reason->setVisible(!isSupported);
    m_title->setTone(isSupported ? Theme::Tone::text : Theme::Tone::muted);
    const QString description = qt(summary(m_codec));
    setAccessibleDescription(isSupported ? description : description + ". " + m_reason->text());
    showMark();
}

void CodecCard::showMark()
{
    m_mark->set(isChecked() ? "circle-dot" : "circle",
                isChecked() && isEnabled() ? Theme::Tone::accent : Theme::Tone::muted);
}

QSize CodecCard::sizeHint() const
{
    return layout()->totalSizeHint();
}

QSize CodecCard::minimumSizeHint() const
{
    return layout()->totalMinimumSize();
}

void CodecCard::paintEvent(QPaintEvent *)
{
    const auto &colors = Theme::colors(palette());
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(isChecked() ? colors.accent : colors.line, isChecked() ? 1.5 : 1));
    painter.setBrush(isChecked()                   ? Theme::tinted(Theme::Tone::accent, palette())
                     : isEnabled() && underMouse() ? colors.hover
                                                   : QColor(Qt::transparent));
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.75, 0.75, -0.75, -0.75), 7, 7);

    if (hasFocus() && window()->testAttribute(Qt::WA_KeyboardFocusChange)) {
        QStyleOptionFocusRect ring;
        ring.initFrom(this);
        ring.rect = rect().adjusted(2, 2, -2, -2); // within the border of the chosen card
        style()->drawPrimitive(QStyle::PE_FrameFocusRect, &ring, &painter, this);
    }
}

bool CodecCard::hitButton(const QPoint &position) const
{
    return rect().contains(position);
}

} // namespace kestrel
