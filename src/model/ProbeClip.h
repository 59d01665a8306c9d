#pragma once

#include <QObject>
#include <filesystem>
#include <string>
#include <thread>

#include "encoding/CurrentRunner.h"
#include "media/MediaInfo.h"
#include "media/Tools.h"
#include "model/Outbox.h"
#include "planning/ConversionSettings.h"
#include "planning/Plan.h"
#include "planning/Segment.h"
#include "platform/Mailbox.h"

namespace kestrel {

// Encodes an excerpt of one file into a clip of its own, to be judged on the television before a whole
// library is converted. One object makes one clip; its signals come on the main thread. Destroying it
// stops the work, waits for its end and leaves no partial file.
class ProbeClip : public QObject {
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

    void start();
    void stop();
    void suspend() { m_ffmpeg.suspend(); }
    void resume() { m_ffmpeg.resume(); }

    // Where clips are written.
    static std::filesystem::path folder();
    static std::string nameFor(const std::filesystem::path &file, const ConversionSettings &settings);
    // At most a minute from the middle-to-late part of a film; a short one whole. Seconds.
    static Segment segmentOf(double duration);

signals:
    void progressed(double fraction);
    // Exactly one of them, as the last signal; none after a destruction.
    void made(const std::filesystem::path &clip);
    void failed(const std::string &text);
    void stopped();

private:
    void make(const std::stop_token &stop);
    void encode(const std::filesystem::path &clip, const std::stop_token &stop);

    const Request m_request;
    CurrentRunner m_ffmpeg;
    Mailbox m_mailbox;
    Outbox<int, double> m_outbox;
    std::jthread m_worker; // last: what it uses outlives it
};

} // namespace kestrel
