#include <QCoreApplication>
#include <cerrno>
#include <clocale>
#include <exception>
#include <string>
#include <system_error>

#include <fmt/format.h>

#include "cli/Commands.h"
#include "cli/Terminal.h"
#include "media/Log.h"
#include "platform/Cancelled.h"
#include "platform/ErrorText.h"

namespace kestrel {

namespace {

int dispatch(const Arguments &arguments, const RunWindow &runWindow)
{
    using Command = Arguments::Command;
    switch (arguments.command) {
    case Command::help:
        Terminal::print("{}", helpText());
        return ExitStatus::done;
    case Command::version:
        Terminal::print("kestrel {}\n", KESTREL_VERSION);
        return ExitStatus::done;
    case Command::window:
    case Command::demo:
        return runWindow(arguments);
    default:
        break;
    }

    Interrupt interrupt;
    int count = 1;
    std::string name = "kestrel";
    char *words = name.data();
    const QCoreApplication application(count, &words);
    std::setlocale(LC_NUMERIC, "C"); // Qt has set the user's; numbers for ffmpeg need a point
    try {
        switch (arguments.command) {
        case Command::plan:
            return runPlan(arguments, interrupt);
        case Command::convert:
            return runConvert(arguments, interrupt);
        case Command::measure:
            return runMeasure(arguments, interrupt);
        case Command::clip:
            return runClip(arguments, interrupt);
        case Command::score:
            return runScore(arguments, interrupt);
        default:
            return runDoctor(interrupt);
        }
    } catch (const Cancelled &) {
        Terminal::complain("Abgebrochen.");
        return ExitStatus::interrupted;
    }
}

} // namespace

int runCommandLine(int count, const char *const *words, const RunWindow &runWindow)
{
    int status = ExitStatus::unusable;
    try {
        status = dispatch(parseArguments(count, words), runWindow);
    } catch (const UsageError &error) {
        Terminal::complain(fmt::format("{}\nHilfe: kestrel --help", error.what()));
    } catch (const std::exception &error) {
        Terminal::complain(ErrorText::describe(error));
    }
    const int problem = Terminal::flush();
    if (problem == 0 || problem == EPIPE) // a reader that closes its end early is no problem
        return status;
    Terminal::complain("Die Ausgabe konnte nicht geschrieben werden: " +
                       ErrorText::describe(std::error_code(problem, std::generic_category())));
    return ExitStatus::unusable;
}

} // namespace kestrel
