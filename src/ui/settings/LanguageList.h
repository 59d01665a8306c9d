#pragma once

#include <QWidget>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

class QVBoxLayout;

namespace kestrel {

class CheckRow;
class Label;

// Lists the languages whose audio tracks are kept, each with the number of files that have it.
class LanguageList : public QWidget {
    Q_OBJECT

public:
    using Counts = std::map<std::string, std::size_t, std::less<>>; // files by canonical code

    explicit LanguageList(QWidget *parent = nullptr);
    // Absent counts mean that no folder is open. A language that has been listed stays, so that it can be
    // chosen again.
    void setLanguages(const std::optional<Counts> &counts, const std::set<std::string> &chosen);
    // Drops unchecked rows; setLanguages() then adds the new folder's.
    void forget(const std::set<std::string> &chosen);
    // Sets the widget that precedes the first row in the tab order.
    void setTabAnchor(QWidget *widget) { m_tabAnchor = widget; }

signals:
    void chosen(const std::string &code, bool isChosen); // by the user

protected:
    void leaveEvent(QEvent *event) override;

private:
    struct Row {
        std::string code;
        std::size_t files = 0;
        std::string sortKey;
        CheckRow *box;
    };

    void add(const std::string &code);
    void arrange();

    QVBoxLayout *m_layout;
    Label *m_hint;
    QWidget *m_tabAnchor = nullptr;
    std::vector<Row> m_rows; // in the order of display
};

} // namespace kestrel
