#include "encoding/FFmpegRunner.h"

namespace kestrel {

namespace {
// The time between the request to end and SIGKILL. A decoder has nothing to flush.
constexpr std::chrono::milliseconds encoderGrace{1000}, decoderGrace{200};

std::vector<std::string> inputsOf(const std::vector<std::string> &arguments)
{
    std::vector<std::string> inputs;
    for (std::size_t i = 0; i + 1 < arguments.size(); ++i)
        if (arguments[i] == "-i")
            inputs.push_back(arguments[i + 1]);
    return inputs;
}

} // namespace

FFmpegRunner::FFmpegRunner(std::filesystem::path executable, std::vector<std::string> arguments,
                           OnProgress onProgress)
    : m_executable(std::move(executable)), m_arguments(std::move(arguments)),
      m_onProgress(std::move(onProgress)), m_grace(encoderGrace), m_errors(inputsOf(m_arguments))
{
}

FFmpegRunner::FFmpegRunner(std::filesystem::path executable, std::vector<std::string> arguments,
                           Output output)
    : m_executable(std::move(executable)), m_arguments(std::move(arguments)),
      m_onOutput(std::move(output.onBytes)), m_grace(decoderGrace), m_errors(inputsOf(m_arguments))
{
}

int FFmpegRunner::run(std::stop_token stop, const std::function<void()> &onStarted)
{
    const std::stop_callback onStop(stop, [this] { cancel(); });
    ChildProcess *process = nullptr;
    {
        const std::scoped_lock guard(m_lock);
        process = &m_process.emplace(m_executable, m_arguments);
        if (m_cancelled)
            process->terminate(m_grace);
    }
    if (onStarted)
        onStarted();
    return process->communicate(
        [this](std::string_view bytes) {
            if (m_onOutput)
                return m_onOutput(bytes);
            std::optional<Progress> progress;
            {
                const std::scoped_lock guard(m_lock);
                progress = m_parser.consume(bytes);
            }
            if (progress && m_onProgress)
                m_onProgress(*progress);
        },
        [this](std::string_view bytes) {
            const std::scoped_lock guard(m_lock);
            m_errors.consume(bytes);
        });
}

void FFmpegRunner::suspend()
{
    const std::scoped_lock guard(m_lock);
    if (!m_suspended && !m_cancelled && m_process)
        m_suspended = m_process->freeze();
}

void FFmpegRunner::resume()
{
    const std::scoped_lock guard(m_lock);
    if (m_suspended && m_process->thaw())
        m_suspended = false;
}

void FFmpegRunner::cancel()
{
    const std::scoped_lock guard(m_lock);
    m_cancelled = true;
    if (!m_process)
        return;
    if (m_suspended)
        m_process->thaw(); // a frozen process would not act on the request
    m_suspended = false;
    m_process->terminate(m_grace);
}

std::string FFmpegRunner::errorTail() const
{
    const std::scoped_lock guard(m_lock);
    return m_errors.text();
}

bool FFmpegRunner::lostSomething() const
{
    const std::scoped_lock guard(m_lock);
    return m_errors.tellsOfLoss();
}

bool FFmpegRunner::lacksTimes() const
{
    const std::scoped_lock guard(m_lock);
    return m_errors.tellsOfUnknownTime();
}

} // namespace kestrel
