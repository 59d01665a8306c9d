#include "cli/Arguments.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <set>
#include <span>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "media/Language.h"
#include "media/WorkNames.h"
#include "platform/Files.h"
#include "platform/Text.h"

namespace kestrel {

namespace {

template <typename Enumeration>
Enumeration parseCase(const std::string &option, const std::string &word, std::span<const Enumeration> cases)
{
    std::vector<std::string_view> names;
    for (const Enumeration candidate : cases) {
        if (id(candidate) == word)
            return candidate;
        names.push_back(id(candidate));
    }
    throw UsageError(fmt::format("{} kennt den Wert „{}“ nicht. Möglich sind: {}.", option,
                                 Text::repaired(word), fmt::join(names, ", ")));
}

std::set<std::string> parseLanguages(const std::string &list)
{
    std::set<std::string> languages;
    for (std::size_t start = 0; start <= list.size();) {
        const std::size_t end = std::min(list.find(',', start), list.size());
        const std::string word(Text::trimmed(std::string_view(list).substr(start, end - start)));
        start = end + 1;
        if (word.empty())
            continue;
        const std::string code = Language::normalize(word, std::nullopt);
        if (code == Language::unknown && Text::lower(word) != Language::unknown)
            throw UsageError(fmt::format("--languages kennt die Sprache „{}“ nicht. Erwartet werden "
                                         "Kürzel mit Kommas dazwischen, zum Beispiel deu,eng.",
                                         Text::repaired(word)));
        languages.insert(code);
    }
    return languages;
}

// Adds an option whose value changes the settings once they are loaded; a wrong value is reported at once.
template <typename Value, typename Parse>
void addSetting(CLI::App &command, Arguments &arguments, const std::string &option,
                Value ConversionSettings::*field, Parse parse)
{
    command.add_option_function<std::string>(option, [&arguments, field, parse](const std::string &word) {
        arguments.overrides.emplace_back(
            [field, value = parse(word)](ConversionSettings &settings) { settings.*field = value; });
    });
}

template <typename Enumeration>
void addChoice(CLI::App &command, Arguments &arguments, const std::string &option,
               Enumeration ConversionSettings::*field, std::span<const Enumeration> cases)
{
    addSetting(command, arguments, option, field,
               [option, cases](const std::string &word) { return parseCase(option, word, cases); });
}

void addSwitch(CLI::App &command, Arguments &arguments, const std::string &name,
               bool ConversionSettings::*field)
{
    for (const bool value : {true, false})
        command.add_flag_callback((value ? "--" : "--no-") + name, [&arguments, field, value] {
            arguments.overrides.emplace_back(
                [field, value](ConversionSettings &settings) { settings.*field = value; });
        });
}

std::int64_t parseJobs(const std::string &word)
{
    const bool isNumber =
        !word.empty() && word.size() < 10 && word.find_first_not_of("0123456789") == std::string::npos;
    if (!isNumber)
        throw UsageError("--jobs erwartet eine ganze Zahl ab 0 (0: alle Dateien zugleich).");
    return std::stoll(word);
}

void addSettings(CLI::App &command, Arguments &arguments)
{
    using Settings = ConversionSettings;
    addSetting(command, arguments, "--codec", &Settings::codec, [&arguments](const std::string &word) {
        arguments.isCodecChosen = true;
        return parseCase("--codec", word, allCodecs());
    });
    addChoice(command, arguments, "--quality", &Settings::quality, allQualities());
    addChoice(command, arguments, "--resolution", &Settings::resolution, allResolutions());
    addSetting(command, arguments, "--languages", &Settings::audioLanguages, parseLanguages);
    addChoice(command, arguments, "--unknown-audio", &Settings::unknownAudio, allUnknownAudioPolicies());
    addSwitch(command, arguments, "drop-commentary", &Settings::dropCommentary);
    addSwitch(command, arguments, "convert-lossless", &Settings::convertLosslessAudio);
    addChoice(command, arguments, "--container", &Settings::container, allContainers());
    addChoice(command, arguments, "--output", &Settings::outputMode, allOutputModes());
    addSetting(command, arguments, "--jobs", &Settings::parallelJobs, parseJobs);
    addSwitch(command, arguments, "status-page", &Settings::statusPage);
    for (const bool value : {true, false})
        command.add_flag_callback(value ? "--measure" : "--no-measure",
                                  [&arguments, value] { arguments.measuresQuality = value; });
    command.add_flag("--defaults", arguments.startsFromDefaults);
    command.add_flag("--fresh", arguments.asksAgain);
}

CLI::App *addFolderCommand(CLI::App &app, const char *name, Arguments &arguments)
{
    CLI::App *command = app.add_subcommand(name);
    command->set_help_flag("");
    command->add_option("FOLDER", arguments.folder)->required();
    command->add_flag("--json", arguments.json);
    command->add_option("--only", arguments.only)->allow_extra_args(false);
    addSettings(*command, arguments);
    return command;
}

// Checks that an option's word is a whole number.
std::string wholeNumber(const std::string &option, const std::string &word)
{
    const bool isNumber = !word.empty() && word.size() < 10 &&
                          word.find_first_not_of("0123456789") == std::string::npos &&
                          word.find_first_not_of('0') != std::string::npos;
    return isNumber ? "" : option + " erwartet eine ganze Zahl ab 1.";
}

void addSeconds(CLI::App &command, const std::string &option, std::optional<double> &target, double least)
{
    command.add_option_function<std::string>(option, [option, &target, least](const std::string &word) {
        double seconds = 0;
        const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), seconds);
        if (error != std::errc() || end != word.data() + word.size() || !(seconds >= least && seconds < 1e7))
            throw UsageError(fmt::format("{} erwartet Sekunden ab {}, zum Beispiel 90.5.", option, least));
        target = seconds;
    });
}

