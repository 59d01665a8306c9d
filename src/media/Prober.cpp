#include "media/Prober.h"

#include <nlohmann/json.hpp>

#include "media/ProbeSupplement.h"
#include "media/ProcessRunner.h"
#include "media/Tools.h"
#include "platform/Cancelled.h"
#include "platform/Files.h"
#include "platform/JsonText.h"
#include "platform/Text.h"

namespace kestrel::Prober {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

// Returns the answer with its supplement.
std::string supplemented(std::string answer, const fs::path &file, const fs::path &ffprobe,
                         const std::stop_token &stop)
{
    json object = JsonText::parseIfValid(answer);
    if (!object.is_object())
        return answer;
    const Files::Attributes attributes = Files::attributes(file);
    const MediaInfo info = parse(object, file, attributes.size, asTime(attributes.modified));
    json found = ProbeSupplement::find(object, info, ffprobe, stop);
    if (found.empty())
        return answer;
    object[ProbeSupplement::key] = std::move(found);
    return JsonText::dump(object);
}

} // namespace

std::string ask(const fs::path &file, const fs::path &ffprobe, std::stop_token stop)
{
    ProcessOutput output = ProcessRunner::run(
        ffprobe, {"-v", "error", "-print_format", "json", "-show_format", "-show_streams", file.native()},
        stop);
    throwIfStopped(stop);
    if (output.status != 0) {
        const std::string errors = output.errorText();
        const std::string_view text = Text::trimmed(errors);
        throw text.empty() ? ToolError::failed(std::string(unreadableFile))
                           : ToolError::quoted(std::string(text));
    }
    return supplemented(std::move(output.standardOutput), file, ffprobe, stop);
}

MediaInfo read(const std::string &answer, const fs::path &file, const Files::Attributes &attributes)
{
    const json object = JsonText::parse(answer);
    if (!object.is_object())
        throw ToolError::failed("ffprobe lieferte keine lesbare Antwort");
    return parse(object, file, attributes.size, asTime(attributes.modified));
}

MediaInfo probe(const fs::path &file, const fs::path &ffprobe, std::stop_token stop)
{
    const std::string answer = ask(file, ffprobe, std::move(stop));
    return read(answer, file, Files::attributes(file));
}

FileTime asTime(const timespec &time)
{
    return FileTime(std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec));
}

} // namespace kestrel::Prober
