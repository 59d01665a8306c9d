#include "support/Clips.h"

#include <stdexcept>

#include <unistd.h>

namespace kestrel::test::Clips {

fs::path make(const std::string &name, const std::string &arguments)
{
    const fs::path folder = KESTREL_CLIPS;
    fs::create_directories(folder);
    const fs::path clip = folder / name;
    if (fs::exists(clip))
        return clip;
    // Under another name first: several test processes may want the clip at the same time.
    const fs::path fresh = folder / (std::to_string(::getpid()) + "-" + name);
    if (!shell("/usr/bin/ffmpeg -nostdin -v error -y " + arguments + " " + quoted(fresh)))
        throw std::runtime_error("ffmpeg could not make " + name);
    fs::rename(fresh, clip);
    return clip;
}

fs::path film()
{
    return make("film.mkv", "-f lavfi -i testsrc2=s=320x240:r=25:d=2 -f lavfi -i sine=d=2 "
                            "-c:v libx264 -preset ultrafast -crf 1 -c:a ac3 -metadata:s:a:0 language=ger");
}

fs::path longFilm()
{
    return make("long-film.mkv",
                "-f lavfi -i testsrc2=s=160x120:r=10:d=40 -f lavfi -i sine=d=40 "
                "-c:v libx264 -preset ultrafast -crf 1 -c:a ac3 -metadata:s:a:0 language=ger");
}

} // namespace kestrel::test::Clips
