#pragma once

#include "platform/FileDescriptor.h"

namespace kestrel {

// Tells whether this process is the only one that converts, by a lock file in the application-support
// folder (not the runtime folder, which differs between a desktop session and cron or sudo). While the
// object lives, every later instance learns that it is not alone.
class InstanceLock {
public:
    // What may only be done while nobody else works (emptying the work folder, repairing swaps) is done
    // between the construction and share(): until then a later instance waits in its constructor.
    InstanceLock();

    // No other instance was there at construction. Also true where no lock file can be kept at all.
    bool isAlone() const { return m_isAlone; }
    void share();

private:
    FileDescriptor m_file;
    bool m_isAlone = true;
};

} // namespace kestrel
