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

void tellWhatIsLeftOut(const Library &library)
{
    for (const auto &file : library.items()) {
        const std::string name = Terminal::shown(file->relativePath.native());
        if (file->probeError)
            Terminal::complain(
                fmt::format("{}: nicht lesbar: {}", name, Terminal::line(file->shortProbeError())));
        else if (file->mayBeIncomplete)
            Terminal::complain(fmt::format("{}: wird evtl. noch kopiert – später neu analysieren", name));
        else if (file->plan && file->plan->leftAlone)
            Terminal::complain(fmt::format("{}: {}", name, Terminal::line(*file->plan->leftAlone)));
    }
}

std::unique_ptr<RunReporter> makeReporter(const Arguments &arguments)
{
    if (arguments.json)
        return makeJsonReporter();
    return Terminal::isOutputTerminal() ? makeLiveReporter() : makeLineReporter();
}

// Hands on what happens to the files of a run: progress as it comes, an end once, and a file that was
// stopped only when it had begun.
void report(AppModel &model, RunReporter &reporter)
{
    const auto last = std::make_shared<std::map<const FileItem *, JobStatus>>();
    QObject::connect(&model.library(), &Library::itemChanged, &model,
                     [&reporter, last, videoKey = model.settings().videoKey()](const FileItem &item) {
                         const JobStatus before = std::exchange((*last)[&item], item.status);
                         const auto report = FileReport::of(item, videoKey);
                         const bool hasStopped =
                             report && report->status == FileStatus::idle && !isInWork(before);
                         const bool isKnown = report && !isInWork(item.status) && before == item.status;
                         if (report && !hasStopped && !isKnown)
                             reporter.changed(*report);
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
    tellWhatIsLeftOut(session.library());
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
