#include "model/FolderScan.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <system_error>

#include "encoding/ConversionJob.h"
#include "encoding/SwapJournal.h"
#include "encoding/UnfinishedSwaps.h"
#include "media/Log.h"
#include "media/ProbeSupplement.h"
#include "media/Prober.h"
#include "platform/Cancelled.h"
#include "platform/ErrorText.h"
#include "platform/Files.h"
#include "platform/OnExit.h"

namespace kestrel {

namespace {

constexpr std::size_t probesAtOnce = 8;

// Returns what a stored answer depends on: the version of ffprobe and its libraries, and that of our
// supplement.
std::string versionOf(const Tools &tools, const std::stop_token &stop)
{
    const std::string answer = tools.probeVersion(stop);
    return answer.empty() ? answer : answer + std::to_string(ProbeSupplement::version);
}

} // namespace

FolderScan::FolderScan(Request request)
    : m_request(std::move(request)), m_outbox([this](const auto &outcomes) { deliver(outcomes); })
{
}

FolderScan::~FolderScan()
{
    stop();
}

void FolderScan::start()
{
    const auto end = [this](const std::optional<std::string> &error) {
        m_mailbox.post([this, error] {
            deliver(m_outbox.take());
            m_error = error;
            emit ended();
        });
    };
    try {
        m_worker = std::jthread([this, end](const std::stop_token &stop) {
            std::optional<std::string> failure;
            try {
                work(stop);
            } catch (const Cancelled &) { // NOLINT(bugprone-empty-catch): the caller of stop() knows
            } catch (const std::exception &error) {
                failure = ErrorText::describe(error);
                Log::write("Analyse abgebrochen: " + *failure);
            }
            end(failure);
        });
    } catch (const std::system_error &error) { // the system has no more threads
        end(ErrorText::describe(error));
    }
}

void FolderScan::stop()
{
    m_worker.request_stop();
}

void FolderScan::work(const std::stop_token &stop)
{
    m_mailbox.post([this, storage = StorageLocation::detect(m_request.root)] { emit located(storage); });
    const bool isAlone = repair(stop);
    const auto &root = m_request.root;
    const auto &only = m_request.only;
    const auto [found, setAside] = only ? Prober::list(root, *only, stop) : Prober::list(root, stop);
    const FileList files = UnfinishedSwaps::withoutResults(found);
    throwIfStopped(stop);
    m_mailbox.post(
        [this, contents = std::make_shared<Library::Contents>(files, root)] { emit listed(contents); });
    if (!files.empty())
        probeAll(files, stop);
    throwIfStopped(stop);
    reportHidden(setAside, isAlone);
}

// Another computer's swap that was under way during the search has ended by now.
void FolderScan::reportHidden(FileList met, bool isAlone)
{
    std::erase_if(met, [](const auto &hidden) { return !Files::exists(hidden); });
    const auto here = hiddenOriginals(met);
    m_mailbox.post(
        [this, here, everywhere = isAlone ? pendingSwaps(met) : here] { emit metHidden(here, everywhere); });
}

// Another instance's work in progress looks like leftovers, so this returns false when there is one.
bool FolderScan::repair(const std::stop_token &stop)
{
    if (m_request.lock == nullptr || !m_request.lock->becomeAlone())
        return false;
    const auto share = onExit([this] { m_request.lock->share(); });
    const auto report = [this](const std::vector<std::string> &messages) {
        for (const auto &message : messages)
            m_mailbox.post([this, message] { emit repaired(message); });
    };
    report(SwapJournal::recover(stop));
    report(UnfinishedSwaps::finish(m_request.tools.ffprobe, stop));

    // Another instance that starts must not wait while a large folder is searched.
    m_request.lock->share();
    std::vector<std::filesystem::path> leftovers;
    for (const auto &place : {m_request.root, ConversionJob::outputRoot(m_request.root)})
        for (auto &file : Prober::findLeftovers(place, stop))
            leftovers.push_back(std::move(file));
    if (!leftovers.empty() && m_request.lock->becomeAlone())
        Prober::removeLeftovers(leftovers);
    return true;
}

void FolderScan::probeAll(const FileList &files, const std::stop_token &stop)
{
    ProbeStore store(ProbeStore::usualFile(), versionOf(m_request.tools, stop));
    std::atomic<std::size_t> next = 0;
    const auto probeSome = [&] {
        for (std::size_t i = 0; (i = next++) < files.size() && !stop.stop_requested();)
            if (auto outcome = probe(files[i], store, stop))
                m_outbox.post(i, std::move(*outcome));
    };
    std::vector<std::jthread> workers;
    for (std::size_t i = 0; i < std::min(probesAtOnce, files.size()); ++i)
        workers.emplace_back(probeSome);
}

// Returns nothing when it was stopped.
std::optional<ProbeOutcome> FolderScan::probe(const std::filesystem::path &file, ProbeStore &store,
                                              const std::stop_token &stop) const
{
    const auto &ffprobe = m_request.tools.ffprobe;
    try {
        const Files::Attributes before = Files::attributes(file);
        if (auto known = remembered(file, before, store))
            return ProbeOutcome{std::move(known), std::nullopt};
        std::string answer = Prober::ask(file, ffprobe, stop);
        const Files::Attributes after = Files::attributes(file);
        ProbeOutcome outcome{Prober::read(answer, file, after), std::nullopt};
        const bool isUntouched = after.sameVersion(before) && after.changed.tv_sec == before.changed.tv_sec &&
                                 after.changed.tv_nsec == before.changed.tv_nsec;
        if (isUntouched)
            store.add(file, after, std::move(answer));
        return outcome;
    } catch (const Cancelled &) {
        return std::nullopt;
    } catch (const std::exception &error) {
        return ProbeOutcome{std::nullopt, ErrorText::describe(error)};
    }
}

std::optional<MediaInfo> FolderScan::remembered(const std::filesystem::path &file,
                                                const Files::Attributes &attributes, ProbeStore &store) const
{
    if (m_request.asksAgain)
        return std::nullopt;
    try {
        if (const auto answer = store.find(file, attributes))
            return Prober::read(*answer, file, attributes);
    } catch (const std::exception &) { // NOLINT(bugprone-empty-catch): a damaged answer counts as missing
    }
    return std::nullopt;
}

void FolderScan::deliver(const std::map<std::size_t, ProbeOutcome> &outcomes)
{
    if (outcomes.empty())
        return;
    for (const auto &[index, outcome] : outcomes)
        emit probed(index, outcome);
    m_done += outcomes.size();
    emit progressed(m_done);
}

} // namespace kestrel
