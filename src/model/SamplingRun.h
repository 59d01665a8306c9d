#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "encoding/CurrentRunner.h"
#include "model/Library.h"
#include "model/Outbox.h"
#include "model/Task.h"
#include "platform/Mailbox.h"

namespace kestrel {

// Measures files one after another and stores the results. It uses a snapshot of the settings.
class SamplingRun : public Task {
    Q_OBJECT

public:
    struct Request {
        std::vector<FileItem *> files;
        ConversionSettings settings;
        Tools tools;
    };

    // Returns `count` of the files that are worth measuring, spread evenly over the table, or all of them; of
    // the whole library or of the given rows. Leaves out files that already have the best measurement
    // possible now with these settings.
    static std::vector<FileItem *> choose(const Library &library, const ConversionSettings &settings,
                                          Measuring measuring, std::optional<std::size_t> count,
                                          const std::optional<Library::Ids> &only);

    // `library` holds the files. REQUIRES: it outlives the run.
    SamplingRun(Request request, Library &library);
    ~SamplingRun() override;

    void start() override { next(); }
    void stop() override;
    void setFrozen(bool isFrozen) override { isFrozen ? m_ffmpeg.suspend() : m_ffmpeg.resume(); }
    std::vector<const FileItem *> inWork() const override;

signals:
    void measuring(const kestrel::FileItem &item, double fraction); // emitted about twenty times a second
    void measured(const kestrel::FileItem &item, std::size_t done);
    void failed(const kestrel::FileItem &item, const std::string &text);

private:
    struct Outcome {
        std::optional<SampleResult> result; // else failed, or cancelled where both are absent
        std::string failure;
    };

    void next();
    Outcome measure(const FileItem *item, const MediaInfo &info, const std::stop_token &stop);
    void finish(FileItem &item, const Outcome &outcome);

    const Request m_request;
    Library &m_library;
    std::size_t m_done = 0;
    bool m_isStopped = false;
    CurrentRunner m_ffmpeg;
    Mailbox m_mailbox;
    Outbox<const FileItem *, double> m_outbox;
    std::jthread m_worker; // last, so that what it uses outlives it
};

} // namespace kestrel
