#pragma once

#include <QString>
#include <QTimer>
#include <functional>

#include "ui/look/Parts.h"

class QKeyEvent;

namespace kestrel {

// Shows, at the table's lower edge, the name that the user types to find a row. The search lasts for a second
// after the last key, and includes blanks and signs meanwhile.
class NameSearch : public Card {
    Q_OBJECT

public:
    // Makes the row current and returns whether there is one; `isNext` excludes the current row.
    using GoTo = std::function<bool(const QString &text, bool isNext)>;
    // REQUIRES: `table` becomes the owner.
    NameSearch(QWidget &table, GoTo goTo);

    // Searches for the text typed so far, with this appended.
    void add(const QString &typed) { search(m_text + typed); }
    // Returns whether the key belongs to a search in progress, and handles it.
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
