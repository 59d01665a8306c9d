#include "ui/window/ClosedFolders.h"

namespace kestrel {

ClosedFolders::ClosedFolders(Library &library, WindowState &state, QObject *parent)
    : QObject(parent), m_library(library), m_state(state)
{
    connect(&library, &Library::aboutToBeFilled, this, &ClosedFolders::keep);
    connect(&library, &Library::filled, this, &ClosedFolders::restore);
}

void ClosedFolders::save()
{
    keep();
    if (const auto known = m_closed.find(m_library.root().id); known != m_closed.end())
        m_state.setCollapsed(known->first, known->second);
}

void ClosedFolders::keep()
{
    if (m_library.items().empty())
        return;
    m_closed[m_library.root().id] = m_library.closedFolders();
}

void ClosedFolders::restore()
{
    if (m_library.items().empty())
        return;
    const auto &root = m_library.root().id;
    const auto known = m_closed.find(root);
    m_library.expandAllBut(known != m_closed.end() ? known->second : m_state.collapsed(root));
}

} // namespace kestrel
