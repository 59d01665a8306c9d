#include "encoding/FilmWriter.h"

#include "encoding/CommandBuilder.h"
#include "media/Log.h"
#include "platform/Cancelled.h"
#include "platform/Text.h"

namespace kestrel::FilmWriter {

namespace {

// An option of an input stands before its -i.
std::vector<std::string> withMadeTimes(const std::vector<std::string> &arguments)
{
    std::vector<std::string> words;
    for (const std::string &word : arguments) {
        if (word == "-i")
            words.insert(words.end(), {"-fflags", "+genpts"});
        words.push_back(word);
    }
    return words;
}

} // namespace

End write(CurrentRunner &current, const std::filesystem::path &ffmpeg,
          const std::vector<std::string> &arguments, const FFmpegRunner::OnProgress &progress,
          const std::stop_token &stop)
{
    bool lacksTimes = false;
    const auto run = [&](const std::vector<std::string> &words) {
        FFmpegRunner runner(ffmpeg, words, progress);
        const int status = current.run(runner, stop);
        throwIfStopped(stop);
        lacksTimes = runner.lacksTimes();
        return End{status, runner.lostSomething(), runner.errorTail()};
    };
    const End end = run(arguments);
    if (end.isWhole() || !lacksTimes)
        return end;
    const auto again = withMadeTimes(arguments);
    Log::write("Noch einmal, mit errechneten Zeiten:\n  " +
               Text::repaired(CommandBuilder::displayString("ffmpeg", again)));
    return run(again);
}

} // namespace kestrel::FilmWriter