void addScore(CLI::App &app, Arguments &arguments)
{
    CLI::App *score = app.add_subcommand("score");
    score->set_help_flag("");
    score->add_option("ORIGINAL", arguments.folder)->required();
    score->add_option("RESULT", arguments.result)->required();
    score->add_option("--every", arguments.every)->check([](const std::string &word) {
        return wholeNumber("--every", word);
    });
    addSeconds(*score, "--start", arguments.start, 0);
    addSeconds(*score, "--length", arguments.length, 0.1);
    score->add_flag("--json", arguments.json);
}

std::string folderIsMissing(std::string_view command)
{
    return fmt::format("Es fehlt der Ordner, zum Beispiel: kestrel {} ~/Videos", command);
}

std::string inGerman(const CLI::ParseError &error)
{
    if (dynamic_cast<const CLI::RequiredError *>(&error) != nullptr)
        return folderIsMissing("plan");
    const std::string_view what = error.what();
    if (dynamic_cast<const CLI::ArgumentMismatch *>(&error) != nullptr) // "OPTION: what is missing"
        return fmt::format("{}: Dazu fehlt der Wert, oder es ist einer zu viel.",
                           Text::repaired(what.substr(0, what.find(':'))));
    // The text of our own checks is "OPTION: sentence".
    if (dynamic_cast<const CLI::ValidationError *>(&error) != nullptr)
        if (const auto colon = what.find(": "); colon != std::string_view::npos)
            return std::string(what.substr(colon + 2));
    return "Der Aufruf ist nicht verständlich.";
}

UsageError unknownWord(std::string_view word)
{
    return UsageError("Unbekanntes Argument: " + Text::repaired(word));
}

constexpr std::array<std::string_view, 6> commands{"plan", "convert", "measure", "clip", "score", "doctor"};

Arguments windowArguments(const std::filesystem::path &folder)
{
    return {.command = Arguments::Command::window,
            .folder = folder.empty() ? folder : Files::standardized(folder)};
}

// Parses "-openFolder PATH": the window, apart from the user's own settings.
Arguments parseOpenFolder(std::span<const char *const> words)
{
    if (words.size() < 2 || *words[1] == '\0')
        throw UsageError(folderIsMissing(words[0]));
    if (words.size() > 2)
        throw unknownWord(words[2]);
    Arguments arguments = windowArguments(words[1]);
    arguments.usesTestSuite = true;
    return arguments;
}

