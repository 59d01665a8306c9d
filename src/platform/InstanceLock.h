#pragma once

#include <atomic>
#include <filesystem>
#include <stop_token>

#include "platform/FileDescriptor.h"

namespace kestrel {

// Determines whether this process is the only one that converts, by a lock file in the application-support
// folder (not the runtime folder, which differs between a desktop session and cron or sudo). While the object
// lives, isAlone() is false in every later instance.
class InstanceLock {
public:
    // Returns the lock file; its folder may not exist yet.
    static std::filesystem::path file();

    // What requires that no other process works (emptying the work folder, repairing swaps) is done between
    // the construction and share(): until then a later instance waits in its constructor, which throws
    // Cancelled after a stop request.
    explicit InstanceLock(const std::stop_token &stop = {});

    // Returns whether the last check found no other instance. Also true where no lock file can be kept at
    // all.
    bool isAlone() const { return m_isAlone; }
    // Lets later instances continue; never waits.
    void share();
    // Checks again: returns true when there is no other instance now; later ones then wait until share(), as
    // above.
    bool becomeAlone();

private:
    bool take(short kind);

    FileDescriptor m_file;
    std::atomic<bool> m_isAlone = true;
};

} // namespace kestrel
