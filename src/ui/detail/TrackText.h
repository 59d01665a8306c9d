#pragma once

#include <QString>
#include <optional>
#include <vector>

#include "model/FileItem.h"
#include "planning/ConversionSettings.h"
#include "ui/look/Theme.h"

// What the detail sheet says about a file's tracks, in German. Pure.
namespace kestrel::TrackText {

// What becomes of a track, and why.
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

// What is going to happen; of a file that is done nobody knows any more what its plan was.
const Plan *planOf(const FileItem &item);

} // namespace kestrel::TrackText
