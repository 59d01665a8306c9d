#pragma once

#include <QObject>
#include <QPointer>

#include "model/AppModel.h"

class QMessageBox;
class QWidget;

namespace kestrel {

// Asks the user before the end of the program aborts work.
class QuitGuard : public QObject {
    Q_OBJECT

public:
    explicit QuitGuard(AppModel &model, QObject *parent = nullptr);

    // Returns true when the program may end at once. Otherwise it shows a question over the window and emits
    // quit() later, or never.
    bool mayQuit(QWidget *window);
    // Aborts the work without asking.
    void stopAndQuit();

signals:
    void quit();

private:
    AppModel &m_model;
    QPointer<QMessageBox> m_question;
    bool m_isStopping = false, m_hasStopped = false;
};

} // namespace kestrel
