#pragma once

#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "media/Database.h"
#include "platform/Files.h"

namespace kestrel {

// Remembers ffprobe's answer about a file for as long as the file stays unchanged: the same path, device,
// inode, size, times of modification and change, and the same ffprobe. A store that is damaged, locked or not
// writable does nothing: nothing here throws. All functions may be called from any thread.
class ProbeStore {
public:
    // `version` is what ffprobe reports as its version.
    ProbeStore(const std::filesystem::path &file, std::string version);
    ~ProbeStore();
    ProbeStore(const ProbeStore &) = delete;
    ProbeStore &operator=(const ProbeStore &) = delete;

    // Returns its path in the caches folder.
    static std::filesystem::path usualFile();

    std::optional<std::string> find(const std::filesystem::path &file, const Files::Attributes &attributes);
    // A file that has changed within the last seconds is not remembered: its next change might leave no trace
    // in its times.
    void add(const std::filesystem::path &file, const Files::Attributes &attributes, std::string answer);
    // Writes what was added and seen since, and removes files that no scan has seen for half a year.
    void save();

private:
    struct Entry {
        Files::Attributes attributes;
        std::string answer;
    };

    void noteDamage();
    void savePending();

    // Set once.
    const std::filesystem::path m_file;
    const std::string m_version;

    // Guarded by m_lock.
    std::mutex m_lock;
    bool m_isBusy = false;    // another process holds the store: waiting for every file would take too long
    bool m_isDamaged = false; // the file is removed at the end, and the next store creates it again
    Database m_database;      // has no file where the store cannot be used
    std::map<std::filesystem::path, Entry> m_added;
    std::vector<std::filesystem::path> m_seen; // files that were last seen on an earlier day
};

} // namespace kestrel
