#include "ui/settings/LanguageList.h"

#include <QVBoxLayout>
#include <algorithm>
#include <tuple>

#include "media/Language.h"
#include "platform/Text.h"
#include "ui/look/Strings.h"
#include "ui/settings/Controls.h"

namespace kestrel {

LanguageList::LanguageList(QWidget *parent)
    : QWidget(parent), m_layout(new QVBoxLayout(this)),
      m_hint(new Label("Sobald ein Ordner geöffnet ist, stehen hier alle Sprachen, die darin vorkommen.",
                       Theme::Size::caption, Theme::Tone::muted))
{
    m_layout->setContentsMargins(0, 0, 0, 0);
    m_layout->setSpacing(Theme::em(0.1));
    m_layout->addWidget(m_hint->wrapped());
}

void LanguageList::setLanguages(const std::optional<Counts> &counts, const std::set<std::string> &chosen)
{
    for (const auto &code : chosen)
        add(code);
    if (counts)
        for (const auto &[code, files] : *counts)
            add(code);
    for (Row &row : m_rows) {
        const auto found = counts ? counts->find(row.code) : Counts::const_iterator();
        row.files = counts && found != counts->end() ? found->second : 0;
        row.box->setDetail(counts ? counted(row.files) : QString());
        row.box->setChecked(chosen.contains(row.code));
    }
    m_hint->setVisible(!counts);
    if (!underMouse()) // a click must hit the row at which it was aimed
        arrange();
}

void LanguageList::leaveEvent(QEvent *event)
{
    QWidget::leaveEvent(event);
    arrange();
}

void LanguageList::forget(const std::set<std::string> &chosen)
{
    std::erase_if(m_rows, [&](const Row &row) {
        if (chosen.contains(row.code))
            return false;
        delete row.box;
        return true;
    });
}

void LanguageList::add(const std::string &code)
{
    if (code == Language::unknown ||
        std::any_of(m_rows.begin(), m_rows.end(), [&](const Row &row) { return row.code == code; }))
        return;
    const std::string name = Language::name(code);
    auto *box = new CheckRow(qt(Text::repaired(name)));
    connect(box, &CheckRow::clicked, this, [this, code](bool isChecked) { emit chosen(code, isChecked); });
    m_layout->insertWidget(static_cast<int>(m_rows.size()), box);
    m_rows.push_back({code, 0, Text::naturalSortKey(name), box});
}

void LanguageList::arrange()
{
    const auto isBefore = [](const Row &a, const Row &b) {
        return std::tie(b.files, a.sortKey) < std::tie(a.files, b.sortKey);
    };
    std::stable_sort(m_rows.begin(), m_rows.end(), isBefore);
    QWidget *before = m_tabAnchor;
    int place = 0;
    for (const Row &row : m_rows) {
        if (m_layout->indexOf(row.box) != place)
            m_layout->insertWidget(place, row.box);
        ++place;
        if (before != nullptr && before->nextInFocusChain() != row.box)
            setTabOrder(before, row.box);
        before = row.box;
    }
}

} // namespace kestrel
