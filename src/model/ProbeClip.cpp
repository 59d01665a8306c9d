#include "model/ProbeClip.h"

#include <algorithm>
#include <exception>
#include <system_error>

#include <fmt/format.h>

#include "encoding/CommandBuilder.h"
#include "encoding/FilmWriter.h"
#include "encoding/WorkFile.h"
#include "media/Prober.h"
#include "media/WorkNames.h"
#include "platform/Cancelled.h"
#include "platform/ErrorText.h"
#include "platform/Files.h"
#include "platform/OnExit.h"
#include "platform/Paths.h"
#include "platform/Text.h"
#include "platform/Wording.h"

namespace kestrel {

namespace fs = std::filesystem;

namespace {
constexpr double longest = 60;      // seconds
constexpr double usualStart = 0.35; // of the duration
} // namespace

ProbeClip::ProbeClip(Request request)
    : m_request(std::move(request)), m_outbox([this](const auto &reports) { emit progressed(reports.at(0)); })
{
}

ProbeClip::~ProbeClip()
{
    stop();
}

void ProbeClip::stop()
{
    m_worker.request_stop();
    m_ffmpeg.resume(); // a frozen one would not act on the request
}

fs::path ProbeClip::folder()
{
    // macOS shows the folder under another name than it has on the disk.
    return Paths::home() / Wording::text(Words::clipFolder, Desktop::freedesktop);
}

std::string ProbeClip::nameFor(const fs::path &file, const ConversionSettings &settings)
{
    const std::string end = fmt::format(" – Probeclip {} {}.{}", shortName(settings.codec),
                                        title(settings.quality), fileExtension(settings.container));
    constexpr std::size_t most = 255; // bytes
    return std::string(Text::prefix(file.stem().native(), most - end.size())) + end;
}

Segment ProbeClip::segmentOf(double duration)
{
    if (!(duration > 0)) // the duration is unknown
        return {0, longest};
    const double length = std::min(duration, longest);
    return {std::max(0.0, std::min(duration * usualStart, duration - length)), length};
}

void ProbeClip::start()
{
    const auto fail = [this](const std::exception &error) {
        m_mailbox.post([this, text = ErrorText::describe(error)] {
            m_failure = text;
            emit ended();
        });
    };
    try {
        m_worker = std::jthread([this, fail](const std::stop_token &stop) {
            try {
                make(stop);
            } catch (const Cancelled &) {
                m_mailbox.post([this] { emit ended(); });
            } catch (const std::exception &error) {
                fail(error);
            }
        });
    } catch (const std::system_error &error) { // the system has no more threads
        fail(error);
    }
}

// Writes under a hidden name first, so that a failure does not cost an earlier clip of the same name.
void ProbeClip::make(const std::stop_token &stop)
{
    fs::create_directories(folder());
    const fs::path clip = folder() / nameFor(m_request.info.url, m_request.settings);
    Prober::removeLeftovers(Prober::findLeftovers(folder(), stop));
    const WorkFile work(folder(), clip.stem().native(),
                        WorkNames::temporarySuffix(fileExtension(m_request.settings.container)),
                        WorkFile::Sharing::everywhere);
    bool isMoved = false; // the work name may then belong to another file
    const auto tidy = onExit([&] {
        std::error_code ignored;
        if (!isMoved)
            fs::remove(work.path(), ignored);
    });
    encode(work.path(), stop);
    Files::moveOver(work.path(), clip);
    isMoved = true;
    m_mailbox.post([this, clip] {
        m_clip = clip;
        emit ended();
    });
}

void ProbeClip::encode(const fs::path &clip, const std::stop_token &stop)
{
    const Segment segment = segmentOf(m_request.info.playTime());
    const auto end = FilmWriter::write(
        m_ffmpeg, m_request.tools.ffmpeg,
        CommandBuilder::arguments(m_request.info, m_request.plan, m_request.settings, clip, segment,
                                  CommandBuilder::Streams::all),
        [&](const FFmpegRunner::Progress &progress) {
            const double fraction = segment.length > 0 ? progress.seconds / segment.length : 0;
            m_outbox.post(0, std::clamp(fraction, 0.0, 1.0));
        },
        stop);
    if (!end.isWhole())
        throw ToolError::failed(end.errorTail);
}

} // namespace kestrel
