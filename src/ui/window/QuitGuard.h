#pragma once

#include <QObject>
#include <QPointer>

#include "model/AppModel.h"

class QMessageBox;
class QWidget;

namespace kestrel {

// Asks before work is given up for the end of the program.
class QuitGuard : public QObject {
    Q_OBJECT

public:
    explicit QuitGuard(AppModel &model, QObject *parent = nullptr);

    // Somebody wants to quit: true when it may happen at once. Else a question is shown over the window, and
    // quit() comes later, or never.
    bool mayQuit(QWidget *window);
    // Gives up the work without asking.
    void stopAndQuit();

signals:
    void quit();

private:
    AppModel &m_model;
    QPointer<QMessageBox> m_question;
    bool m_isStopping = false, m_hasStopped = false;
};

} // namespace kestrel
