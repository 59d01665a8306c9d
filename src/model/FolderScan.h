#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "encoding/HiddenOriginal.h"
#include "encoding/StorageLocation.h"
#include "media/MediaInfo.h"
#include "media/ProbeStore.h"
#include "media/Tools.h"
#include "model/Library.h"
#include "model/Outbox.h"
#include "model/Task.h"
#include "platform/Files.h"
#include "platform/InstanceLock.h"
#include "platform/Mailbox.h"

namespace kestrel {

// Holds the result of probing one file.
struct ProbeOutcome {
    std::optional<MediaInfo> info;
    std::optional<std::string> error;
};

// Searches a folder for videos and probes them, at most eight at a time; stored answers of ffprobe are used
// again.
class FolderScan : public Task {
    Q_OBJECT

public:
    struct Request {
        std::filesystem::path root;
        Tools tools;
        // While it is alone, leftovers of interrupted runs are repaired; without a lock, never.
        InstanceLock *lock = nullptr;
        bool asksAgain = false;                              // whether ffprobe runs in any case
        std::optional<std::set<std::filesystem::path>> only; // relative paths; all files where absent
    };

    explicit FolderScan(Request request);
    ~FolderScan() override;

    void start() override;
    void stop() override;
    void setFrozen(bool) override {} // the processes that it starts end within moments
    bool wasStopped() const { return m_worker.get_stop_token().stop_requested(); }
    // Returns why the scan failed as a whole; German.
    const std::optional<std::string> &error() const { return m_error; }

signals:
    void located(const kestrel::StorageLocation &storage);
    // Emitted once, unless stopped before. The receiver owns the contents.
    void listed(const std::shared_ptr<kestrel::Library::Contents> &contents);
    void repaired(const std::string &message);
    void probed(std::size_t index, const kestrel::ProbeOutcome &outcome);
    void progressed(std::size_t done); // emitted after one or several were probed
    // Reports originals that swaps left hidden: in this folder, and all others that the journal knows of
    // (none of these while another instance may be in the middle of a swap).
    void metHidden(const std::vector<kestrel::HiddenOriginal> &here,
                   const std::vector<kestrel::HiddenOriginal> &everywhere);

private:
    using FileList = std::vector<std::filesystem::path>;

    void work(const std::stop_token &stop);
    bool repair(const std::stop_token &stop);
    void reportHidden(FileList met, bool isAlone);
    void probeAll(const FileList &files, const std::stop_token &stop);
    std::optional<ProbeOutcome> probe(const std::filesystem::path &file, ProbeStore &store,
                                      const std::stop_token &stop) const;
    std::optional<MediaInfo> remembered(const std::filesystem::path &file,
                                        const Files::Attributes &attributes, ProbeStore &store) const;
    void deliver(const std::map<std::size_t, ProbeOutcome> &outcomes);

    const Request m_request;
    std::size_t m_done = 0;
    std::optional<std::string> m_error;
    Mailbox m_mailbox;
    Outbox<std::size_t, ProbeOutcome> m_outbox;
    std::jthread m_worker; // last, so that what it uses outlives it
};

} // namespace kestrel
