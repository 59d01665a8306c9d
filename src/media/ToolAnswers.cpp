#include "media/ToolAnswers.h"

#include <algorithm>
#include <exception>
#include <system_error>
#include <utility>

#include <nlohmann/json.hpp>

#include "media/ProcessRunner.h"
#include "platform/JsonText.h"
#include "platform/OnExit.h"
#include "platform/Paths.h"
#include "platform/Text.h"
#include "platform/Uuid.h"

namespace kestrel {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

// A file with another format is ignored.
constexpr int format = 1;

json identity(const Files::Attributes &attributes)
{
    return {attributes.device, attributes.inode, attributes.size, Files::nanoseconds(attributes.modified),
            Files::nanoseconds(attributes.changed)};
}

// Returns what is known of each program, by its path; empty where nothing can be read.
json read(const fs::path &file)
{
    try {
        json content = JsonText::parse(Files::readAll(file));
        if (content.at("format") == format && content.at("programs").is_object())
            return std::move(content["programs"]);
    } catch (const std::exception &) { // NOLINT(bugprone-empty-catch): all can be asked again
    }
    return json::object();
}

// Another instance may write at the same time: each writes a file of its own until it is whole.
void write(const fs::path &file, const json &programs)
{
    fs::create_directories(file.parent_path());
    fs::path own = file;
    own += "." + freshUuid();
    const auto tidy = onExit([&] {
        std::error_code ignored;
        fs::remove(own, ignored);
    });
    Files::writeAtomically(own, JsonText::dump(json{{"format", format}, {"programs", programs}}));
    Files::moveOver(own, file);
}

bool isUntouched(const Files::Attributes &before, const std::optional<Files::Attributes> &after)
{
    return after && identity(*after) == identity(before);
}

} // namespace

ToolAnswers::ToolAnswers(fs::path file) : m_file(std::move(file)) {}

fs::path ToolAnswers::usualFile()
{
    return Paths::cacheFile("Werkzeuge", ".json");
}

std::vector<std::string> ToolAnswers::ask(const fs::path &program, const std::vector<Arguments> &questions,
                                          Asking asking, std::stop_token stop) const
{
    const auto attributes = Files::tryAttributes(program);
    const auto inOrder = [&](const ByQuestion &answers) {
        std::vector<std::string> list;
        list.reserve(questions.size());
        for (const Arguments &question : questions)
            list.push_back(answers.at(question));
        return list;
    };
    const auto known =
        attributes && asking == Asking::unlessKnown ? find(program, *attributes) : std::nullopt;
    const auto isKnown = [&](const Arguments &question) { return known->contains(question); };
    if (known && std::all_of(questions.begin(), questions.end(), isKnown))
        return inOrder(*known);

    ByQuestion answers;
    bool isSound = attributes && attributes->isSettled();
    for (const Arguments &question : questions) {
        const ProcessOutput output = ProcessRunner::run(program, question, stop);
        isSound = isSound && output.status == 0 && !output.standardOutput.empty();
        answers[question] = Text::repaired(output.standardOutput);
    }
    if (isSound && !stop.stop_requested() && isUntouched(*attributes, Files::tryAttributes(program)))
        keep(program, *attributes, answers);
    return inOrder(answers);
}

std::optional<ToolAnswers::ByQuestion> ToolAnswers::find(const fs::path &program,
                                                         const Files::Attributes &attributes) const
{
    try {
        const json programs = read(m_file);
        const auto found = programs.find(program.native());
        if (found != programs.end() && found->at("identity") == identity(attributes))
            return found->at("answers").get<ByQuestion>();
    } catch (const std::exception &) { // NOLINT(bugprone-empty-catch): damaged
    }
    return std::nullopt;
}

void ToolAnswers::keep(const fs::path &program, const Files::Attributes &attributes,
                       const ByQuestion &answers) const
{
    try {
        json known = read(m_file), programs = json::object();
        for (auto &[path, entry] : known.items())
            if (Files::exists(path))
                programs[path] = std::move(entry);
        programs[program.native()] = {{"identity", identity(attributes)}, {"answers", answers}};
        write(m_file, programs);
    } catch (const std::exception &) { // NOLINT(bugprone-empty-catch): asked again next time
    }
}

} // namespace kestrel
