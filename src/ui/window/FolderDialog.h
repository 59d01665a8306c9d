#pragma once

#include <QFileDialog>
#include <filesystem>

namespace kestrel {

// Lets the user choose a folder of videos; deletes itself.
class FolderDialog : public QFileDialog {
    Q_OBJECT

public:
    FolderDialog(const QString &start, QWidget *parent);

signals:
    // Emitted once, when the dialog is about to close.
    void chosen(const std::filesystem::path &folder);

protected:
    void accept() override;

private:
    QString typedPath(QString text) const;
    void refuse(const QString &text);
};

} // namespace kestrel