// Parses the demo: a made-up library in the window, and pictures of it. The help does not list it.
Arguments parseDemo(std::span<const char *const> words)
{
    Arguments arguments;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string_view word = words[i];
        if (word == "--dark")
            arguments.isDark = true;
        else if ((word == "--demo" || word == "--snapshots") && i + 1 < words.size())
            (word == "--demo" ? arguments.folder : arguments.snapshots) = Files::standardized(words[++i]);
        else
            throw unknownWord(word);
    }
    if (arguments.folder.empty() || arguments.snapshots.empty())
        throw UsageError("Es fehlt ein Ordner: kestrel --demo FILME --snapshots BILDER");
    arguments.command = Arguments::Command::demo;
    return arguments;
}

// Parses words that begin with no command, but with a folder, which the window opens.
Arguments parseFolder(std::span<const char *const> words)
{
    std::error_code ignored;
    if (!std::filesystem::is_directory(words[0], ignored))
        throw UsageError(fmt::format("„{}“ ist weder ein Befehl ({}) noch ein Ordner.",
                                     Text::repaired(words[0]), fmt::join(commands, ", ")));
    if (words.size() > 1)
        throw unknownWord(words[1]);
    return windowArguments(words[0]);
}

} // namespace

ConversionSettings Arguments::applied(ConversionSettings settings) const
{
    for (const auto &change : overrides)
        change(settings);
    return settings;
}

Arguments parseArguments(int count, const char *const *words)
{
    Arguments arguments;
    const std::span given(words, static_cast<std::size_t>(count));
    for (const std::string_view word : given.subspan(given.empty() ? 0 : 1)) {
        if (word == "--")
            break;
        if (word == "--help" || word == "-h" || word == "--version") {
            arguments.command = word == "--version" ? Arguments::Command::version : Arguments::Command::help;
            return arguments;
        }
    }
    const auto rest = given.subspan(given.empty() ? 0 : 1);
    if (rest.empty())
        return windowArguments({});
    const std::string_view first = rest.front();
    if (first == "-openFolder" || first == "--openFolder")
        return parseOpenFolder(rest);
    if (first == "--demo")
        return parseDemo(rest);
    if (std::find(commands.begin(), commands.end(), first) == commands.end())
        return parseFolder(rest);

    CLI::App app;
    app.set_help_flag("");
    app.require_subcommand(1);
    const CLI::App *plan = addFolderCommand(app, "plan", arguments);
    const CLI::App *convert = addFolderCommand(app, "convert", arguments);
    CLI::App *measure = addFolderCommand(app, "measure", arguments);
    measure->add_option("--count", arguments.count)->check([](const std::string &word) {
        return wholeNumber("--count", word);
    });
    CLI::App *clip = app.add_subcommand("clip");
    clip->set_help_flag("");
    clip->add_option("FILE", arguments.folder)->required();
    addSettings(*clip, arguments);
    addScore(app, arguments);
    CLI::App *doctor = app.add_subcommand("doctor");
    doctor->set_help_flag("");
    // CLI11 would use the word after "--languages=" as its value.
    std::vector<std::string> spread(given.begin(), given.end());
    for (auto word = spread.begin(); word != spread.end(); ++word)
        if (*word == "--languages=") {
            *word = "--languages";
            word = spread.insert(word + 1, "");
        }
    std::vector<const char *> parsed;
    parsed.reserve(spread.size());
    for (const auto &word : spread)
        parsed.push_back(word.c_str());
    try {
        app.parse(static_cast<int>(parsed.size()), parsed.data());
    } catch (const CLI::RequiredError &) {
        throw UsageError(clip->parsed() ? "Es fehlt die Datei, zum Beispiel: kestrel clip ~/Videos/Film.mkv"
                         : app.got_subcommand("score")
                             ? "Es fehlt ein Film, zum Beispiel: kestrel score Original.mkv Ergebnis.mkv"
                             : folderIsMissing("plan"));
    } catch (const CLI::ExtrasError &) {
        const auto left = app.remaining(true);
        const auto option = std::find_if(left.begin(), left.end(),
                                         [](const std::string &word) { return word.starts_with('-'); });
        throw unknownWord(option != left.end() ? *option : left.at(0));
    } catch (const CLI::ParseError &error) {
        throw UsageError(inGerman(error));
    }
    using Command = Arguments::Command;
    arguments.command = plan->parsed()      ? Command::plan
                        : convert->parsed() ? Command::convert
                        : measure->parsed() ? Command::measure
                        : clip->parsed()    ? Command::clip
                        : doctor->parsed()  ? Command::doctor
                                            : Command::score;
    return arguments;
}

