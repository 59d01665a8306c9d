#pragma once

#include "status/StatusSnapshot.h"

namespace kestrel {

class AppModel;

// What a person who glances at the status page is to see of the model now. Main thread; its cost grows with
// the library's files, some milliseconds for 10,000.
StatusSnapshot statusSnapshot(const AppModel &model);

} // namespace kestrel
