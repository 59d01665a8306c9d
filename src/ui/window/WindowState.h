#pragma once

#include <QByteArray>
#include <filesystem>
#include <set>

namespace kestrel {

// Stores the geometry and state of a window when it was closed, in the file of the user's choices. A damaged
// entry counts as absent.
class WindowState {
public:
    explicit WindowState(std::filesystem::path file) : m_file(std::move(file)) {}

    QByteArray value(const char *key) const;
    void setValue(const char *key, const QByteArray &value);

    // Returns the collapsed folder rows below this folder; stored for the last open folder only.
    std::set<std::filesystem::path> collapsed(const std::filesystem::path &root) const;
    void setCollapsed(const std::filesystem::path &root, const std::set<std::filesystem::path> &folders);

private:
    std::filesystem::path m_file;
};

} // namespace kestrel
