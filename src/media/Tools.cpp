#include "media/Tools.h"

#include <array>
#include <cstdlib>
#include <string_view>
#include <system_error>

#include "platform/Files.h"
#include "platform/Wording.h"

namespace kestrel {

namespace fs = std::filesystem;

namespace {

// As measured, 59 (ffmpeg 5.1) drops the turn of a picture that it copies into Matroska, 61 (7.1) keeps it.
constexpr int turningMatroska = 61;

fs::path find(const std::string &name, std::span<const fs::path> folders)
{
    for (const auto &folder : folders)
        if (Files::isProgram(folder / name))
            return folder / name;
    throw ToolError::notFound(name);
}

std::string firstLine(std::string_view text)
{
    const std::size_t start = text.find_first_not_of('\n');
    if (start == std::string_view::npos)
        return {};
    return std::string(text.substr(start, text.find('\n', start) - start));
}

// Returns the major version of a library in the list that ffmpeg -version prints ("libavformat    61.  7.100
// / …"); 0 where it is not found.
int libraryVersion(const std::string &text, const std::string &library)
{
    const std::size_t start = text.find(library + " ");
    return start == std::string::npos ? 0 : std::atoi(text.c_str() + start + library.size());
}

} // namespace

ToolError ToolError::notFound(const std::string &tool)
{
    return ToolError(tool + " wurde nicht gefunden. Installation im Terminal: " +
                     std::string(Wording::text(Words::installFfmpeg)));
}

ToolError ToolError::failed(const std::string &message)
{
    return ToolError(message);
}

ToolError ToolError::quoted(const std::string &words)
{
    return ToolError(words, true);
}

Measuring Tools::measuring() const
{
    if (!mayMeasure)
        return Measuring::nothing;
    return hasVMAF ? Measuring::filter : Measuring::builtIn;
}

std::string_view title(Measuring measuring)
{
    constexpr std::array<std::string_view, 3> titles{"abgeschaltet", "libvmaf von ffmpeg", "Eigene Messung"};
    return titles[static_cast<std::size_t>(measuring)];
}

std::span<const fs::path> Tools::folders()
{
    static const std::array<fs::path, 4> folders{"/opt/homebrew/bin", "/usr/local/bin", "/opt/local/bin",
                                                 "/usr/bin"};
    return folders;
}

Tools Tools::locate(std::stop_token stop, Asking asking)
{
    return locate(folders(), std::move(stop), asking);
}

Tools Tools::locate(std::span<const fs::path> folders, std::stop_token stop, Asking asking)
{
    Tools tools;
    tools.ffmpeg = find("ffmpeg", folders);
    tools.ffprobe = find("ffprobe", folders);
    const auto answers =
        ToolAnswers(ToolAnswers::usualFile())
            .ask(tools.ffmpeg,
                 {{"-hide_banner", "-encoders"}, {"-hide_banner", "-filters"}, {"-hide_banner", "-version"}},
                 asking, stop);
    const std::string &encoders = answers[0], &filters = answers[1], &version = answers[2];
    tools.version = firstLine(version);
    tools.keepsTurnInMatroska = libraryVersion(version, "libavformat") >= turningMatroska;
    if (tools.version.empty())
        tools.version = "ffmpeg";
    tools.encoders = encoders;
    tools.hasVMAF = filters.find("libvmaf") != std::string::npos;
    return tools;
}

std::string Tools::probeVersion(std::stop_token stop, Asking asking) const
{
    try {
        return ToolAnswers(ToolAnswers::usualFile()).ask(ffprobe, {{"-version"}}, asking, stop)[0];
    } catch (const std::system_error &) {
        return {};
    }
}

} // namespace kestrel
