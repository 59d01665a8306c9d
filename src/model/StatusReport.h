#pragma once

#include "status/StatusSnapshot.h"

namespace kestrel {

class AppModel;

// Returns what the status page shows of the model now. Its cost grows with the library's files, some
// milliseconds for 10,000. REQUIRES: the main thread.
StatusSnapshot statusSnapshot(const AppModel &model);

} // namespace kestrel
