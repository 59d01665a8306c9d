#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>

#include "model/Library.h"
#include "planning/ConversionSettings.h"

namespace kestrel {

// Counts what matters to the audio settings in the sound of the probed files. Pure; takes a few milliseconds
// for ten thousand files.
struct AudioFacts {
    // Keyed by canonical code, without the unknown one. A file counts once for each of its languages.
    std::map<std::string, std::size_t, std::less<>> filesByLanguage;
    // Counts files that have nothing in the chosen languages, but tracks that state no language.
    std::size_t undecidedFiles = 0;
    std::size_t losslessTracks = 0;

    bool operator==(const AudioFacts &) const = default;

    static AudioFacts of(const Library::Items &items, const ConversionSettings &settings);
};

} // namespace kestrel
