#include "ui/window/WindowState.h"

#include <QString>
#include <QVariant>

#include "model/UserDefaults.h"

namespace kestrel {

namespace {

QString keyOf(const char *key)
{
    return QStringLiteral("Window/") + QLatin1String(key);
}

} // namespace

QByteArray WindowState::value(const char *key) const
{
    return UserDefaults::open(m_file).value(keyOf(key)).toByteArray();
}

void WindowState::setValue(const char *key, const QByteArray &value)
{
    UserDefaults::open(m_file).setValue(keyOf(key), value);
}

// Paths are stored as bytes, separated by zeros, which no path contains.
std::set<std::filesystem::path> WindowState::collapsed(const std::filesystem::path &root) const
{
    std::set<std::filesystem::path> folders;
    const QList<QByteArray> parts = value("collapsed").split('\0');
    if (parts.isEmpty() || parts.front().toStdString() != root.native())
        return folders;
    for (qsizetype i = 1; i < parts.size(); ++i)
        folders.insert(parts[i].toStdString());
    return folders;
}

void WindowState::setCollapsed(const std::filesystem::path &root,
                               const std::set<std::filesystem::path> &folders)
{
    QByteArray value = QByteArray::fromStdString(root.native());
    for (const auto &folder : folders)
        value += '\0' + QByteArray::fromStdString(folder.native());
    setValue("collapsed", value);
}

} // namespace kestrel
