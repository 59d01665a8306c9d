#pragma once

#include <QString>
#include <optional>
#include <vector>

#include "model/FileState.h"
#include "model/TableNode.h"
#include "planning/ConversionSettings.h"
#include "ui/look/Theme.h"

namespace kestrel {

// The texts of a table row, in German. Pure.
namespace RowText {

// A word in a frame; how it is drawn says what happens to the track.
struct Chip {
    QString label;
    StreamAction action = StreamAction::keep;
    QString help;
    bool operator==(const Chip &) const = default;
};

// What stands in a cell: two lines at most, a picture before the first, and a bar below.
struct Cell {
    QString text, detail;
    QString brief, briefDetail; // where there is no room for them; empty: the same
    QString icon;
    Theme::Tone tone = Theme::Tone::text;
    std::optional<double> bar; // 0 … 1
    QString help;
    bool canBreak = false; // the text, into two lines
    bool saysBar = false;  // the text holds the bar's percentage
    bool operator==(const Cell &) const = default;
};

Cell video(const FileItem &item, const ConversionSettings &settings);
std::vector<Chip> chips(const FileItem &item);
Cell size(const FileItem &item);
Cell estimate(const FileItem &item);
Cell status(const FileItem &item);
bool hasStatus(const FileItem &item); // that cell is not empty
// The picture and the colour that a state has everywhere in the window.
struct Look {
    QString icon;
    Theme::Tone tone;
};
Look look(const FileState &state);

// What a folder's row is made of; of all files below it.
struct Folder {
    std::size_t files = 0;
    std::size_t choosable = 0, included = 0; // with a check mark, and of them those with the tick
    FolderProgress progress;

    static Folder of(const TableNode &node);
    std::optional<Qt::CheckState> checkState() const; // absent where there is nothing to choose
};
// What the files below a folder are.
struct Sources {
    QString most;
    std::size_t different = 0; // the others

    static Sources of(const TableNode &node);
};
Cell video(const Sources &sources);
Cell size(const TableNode &node);
Cell estimate(const TableNode &node, const Folder &folder);
// `completion`: when the run will have done it.
Cell status(const Folder &folder, const std::optional<QString> &completion);

// A word for how good an estimate is, where label() is too long.
QString gradeWord(SizeEstimate::Kind kind);
// "5.1", "Stereo", "Mono"; empty when unknown
QString channels(int count);

} // namespace RowText

} // namespace kestrel
