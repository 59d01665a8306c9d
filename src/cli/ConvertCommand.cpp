#include <map>
#include <memory>
#include <utility>

#include <fmt/format.h>

#include "cli/Commands.h"
#include "cli/RunReport.h"
#include "cli/Session.h"
#include "cli/Terminal.h"
#include "model/Sentences.h"
#include "platform/Cancelled.h"

namespace kestrel {

namespace {

void reportWhatIsLeftOut(const Library &library)
{
    using Kind = FileState::Kind;
    for (const auto &file : library.items()) {
        const FileState state = FileState::of(*file);
        if (state.kind == Kind::unreadable || state.kind == Kind::incomplete || state.kind == Kind::leftAlone)
            Terminal::complain(fmt::format("{}: {}", Terminal::shown(file->relativePath.native()),
                                           Terminal::line(state.line())));
    }
}

std::unique_ptr<RunReporter> makeReporter(const Arguments &arguments)
{
    if (arguments.json)
        return makeJsonReporter();
    return Terminal::isOutputTerminal() ? makeLiveReporter() : makeLineReporter();
}

// Passes the states of a run's files to the reporter: progress as it comes, an end once, and a file that was
// stopped only when it had begun.
void report(AppModel &model, RunReporter &reporter)
{
    const auto last = std::make_shared<std::map<const FileItem *, JobStatus>>();
    QObject::connect(
        &model.library(), &Library::itemChanged, &model, [&reporter, last](const FileItem &item) {
            const JobStatus before = std::exchange((*last)[&item], item.status);
            const FileState state = FileState::of(item);
            const bool isIdle = !state.isInWork() && !state.hasEnded();
            const bool hasNotBegun = state.kind == FileState::Kind::queued || (isIdle && !isInWork(before));
            const bool isKnown = !state.isInWork() && before == item.status;
            if (!hasNotBegun && !isKnown)
                reporter.changed({&item, state});
        });
    QObject::connect(&model, &AppModel::runChanged, &model, [&] { reporter.progressed(model); });
}

} // namespace

int runConvert(const Arguments &arguments, Interrupt &interrupt)
{
    const auto folder = requireFolder(arguments.folder);
    Session session(arguments, interrupt, Session::Access::changesFiles);
    session.open(folder);
    AppModel &model = session.model();
    reportWhatIsLeftOut(session.library());
    if (const auto text = model.outputWarning())
        Terminal::complain(*text);

    const int usual = session.missing() > 0 ? ExitStatus::fileFailed : ExitStatus::done;
    if (model.totals().actionable == 0) {
        if (arguments.json) {
            const auto reporter = makeJsonReporter();
            reporter->started({});
            reporter->finished({});
        } else {
            Terminal::print("{}\n", session.library().items().empty() ? session.nothingFound()
                                                                      : Sentences::nothingToConvert);
        }
        return usual;
    }

    const auto reporter = makeReporter(arguments);
    report(model, *reporter);
    model.startConversion();
    reporter->started(*model.run());
    try {
        session.waitUntilIdle();
    } catch (const Cancelled &) {
        reporter->finished(*model.run());
        session.showTheEnd();
        return ExitStatus::interrupted;
    }
    reporter->finished(*model.run());
    session.showTheEnd();
    return model.run()->failed > 0 ? ExitStatus::fileFailed : usual;
}

} // namespace kestrel
