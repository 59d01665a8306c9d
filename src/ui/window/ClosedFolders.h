#pragma once

#include <QObject>
#include <map>

#include "model/Library.h"
#include "ui/window/WindowState.h"

namespace kestrel {

// Keeps folder rows collapsed that the user collapsed: when the folder is searched again and, through the
// window's state, when it is opened the next time.
class ClosedFolders : public QObject {
    Q_OBJECT

public:
    ClosedFolders(Library &library, WindowState &state, QObject *parent = nullptr);
    void save();

private:
    void keep();
    void restore();

    Library &m_library;
    WindowState &m_state;
    std::map<std::filesystem::path, Library::Ids> m_closed; // keyed by opened folder
};

} // namespace kestrel
