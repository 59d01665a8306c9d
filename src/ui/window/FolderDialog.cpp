#include "ui/window/FolderDialog.h"

#include <QFileInfo>
#include <QLineEdit>
#include <QMessageBox>
#include <QRegularExpression>

#include "ui/look/Parts.h"
#include "ui/look/Phrases.h"

namespace kestrel {

namespace {

std::filesystem::path asPath(const QString &path)
{
    return QFile::encodeName(path).toStdString();
}

} // namespace

FolderDialog::FolderDialog(const QString &start, QWidget *parent)
    : QFileDialog(parent, QStringLiteral("Ordner mit Videos wählen – Unterordner werden mit durchsucht."))
{
    setAttribute(Qt::WA_DeleteOnClose);
    setFileMode(QFileDialog::Directory);
    setOption(QFileDialog::ShowDirsOnly);
    setLabelText(QFileDialog::Accept, Phrases::plain(Phrases::chooseFolder) + QStringLiteral(" …"));
    setDirectory(start);
    connect(this, &QFileDialog::filesSelected, this, [this](const QStringList &paths) {
        if (!paths.isEmpty())
            emit chosen(asPath(paths.back()));
    });
}

// Accepts only what is typed: while the user types a path, Qt selects rows of the list by itself, among them
// the folder above, and would return those.
void FolderDialog::accept()
{
    const auto *edit = findChild<QLineEdit *>(QStringLiteral("fileNameEdit"));
    const QString text = edit != nullptr ? edit->text() : QString(); // the desktop's own dialog has none
    if (text.isEmpty() || text == QStringLiteral(".."))
        return QFileDialog::accept();
    const QString path = typedPath(text);
    const QFileInfo info(path);
    if (!info.isDir())
        return refuse(info.exists() ? QStringLiteral("„%1“ ist kein Ordner.").arg(text)
                                    : QStringLiteral("Den Ordner „%1“ gibt es nicht.").arg(text));
    emit chosen(asPath(path));
    done(QDialog::Accepted); // QFileDialog's accept() would return the selected rows
}

// Returns an absolute path, as a shell would read it: "~/Videos", "$HOME/Videos", "Videos".
QString FolderDialog::typedPath(QString text) const
{
    static const QRegularExpression quoted(QStringLiteral("^\"([^\"]+)\"$"));
    if (const auto found = quoted.match(text); found.hasMatch())
        text = found.captured(1);
    static const QRegularExpression variable(QStringLiteral("^\\$(\\w+|\\{\\w+\\})(?=/|$)"));
    if (const auto found = variable.match(text); found.hasMatch()) {
        const QString name = found.captured(1).remove(QLatin1Char('{')).remove(QLatin1Char('}'));
        text.replace(0, found.capturedLength(), qEnvironmentVariable(qPrintable(name)));
    }
    if (text == QStringLiteral("~") || text.startsWith(QStringLiteral("~/")))
        text.replace(0, 1, QDir::homePath());
    const auto absolute = [this](const QString &path) {
        return QDir::cleanPath(directory().absoluteFilePath(path));
    };
    const QString whole = absolute(text);
    return QFileInfo::exists(whole) ? whole : absolute(text.trimmed()); // pasted with a blank or a line end
}

void FolderDialog::refuse(const QString &text)
{
    auto *box = new QMessageBox(QMessageBox::NoIcon, QStringLiteral("Kestrel"), text, QMessageBox::Ok, this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setTextFormat(Qt::PlainText);
    makeHeadline(*box);
    box->open();
}

} // namespace kestrel
