#include "support/StandIn.h"

namespace kestrel::test {

Tools realTools()
{
    Tools tools;
    tools.ffmpeg = "/usr/bin/ffmpeg";
    tools.ffprobe = "/usr/bin/ffprobe";
    tools.encoders = "libx265 libsvtav1";
    tools.version = "ffmpeg";
    tools.mayMeasure = false;
    return tools;
}

fs::path standIn(const Sandbox &sandbox, const std::string &name, const std::string &body)
{
    const fs::path path = sandbox.write(name, "#!/bin/sh\n" + body + "\n");
    fs::permissions(path, fs::perms::owner_all);
    return path;
}

} // namespace kestrel::test
