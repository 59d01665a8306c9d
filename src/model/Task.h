#pragma once

#include <QObject>
#include <filesystem>
#include <vector>

#include "media/Tools.h"
#include "model/FileItem.h"
#include "planning/ConversionSettings.h"

namespace kestrel {

// A piece of work in the background: a scan, measurements, a clip, a conversion run. One object does it
// once. Main thread only; its signals come there, too. Destroying it stops the work and waits for its end.
class Task : public QObject {
    Q_OBJECT

public:
    // Begins the work. REQUIRES: not started before.
    virtual void start() = 0;
    // Asks for the end, which ended() reports; also where the work is frozen.
    virtual void stop() = 0;
    // Stops the work where it is, and lets it go on.
    virtual void setFrozen(bool isFrozen) = 0;
    // The files that are being converted or measured now, in the order of their turns.
    virtual std::vector<const FileItem *> inWork() const { return {}; }

signals:
    void ended(); // the last signal
};

// A task that works through the files of a run, and keeps its books and the files' states.
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
    void booked();     // a file has ended
    void replanned();  // a file's search has changed what is done with it
    void progressed(); // after one or several files have moved on
};

} // namespace kestrel
