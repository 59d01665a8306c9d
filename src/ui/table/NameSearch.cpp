#include "ui/table/NameSearch.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <algorithm>
#include <chrono>

#include "ui/look/Accessibility.h"
#include "ui/look/Phrases.h"

namespace kestrel {

namespace {

using namespace std::chrono_literals;

constexpr auto held = 1s; // the search ends so long after the last key

// Returns whether the key enters a letter, a sign or a blank, and is no command.
bool isTyped(const QKeyEvent &event)
{
    const auto orders = Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier;
    return !event.text().isEmpty() && event.text().front().isPrint() && !(event.modifiers() & orders);
}

// Returns whether all letters are the same: "aaa" selects the rows with this initial one after the other.
bool isOneLetter(const QString &text)
{
    return std::all_of(text.begin(), text.end(), [&](QChar c) { return c == text.front(); });
}

} // namespace

NameSearch::NameSearch(QWidget &table, GoTo goTo)
    : Card(&table), m_table(table), m_goTo(std::move(goTo)), m_label(new Label(QString())),
      m_nothing(new Label(Phrases::notFound, Theme::Size::body, Theme::Tone::orange))
{
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(Theme::em(0.6), Theme::em(0.35), Theme::em(0.7), Theme::em(0.35));
    row->setSpacing(Theme::em(0.5));
    row->addWidget(new IconLabel(QStringLiteral("search"), Theme::Tone::accent, 1.0));
    row->addWidget(m_label);
    row->addWidget(m_nothing);
    setAccessibleName(QStringLiteral("Gesuchter Name"));
    hide();
    m_end.setSingleShot(true);
    m_end.setInterval(held);
    connect(&m_end, &QTimer::timeout, this, &NameSearch::end);
    table.installEventFilter(this);
}

bool NameSearch::takes(const QKeyEvent &event)
{
    if (!isActive())
        return false;
    if (isTyped(event)) {
        add(event.text());
        return true;
    }
    if (event.key() == Qt::Key_Backspace) {
        search(m_text.chopped(1));
        return true;
    }
    const bool isPart = event.text().isEmpty() && event.key() >= Qt::Key_Shift &&
                        (event.key() <= Qt::Key_ScrollLock || event.key() >= Qt::Key_Super_L);
    if (!isPart) // it is no modifier and no first half of a letter
        end();
    return event.key() == Qt::Key_Escape;
}

void NameSearch::search(const QString &text)
{
    m_text = text;
    setVisible(isActive());
    if (!isActive())
        return m_end.stop();
    m_end.start();
    const bool isFound = isOneLetter(text) ? m_goTo(text.left(1), true) : m_goTo(text, false);
    m_label->setText(text);
    m_nothing->setVisible(!isFound);
    place();
    announce(m_table,
             isFound ? QStringLiteral("Suche: ") + text : text + QLatin1Char(' ') + Phrases::notFound);
}

void NameSearch::place()
{
    adjustSize();
    const int margin = Theme::em(0.6);
    resize(std::min(width(), m_table.width() - 2 * margin), height());
    move(margin, m_table.height() - height() - margin);
    raise();
}

bool NameSearch::eventFilter(QObject *watched, QEvent *event)
{
    if (isActive() && event->type() == QEvent::Resize)
        place();
    if (isActive() && event->type() == QEvent::FocusOut)
        end();
    return Card::eventFilter(watched, event);
}

} // namespace kestrel
