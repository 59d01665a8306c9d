#include "media/ProcessRunner.h"

#include "platform/ChildProcess.h"
#include "platform/Text.h"

namespace kestrel {

std::string ProcessOutput::errorText() const
{
    return Text::repaired(standardError);
}

ProcessOutput ProcessRunner::run(const std::filesystem::path &executable,
                                 const std::vector<std::string> &arguments, std::stop_token stop)
{
    ChildProcess child(executable, arguments);
    const std::stop_callback onStop(stop, [&] { child.terminate(std::nullopt); });
    ProcessOutput output;
    output.status = child.communicate([&](std::string_view bytes) { output.standardOutput += bytes; },
                                      [&](std::string_view bytes) { output.standardError += bytes; });
    return output;
}

} // namespace kestrel
