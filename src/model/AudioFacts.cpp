#include "model/AudioFacts.h"

#include <algorithm>
#include <span>

#include "media/Language.h"

namespace kestrel {

namespace {

using Tracks = std::span<const AudioStreamInfo>;

bool isUnknown(const AudioStreamInfo &track)
{
    return track.language == Language::unknown;
}

bool isUndecided(Tracks tracks, const ConversionSettings &settings)
{
    const auto isWanted = [&](const AudioStreamInfo &track) {
        return settings.audioLanguages.contains(track.language) &&
               !(settings.dropCommentary && track.isCommentary);
    };
    return std::any_of(tracks.begin(), tracks.end(), isUnknown) &&
           std::none_of(tracks.begin(), tracks.end(), isWanted);
}

} // namespace

AudioFacts AudioFacts::of(const Library::Items &items, const ConversionSettings &settings)
{
    AudioFacts facts;
    for (const auto &item : items) {
        if (!item->info)
            continue;
        const Tracks tracks = item->info->audio;
        for (auto track = tracks.begin(); track != tracks.end(); ++track) {
            const bool isRepeated = std::any_of(tracks.begin(), track, [&](const AudioStreamInfo &earlier) {
                return earlier.language == track->language;
            });
            if (!isUnknown(*track) && !isRepeated)
                ++facts.filesByLanguage[track->language];
            if (track->isLossless())
                ++facts.losslessTracks;
        }
        if (isUndecided(tracks, settings))
            ++facts.undecidedFiles;
    }
    return facts;
}

} // namespace kestrel
