#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "encoding/FileConversion.h"
#include "model/Library.h"
#include "model/Outbox.h"
#include "model/RunStats.h"
#include "model/Task.h"
#include "platform/Mailbox.h"

namespace kestrel {

// Converts files in parallel, with a snapshot of the settings and with its own plans of its files. After a
// stop, files in work become idle, and the others are not started.
class ConversionRun : public RunTask {
    Q_OBJECT

public:
    // `library` holds the files, `stats` counts their results. REQUIRES: both outlive the run.
    ConversionRun(Request request, Library &library, RunStats &stats);
    ~ConversionRun() override;

    void start() override;
    void stop() override;
    void setFrozen(bool isFrozen) override;
    std::vector<const FileItem *> inWork() const override;

private:
    struct Progress {
        JobStatus status;
        double fps = 0;
    };
    struct Outcome {
        std::optional<FileConversion::Result> result; // else failed, or cancelled where both are absent
        std::optional<Status::Failed> failure;
    };
    // Holds a file in work; the thread is last, so that what it uses outlives it.
    struct Job {
        std::size_t number; // in the run's order
        FileItem &item;
        std::unique_ptr<FileConversion> conversion;
        std::jthread worker;
    };

    std::size_t width() const;
    void fillSlots();
    void startNext();
    Outcome convert(FileConversion &conversion, FileItem *item, const std::stop_token &stop);
    void take(FileItem &item, const SampleResult &sample);
    void apply(const std::map<FileItem *, Progress> &reports);
    void finish(FileItem &item, const Outcome &outcome);
    void book(FileItem &item, const FileConversion::Result &result);
    void release(FileItem &item);
    void end();
    void requestStop();

    const Request m_request;
    const std::shared_ptr<const ConversionSettings> m_settings; // the request's, shared by the files' plans
    Library &m_library;
    RunStats &m_stats;
    std::size_t m_next = 0;
    bool m_isPaused = false;
    bool m_isStopped = false;
    bool m_hasEnded = false;
    Mailbox m_mailbox;
    Outbox<FileItem *, Progress> m_outbox;
    std::map<FileItem *, Job> m_jobs; // last, so that what their threads use outlives them
};

} // namespace kestrel
