#pragma once

#include <QString>
#include <QTimer>
#include <functional>

#include "ui/look/Parts.h"

class QKeyEvent;

namespace kestrel {

// Shows, at the table's lower edge, what a person types to get to a row. It is held for a second after the
// last key, and meanwhile blanks and signs belong to it.
class NameSearch : public Card {
    Q_OBJECT

public:
    // Makes the row current and returns whether there is one; `isNext` leaves out the current row.
    using GoTo = std::function<bool(const QString &text, bool isNext)>;
    // `table` owns it.
    NameSearch(QWidget &table, GoTo goTo);

    // Searches for what was typed so far, and this.
    void add(const QString &typed) { search(m_text + typed); }
    // While something is being typed: whether the key belongs to it.
    bool takes(const QKeyEvent &event);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    bool isActive() const { return !m_text.isEmpty(); }
    void search(const QString &text);
    void end() { search(QString()); }
    void place();

    QWidget &m_table;
    const GoTo m_goTo;
    QString m_text;
    QTimer m_end;
    Label *m_label, *m_nothing;
};

} // namespace kestrel
