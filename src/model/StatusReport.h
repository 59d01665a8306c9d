#pragma once

#include "status/StatusSnapshot.h"

namespace kestrel {

class AppModel;

// What the status page shows of the model now. Main thread; its cost grows with the library's files, some
// milliseconds for 10,000.
StatusSnapshot statusSnapshot(const AppModel &model);

} // namespace kestrel
