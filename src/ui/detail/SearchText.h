#pragma once

#include <QString>
#include <vector>

#include "model/FileItem.h"

// What the detail sheet says about a file's quality search, in German. Pure.
namespace kestrel::SearchText {

// What the quality search tried, by rising CRF.
struct Search {
    struct Row {
        QString crf, vmaf, worst, bitrate, speed;
        bool isChosen = false;
        bool operator==(const Row &) const = default;
    };
    QString summary;
    bool hasScores = false;
    std::vector<Row> rows;
    bool operator==(const Search &) const = default;
};
// `frame` is what is encoded; the tempo is told in frames of this size.
Search search(const SampleResult &sample, FrameSize frame);
// The points of the chart for those who do not see it.
QString searchInWords(const SampleResult &sample);

// A file without a search may yet get one, or it is worth telling why not.
bool canBeSearched(const FileItem &item);
// Why there is no search to be shown.
QString noSearch(const FileItem &item);

} // namespace kestrel::SearchText