std::string helpText()
{
    return R"(Kestrel macht eine private Videosammlung kleiner, ohne sichtbaren Verlust.

Aufruf:
  kestrel [ORDNER]                              öffnet das Fenster, auf Wunsch gleich mit einem Ordner
  kestrel plan ORDNER [--json]                  zeigt, was geschähe, und ändert nichts
  kestrel convert ORDNER [--json]               konvertiert alles, was zu tun ist
  kestrel measure ORDNER [--count N] [--json]   misst Stichproben (6, wenn nichts gesagt ist)
  kestrel clip DATEI                            macht einen Probeclip von einer Minute
  kestrel score ORIGINAL ERGEBNIS [--every N] [--start S --length S] [--json]
                                                misst mit VMAF, wie nah ein Film seinem Original kommt: an jedem
                                                N. Bild, auf Wunsch nur ab Sekunde S und S Sekunden lang
  kestrel doctor                                zeigt Werkzeuge, Ordner und was fehlt
  kestrel --help | --version

Auswahl (für plan, convert und measure):
  --only PFAD                                   nur diese Datei, vom Ordner aus gesehen; beliebig oft
  --only -                                      die Dateien, die zeilenweise auf der Standardeingabe stehen
  --fresh                                       fragt ffprobe auch nach Dateien, die unverändert sind

Einstellungen (für plan, convert, measure und clip; zuerst steht, was ohne Angabe gilt):
  --defaults                                    von diesen Vorgaben ausgehen, nicht von den gespeicherten
  --codec hevcX265|av1SVT|keepVideo             Zielcodec, oder das Bild behalten
  --quality high|maximal|veryHigh|medium|small  Qualitätsstufe
  --measure, --no-measure                       Qualität messen und für jede Datei den CRF-Wert suchen, der
                                                das Ziel der Stufe erreicht; sonst gilt deren fester Wert
  --resolution original|p2160|p1440|p1080|p720|p576
                                                größte Bildgröße
  --languages deu                               Tonspuren, die bleiben; mehrere: deu,eng; "" für keine
  --unknown-audio keepAll|keepDefault           Tonspuren ohne Sprache: alle, oder nur die Standardspur
  --drop-commentary, --no-drop-commentary       Kommentare und Audiodeskription weglassen
  --no-convert-lossless, --convert-lossless     verlustfreien Ton in E-AC3 umwandeln
  --container mkv|mp4                           Dateiformat
  --output replaceOriginal|separateFolder       Original ersetzen (es kommt in den Papierkorb; auf einer
                                                Netzwerkfreigabe in deren Papierkorb, wenn sie einen hat),
                                                oder daneben in „)" +
           WorkNames::outputFolder("ORDNER").native() + R"(“ schreiben
  --jobs 2                                      so viele Dateien zugleich; 0: alle
  --status-page, --no-status-page               convert und measure zeigen den Fortschritt im Heimnetz als
                                                Webseite

Strg-C hört sauber auf: Was nicht fertig ist, bleibt, wie es war. Strg-Z hält an, auch ffmpeg; mit fg
geht es weiter.

Rückgabe: 0 fertig oder nichts zu tun, 1 eine Datei ist gescheitert, 2 falscher Aufruf, Werkzeug
fehlt, Ordner nicht lesbar oder zwei Filme, die nicht zusammengehören, 130 abgebrochen.
)";
}

} // namespace kestrel
