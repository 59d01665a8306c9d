#pragma once

#include <QString>
#include <vector>

#include "model/FileItem.h"

// Returns the texts of the detail sheet about a file's quality search, in German. Pure.
namespace kestrel::SearchText {

// Lists what the quality search tried, by ascending CRF.
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
// `frame` is what is encoded; speeds are given in frames of this size.
Search search(const SampleResult &sample, FrameSize frame);
// Returns the points of the chart in words, for users who cannot see it.
QString searchInWords(const SampleResult &sample);

// Returns whether a file without a search may still get one, or the reason why not is worth showing.
bool canBeSearched(const FileItem &item);
// Returns why there is no search to be shown.
QString noSearch(const FileItem &item);

} // namespace kestrel::SearchText
