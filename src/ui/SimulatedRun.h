#pragma once

#include <cstddef>

#include "model/Library.h"
#include "model/RunStats.h"
#include "model/Task.h"

namespace kestrel {

// Makes up a run's stats and states, for pictures and measurements of the window; it touches no file.
class SimulatedRun : public RunTask {
    Q_OBJECT

public:
    // `library` holds the files, `stats` counts their results. REQUIRES: both outlive the run.
    SimulatedRun(Request request, Library &library, RunStats &stats);

    void start() override;
    void stop() override { emit ended(); }
    void setFrozen(bool) override {}
    std::vector<const FileItem *> inWork() const override;

    // Shows the run at this progress (0 … 1); 1 ends it. REQUIRES: `done` is not less than before.
    void show(double done);

private:
    const Request m_request;
    Library &m_library;
    RunStats &m_stats;
    std::size_t m_processed = 0;
};

} // namespace kestrel
