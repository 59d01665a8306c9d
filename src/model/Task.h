#pragma once

#include <QObject>
#include <filesystem>
#include <vector>

#include "media/Tools.h"
#include "model/FileItem.h"
#include "planning/ConversionSettings.h"

namespace kestrel {

// Does a piece of work in the background: a scan, measurements, a clip, a conversion run. One object does it
// once. Its signals are emitted on the main thread. The destructor stops the work and waits for its end.
// REQUIRES: the main thread.
class Task : public QObject {
    Q_OBJECT

public:
    // Begins the work. REQUIRES: it has not been started before.
    virtual void start() = 0;
    // Requests the end, which ended() reports; also where the work is frozen.
    virtual void stop() = 0;
    // Freezes the work where it is, or continues it.
    virtual void setFrozen(bool isFrozen) = 0;
    // Returns the files that are being converted or measured now, in their order.
    virtual std::vector<const FileItem *> inWork() const { return {}; }

signals:
    void ended(); // the last signal
};

// Works through the files of a run, and updates its stats and the files' states.
class RunTask : public Task {
    Q_OBJECT

public:
    struct Request {
        std::vector<FileItem *> files; // in run order; each is probed, planned and estimated
        ConversionSettings settings;
        Tools tools;
        std::filesystem::path root; // the opened folder
    };

signals:
    void booked();     // a file's result was counted
    void replanned();  // a file's search has changed its plan
    void progressed(); // one or several files have progressed
};

} // namespace kestrel
