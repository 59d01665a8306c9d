#include "ui/look/Parts.h"

#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QEvent>
#include <QHBoxLayout>
#include <QMessageBox>
#include <QPainter>
#include <QScrollBar>
#include <QStyleOptionFocusRect>
#include <QTimerEvent>
#include <QVBoxLayout>
#include <cmath>
#include <utility>

#include "format/Fmt.h"
#include "ui/look/Icon.h"
#include "ui/look/Strings.h"
#include "ui/look/Style.h"

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
    const QString line = fontMetrics().elidedText(text(), m_mode, contentsRect().width());
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

Bar::Bar(QWidget *parent) : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAccessibleName(QStringLiteral("Fortschritt"));
}

void Bar::setValue(std::optional<double> fraction, Theme::Tone tone)
{
    if (fraction == m_fraction && tone == m_tone)
        return;
    const auto percent = [](std::optional<double> value) { return std::lround(value.value_or(0) * 100); };
    const bool isWorthTelling = percent(fraction) != percent(m_fraction);
    m_fraction = fraction;
    m_tone = tone;
    if (isWorthTelling) {
        QAccessibleValueChangeEvent event(this, fraction.value_or(0));
        QAccessible::updateAccessibility(&event);
    }
    animate();
    update();
}

QSize Bar::sizeHint() const
{
    return {Theme::em(6), std::max(6, Theme::em(0.45))};
}

void Bar::animate()
{
    const bool wants = !m_fraction && isVisible();
    if (wants && m_timer == 0)
        m_timer = startTimer(30);
    else if (!wants && m_timer != 0)
        killTimer(std::exchange(m_timer, 0));
}

void Bar::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const QColor fill = Theme::color(m_tone, palette());
    Draw::bar(painter, rect(), m_fraction.value_or(0), fill, palette());
    if (m_fraction)
        return;
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    const double piece = width() * 0.4;
    painter.drawRoundedRect(QRectF(-piece + m_phase * (width() + piece), 0, piece, height()), height() / 2.0,
                            height() / 2.0);
}

void Bar::timerEvent(QTimerEvent *)
{
    constexpr double step = 30.0 / 1400; // of one sweep
    m_phase = std::fmod(m_phase + step, 1);
    update();
}

void Bar::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    animate();
}

void Bar::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    animate();
}

VerticalScroll::VerticalScroll(QWidget *contents, QWidget *parent) : QScrollArea(parent)
{
    setFrameShape(QFrame::NoFrame);
    setWidgetResizable(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setWidget(contents);
    contents->installEventFilter(this);
    contents->setAutoFillBackground(false);
    viewport()->setAutoFillBackground(false);
    setViewportMargins(ring, ring, ring, ring);
    // Qt does so for the tab key only, not for the letter of a label. What is clicked is in sight.
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget *, QWidget *now) {
        if (now != nullptr && widget()->isAncestorOf(now) && QGuiApplication::mouseButtons() == Qt::NoButton)
            ensureWidgetVisible(now, 0, Theme::em(1));
    });
}

bool VerticalScroll::event(QEvent *event)
{
    const bool isTaken = QScrollArea::event(event);
    if (event->type() == QEvent::Paint && hasFocus() && window()->testAttribute(Qt::WA_KeyboardFocusChange)) {
        QPainter painter(this);
        QStyleOptionFocusRect option;
        option.initFrom(this);
        style()->drawPrimitive(QStyle::PE_FrameFocusRect, &option, &painter, this);
    }
    return isTaken;
}

QSize VerticalScroll::sizeHint() const
{
    return {widget()->sizeHint().width() + verticalScrollBar()->sizeHint().width() + 2 * ring,
            widget()->sizeHint().height() + 2 * ring};
}

QSize VerticalScroll::minimumSizeHint() const
{
    return {widget()->minimumSizeHint().width() + verticalScrollBar()->sizeHint().width() + 2 * ring,
            Theme::em(6)};
}

bool VerticalScroll::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == widget() && event->type() == QEvent::LayoutRequest)
        setMinimumWidth(minimumSizeHint().width());
    return QScrollArea::eventFilter(watched, event);
}

CopyButton::CopyButton(QString what) : m_what(std::move(what))
{
    m_timer.setSingleShot(true);
    m_timer.setInterval(2000);
    showCopied(false);
    setMinimumWidth(sizeHint().width()); // "Kopiert" is shorter
    connect(&m_timer, &QTimer::timeout, this, [this] { showCopied(false); });
    connect(this, &QPushButton::clicked, this, [this] {
        QGuiApplication::clipboard()->setText(m_text);
        showCopied(true);
        m_timer.start();
    });
}

void CopyButton::showCopied(bool isDone)
{
    setText(isDone ? QStringLiteral("&Kopiert") : QStringLiteral("&Kopieren"));
    setAccessibleName((isDone ? QStringLiteral("%1 kopiert") : QStringLiteral("%1 kopieren")).arg(m_what));
    setIcon(isDone ? Icon::named(QStringLiteral("check"), Theme::Tone::green)
                   : Icon::named(QStringLiteral("copy")));
}

void makeHeadline(QMessageBox &box)
{
    if (auto *text = box.findChild<QLabel *>(QStringLiteral("qt_msgbox_label")))
        text->setFont(Theme::font(Theme::Size::heading));
}

} // namespace kestrel
