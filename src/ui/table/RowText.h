#pragma once

#include <QString>
#include <optional>
#include <vector>

#include "model/FileState.h"
#include "model/TableNode.h"
#include "planning/ConversionSettings.h"
#include "ui/look/Theme.h"

namespace kestrel {

// Returns the texts of a table row, in German. Pure.
namespace RowText {

// Holds a word in a frame; how it is drawn shows what happens to the track.
struct Chip {
    QString label;
    StreamAction action = StreamAction::keep;
    QString help;
    bool operator==(const Chip &) const = default;
};

// Holds the content of a cell: at most two lines, a picture before the first, and a bar below.
struct Cell {
    QString text, detail;
    QString brief, briefDetail; // used where room is lacking; empty: the same
    QString icon;
    Theme::Tone tone = Theme::Tone::text;
    std::optional<double> bar; // 0 … 1
    QString help;
    bool canBreak = false; // whether the text may break into two lines
    bool saysBar = false;  // whether the text contains the bar's percentage
    bool operator==(const Cell &) const = default;
};

Cell video(const FileItem &item, const ConversionSettings &settings);
std::vector<Chip> chips(const FileItem &item);
Cell size(const FileItem &item);
Cell estimate(const FileItem &item);
Cell status(const FileItem &item);
bool hasStatus(const FileItem &item); // whether that cell is not empty
// Holds the icon and the colour that a state has everywhere in the window.
struct Look {
    QString icon;
    Theme::Tone tone;
};
Look look(const FileState &state);

// Holds the content of a folder's row, from all files below it.
struct Folder {
    std::size_t files = 0;
    std::size_t choosable = 0, included = 0; // files with a check mark, and those of them that are checked
    FolderProgress progress;

    static Folder of(const TableNode &node);
    std::optional<Qt::CheckState> checkState() const; // absent where there is nothing to choose
};
// Holds the formats of the files below a folder.
struct Sources {
    QString most;
    std::size_t different = 0; // number of other formats

    static Sources of(const TableNode &node);
};
Cell video(const Sources &sources);
Cell size(const TableNode &node);
Cell estimate(const TableNode &node, const Folder &folder);
// `completion` is when the run will have finished the folder.
Cell status(const Folder &folder, const std::optional<QString> &completion);

// Returns a word for the quality of an estimate, where label() is too long.
QString gradeWord(SizeEstimate::Kind kind);
// Returns "5.1", "Stereo", "Mono"; empty when unknown.
QString channels(int count);

} // namespace RowText

} // namespace kestrel
