#pragma once

#include <sstream>
#include <string>

#include "support/Sandbox.h"

namespace kestrel::test {

struct ProcessState {
    char letter = '-'; // as in proc(5); that of a process which is gone
    int group = 0;
};

inline ProcessState processState(const std::string &pid)
{
    const std::string stat = readFile("/proc/" + pid + "/stat");
    const auto end = stat.rfind(") ");
    ProcessState state;
    int parent = 0;
    if (end != std::string::npos)
        std::istringstream(stat.substr(end + 2)) >> state.letter >> parent >> state.group;
    return state;
}

inline bool isGone(int pid)
{
    return processState(std::to_string(pid)).letter == '-';
}

// Nothing of the process group moves. A shell starts programs with vfork and sleeps uninterruptibly ('D')
// until its child has called exec; a group that is frozen in between has the child stopped and the shell in
// 'D'.
inline bool isFrozen(int group)
{
    bool isStopped = false;
    for (const auto &pid : names("/proc")) {
        const ProcessState state = processState(pid);
        if (state.group != group)
            continue;
        if (state.letter != 'T' && state.letter != 'D')
            return false;
        isStopped = isStopped || state.letter == 'T';
    }
    return isStopped;
}

} // namespace kestrel::test
