#pragma once

#include <QString>
#include <optional>
#include <string_view>
#include <vector>

#include "media/Tools.h"
#include "model/FileItem.h"
#include "planning/ConversionSettings.h"
#include "ui/look/Theme.h"

// Returns the texts of the detail sheet about a file, in German. Pure.
namespace kestrel::DetailText {

// Returns text from a file or a program on one line: broken bytes become U+FFFD, control characters become
// blanks, and marks that change the reading direction are removed.
QString line(std::string_view text);
// Likewise, with its line breaks.
QString lines(std::string_view text);

QString name(const FileItem &item);
QString folder(const FileItem &item);

// Describes what happens or has happened to the file.
struct State {
    QString icon, text;
    Theme::Tone tone = Theme::Tone::muted;
    std::optional<double> bar; // 0 … 1
    bool operator==(const State &) const = default;
};
State state(const FileItem &item);
// Returns the whole text of what went wrong; may have many lines.
std::optional<QString> error(const FileItem &item);

struct Fact {
    QString name, value;
    bool operator==(const Fact &) const = default;
};
std::vector<Fact> facts(const FileItem &item);

// Estimates the file's size after its conversion; absent where nothing more is expected.
struct Estimate {
    struct Part {
        QString name;
        double bytes = 0;
        Theme::Tone tone = Theme::Tone::accent;
        bool operator==(const Part &) const = default;
    };
    QString sizes, change, grade, explanation;
    double whole = 0; // bytes: the larger of the file now and then
    std::vector<Part> parts;
    QString saving; // the part of the whole that is saved; empty where the file would grow
    QString time;   // empty where nothing is encoded
    bool operator==(const Estimate &) const = default;
};
std::optional<Estimate> estimate(const FileItem &item);

// Returns a command line for a shell that does what the conversion would do, into a file of its own beside
// the film; absent where there is nothing to do.
std::optional<QString> command(const FileItem &item, const ConversionSettings &settings,
                               const std::optional<Tools> &tools);
// Returns what the command line does not show by itself.
QString commandNote(const FileItem &item, const ConversionSettings &settings);

} // namespace kestrel::DetailText
