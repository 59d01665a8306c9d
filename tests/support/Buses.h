#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/ChildProcess.h"
#include "support/Sandbox.h"

namespace kestrel::test {

// A session bus and a system bus of the test's own, which the process then uses, with Debian's mock of
// services on them. Qt connects to a bus once in a process: one test a process may make this.
class Buses {
public:
    Buses();

    // Why there are none on this machine.
    const std::optional<std::string> &problem() const { return m_problem; }

    // A service with one method for each text "NAME, IN, OUT, CODE" (Python literals). False when it does
    // not come up; error() then says why.
    bool serve(const std::string &bus, const std::string &name, const std::string &path,
               const std::string &interface, const std::vector<std::string> &methods);
    // The session manager, which answers a wish to stay awake with the number 77.
    bool serveSessionManager();

    std::string address(const std::string &bus) const;
    // The calls that a service has had, one a line.
    std::string log(const std::string &name) const { return readFile(m_folder / (name + ".log")); }
    int calls(const std::string &name, const std::string &method) const;
    std::string error(const std::string &name) const { return readFile(m_folder / (name + ".err")); }

private:
    void runInBackground(const std::string &command);
    bool startBus(const char *variable, const std::string &name);

    Sandbox m_folder;
    std::optional<std::string> m_problem;
    std::vector<std::unique_ptr<ChildProcess>> m_background; // which end with this
};

} // namespace kestrel::test
