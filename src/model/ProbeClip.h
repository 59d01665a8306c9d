#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <thread>

#include "encoding/CurrentRunner.h"
#include "media/MediaInfo.h"
#include "media/Tools.h"
#include "model/Outbox.h"
#include "model/Task.h"
#include "planning/ConversionSettings.h"
#include "planning/Plan.h"
#include "planning/Segment.h"
#include "platform/Mailbox.h"

namespace kestrel {

// Encodes an excerpt of one file into a clip of its own, to be judged on the television before a whole
// library is converted. A clip that is stopped leaves no partial file.
class ProbeClip : public Task {
    Q_OBJECT

public:
    struct Request {
        MediaInfo info;
        Plan plan;
        ConversionSettings settings;
        Tools tools;
    };

    explicit ProbeClip(Request request);
    ~ProbeClip() override;

    void start() override;
    void stop() override;
    void setFrozen(bool isFrozen) override { isFrozen ? m_ffmpeg.suspend() : m_ffmpeg.resume(); }
    // At the end: the clip's path, or why there is none (German); both absent where it was stopped.
    const std::optional<std::filesystem::path> &clip() const { return m_clip; }
    const std::optional<std::string> &failure() const { return m_failure; }

    // Returns the folder in which clips are written.
    static std::filesystem::path folder();
    static std::string nameFor(const std::filesystem::path &file, const ConversionSettings &settings);
    // Returns at most a minute from the middle-to-late part of a film; a short film as a whole. In seconds.
    static Segment segmentOf(double duration);

signals:
    void progressed(double fraction);

private:
    void make(const std::stop_token &stop);
    void encode(const std::filesystem::path &clip, const std::stop_token &stop);

    const Request m_request;
    std::optional<std::filesystem::path> m_clip;
    std::optional<std::string> m_failure;
    CurrentRunner m_ffmpeg;
    Mailbox m_mailbox;
    Outbox<int, double> m_outbox;
    std::jthread m_worker; // last, so that what it uses outlives it
};

} // namespace kestrel
