#pragma once

namespace kestrel::test {

// Gives this test process a home folder and a temporary folder of its own, so that no test sees or touches
// the user's. To be called before the application object is made.
void useOwnHome();

} // namespace kestrel::test
