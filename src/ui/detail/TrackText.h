#pragma once

#include <QString>
#include <optional>
#include <vector>

#include "model/FileItem.h"
#include "planning/ConversionSettings.h"
#include "ui/look/Theme.h"

// Returns the texts of the detail sheet about a file's tracks, in German. Pure.
namespace kestrel::TrackText {

// States what happens to a track, and why.
struct Fate {
    StreamAction action = StreamAction::keep;
    QString reason;
    bool operator==(const Fate &) const = default;
};
QString word(StreamAction action);
QString icon(StreamAction action);
Theme::Tone tone(StreamAction action);

struct Track {
    QString icon, kind; // "Video", "Ton", "Untertitel"
    QString title, details;
    std::optional<Fate> fate; // absent where nothing is planned
    bool operator==(const Track &) const = default;
};
struct Tracks {
    std::vector<Track> rows; // the video, then sound and subtitles in the file's order
    std::vector<QString> notes;
    bool operator==(const Tracks &) const = default;
};
Tracks tracks(const FileItem &item, const ConversionSettings &settings);

// Returns the plan of what is going to happen; null for a converted file, whose plan is no longer known.
const Plan *planOf(const FileItem &item);

} // namespace kestrel::TrackText
