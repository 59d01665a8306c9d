#pragma once

#include <QObject>
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
#include "platform/Mailbox.h"

namespace kestrel {

// Converts files side by side and keeps the books of the run. Works with a snapshot of the settings. One
// object serves one run; its signals come on the main thread. Destroying it stops the work and waits for
// its end.
class ConversionRun : public QObject {
    Q_OBJECT

public:
    struct Request {
        std::vector<FileItem *> files; // in run order; each is probed, planned and estimated
        ConversionSettings settings;
        Tools tools;
        std::filesystem::path root; // the opened folder
    };

    // `library` holds the files, `stats` are the books; both outlive the run.
    ConversionRun(Request request, Library &library, RunStats &stats);
    ~ConversionRun() override;

    void start();
    void setPaused(bool isPaused);
    const ConversionSettings &settings() const { return m_request.settings; }
    bool isPaused() const { return m_isPaused; }
    bool isStopping() const { return m_isStopped; }
    // Files in work end as idle, the others are not started.
    void stop();

    // In how many seconds each file that is not done will be, in the run's order, with so much weight per
    // second.
    std::vector<std::pair<const FileItem *, double>> schedule(double rate) const;
    // The files that are in somebody's hands now, in the run's order.
    std::vector<const FileItem *> inWork() const;

signals:
    void booked();     // a file has ended
    void progressed(); // after one or several files have moved on
    void ended();      // the last signal

private:
    struct Progress {
        JobStatus status;
        double fps = 0;
    };
    struct Outcome {
        std::optional<FileConversion::Result> result; // else failed, or cancelled where the text is missing
        std::optional<Status::Failed> failure;
    };
    // A file in work; the thread is last, so that what it uses outlives it.
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
    void apply(const std::map<FileItem *, Progress> &reports);
    void finish(FileItem &item, const Outcome &outcome);
    void book(FileItem &item, const FileConversion::Result &result);
    void end();
    void requestStop();

    const Request m_request;
    Library &m_library;
    RunStats &m_stats;
    std::vector<double> m_weights; // of the files
    std::size_t m_next = 0;
    bool m_isPaused = false;
    bool m_isStopped = false;
    bool m_hasEnded = false;
    Mailbox m_mailbox;
    Outbox<FileItem *, Progress> m_outbox;
    std::map<FileItem *, Job> m_jobs; // last: what their threads use outlives them
};

} // namespace kestrel
