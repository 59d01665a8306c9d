#include "ui/window/QuitGuard.h"

#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <chrono>

#include "ui/look/Icon.h"
#include "ui/look/Parts.h"
#include "ui/look/Phrases.h"

namespace kestrel {

namespace {
constexpr std::chrono::milliseconds timeToStop{1500};
}

QuitGuard::QuitGuard(AppModel &model, QObject *parent) : QObject(parent), m_model(model) {}

bool QuitGuard::mayQuit(QWidget *window)
{
    if (m_hasStopped || (!m_isStopping && !m_model.isBusy()))
        return true;
    if (m_isStopping)
        return false;
    if (m_question != nullptr) {
        m_question->raise();
        return false;
    }
    m_question = new QMessageBox(window);
    m_question->setAttribute(Qt::WA_DeleteOnClose);
    m_question->setWindowModality(Qt::WindowModal);
    m_question->setWindowTitle(QStringLiteral("Kestrel"));
    m_question->setIconPixmap(
        Icon::named(QStringLiteral("warning"), Theme::Tone::orange).pixmap(Theme::em(2.4)));
    m_question->setText(Phrases::stillWorking);
    makeHeadline(*m_question);
    m_question->setInformativeText(QStringLiteral(
        "Laufende Konvertierungen werden abgebrochen. Bereits fertige Dateien bleiben erhalten, die "
        "gerade bearbeitete Datei bleibt unverändert."));
    auto *stop = m_question->addButton(QStringLiteral("&Abbrechen und beenden"), QMessageBox::AcceptRole);
    auto *goOn = m_question->addButton(QStringLiteral("&Weiterlaufen lassen"), QMessageBox::RejectRole);
    m_question->setDefaultButton(stop);
    m_question->setEscapeButton(goOn);
    connect(m_question, &QMessageBox::buttonClicked, this, [this, stop](const QAbstractButton *button) {
        if (button == stop)
            stopAndQuit();
    });
    m_question->open();
    return false;
}

void QuitGuard::stopAndQuit()
{
    if (m_isStopping)
        return;
    m_isStopping = true;
    const bool wasBusy = m_model.isBusy();
    m_model.stop();
    QTimer::singleShot(wasBusy ? timeToStop : std::chrono::milliseconds(0), this, [this] {
        m_hasStopped = true;
        emit quit();
    });
}

} // namespace kestrel
