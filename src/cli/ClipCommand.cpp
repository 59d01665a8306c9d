#include <system_error>

#include <fmt/format.h>

#include "cli/Commands.h"
#include "cli/Session.h"
#include "cli/Terminal.h"
#include "format/Fmt.h"
#include "model/FileState.h"

namespace kestrel {

int runClip(const Arguments &arguments, Interrupt &interrupt)
{
    std::error_code error;
    const std::filesystem::path file = std::filesystem::canonical(arguments.folder, error);
    if (error)
        throw unreadable("„" + Terminal::shown(arguments.folder.native()) + "“", error);
    const auto folder = requireFolder(file.parent_path());
    Arguments onlyThis = arguments;
    onlyThis.only = {"./" + file.filename().native()};
    Session session(onlyThis, interrupt, Session::Access::readOnly);
    session.open(folder);
    AppModel &model = session.model();
    if (session.library().items().empty())
        throw UsageError("„" + Terminal::shown(arguments.folder.native()) + "“ ist keine Videodatei.");
    const FileItem &item = *session.library().items().front();
    if (item.probeError) {
        Terminal::complain(
            fmt::format("{}: {}", Terminal::shown(item.name()), Terminal::line(FileState::of(item).line())));
        return ExitStatus::fileFailed;
    }

    const bool showsProgress = Terminal::isErrorTerminal();
    QObject::connect(&model, &AppModel::activityChanged, [&] {
        if (showsProgress && model.activity().kind == Activity::Kind::probeClip)
            Terminal::writeError(
                fmt::format("\rProbeclip {}\x1b[K", Fmt::percent(model.activity().progress)));
    });
    std::filesystem::path made;
    QObject::connect(&model, &AppModel::clipMade, [&](const std::filesystem::path &clip) { made = clip; });
    model.library().setSelection({item.id});
    model.makeProbeClip();
    session.waitUntilIdle();
    if (showsProgress)
        Terminal::writeError("\r\x1b[K");
    if (made.empty()) {
        Terminal::complain(Terminal::line(model.message().value_or("Probeclip fehlgeschlagen.")));
        return ExitStatus::fileFailed;
    }
    Terminal::print("{}\n{}\n", Terminal::shown(*model.message()), Terminal::shown(made.native()));
    return ExitStatus::done;
}

} // namespace kestrel
