#include "encoding/HiddenOriginal.h"

#include <algorithm>
#include <optional>

#include <fmt/format.h>

#include "encoding/StorageLocation.h"
#include "encoding/SwapJournal.h"
#include "media/WorkNames.h"
#include "platform/Files.h"
#include "platform/ShellWords.h"
#include "platform/Text.h"
#include "platform/Volume.h"

namespace kestrel {

namespace fs = std::filesystem;

namespace {

// Returns a name that is free in the film's folder, as far as this can be determined.
fs::path freeName(const fs::path &film)
{
    constexpr int most = 99;
    fs::path name = film;
    for (int number = 1; Files::exists(name) && number <= most; ++number)
        name = WorkNames::visibleOriginal(film, number);
    return name;
}

// Returns the backup's path below its share, or the whole path where the share is unknown.
fs::path placeOnShare(const SwapJournal::Record &record)
{
    const fs::path &backup = record.entry.backup;
    return record.mount ? backup.lexically_relative(*record.mount) : backup;
}

// Returns whether `met` is the record's backup, although its share may be mounted at another place now.
bool isOf(const SwapJournal::Record &record, const fs::path &met)
{
    const fs::path place = placeOnShare(record);
    const auto parts = std::distance(place.begin(), place.end());
    return met == record.entry.backup ||
           (place.is_relative() && std::distance(met.begin(), met.end()) > parts &&
            std::equal(place.begin(), place.end(), std::prev(met.end(), parts)));
}

std::optional<HiddenOriginal> pending(const SwapJournal::Record &record)
{
    const auto &[original, backup, final] = record.entry;
    if (!record.isShareThere())
        return HiddenOriginal{backup, original, false};
    if (Files::presence(backup) == Files::Presence::absent)
        return std::nullopt; // nothing is left to be repaired
    return HiddenOriginal{backup, freeName(original)};
}

} // namespace

std::string HiddenOriginal::title() const
{
    return fmt::format("„{}“ ist nach einem unterbrochenen Tausch noch versteckt: „{}“{}",
                       Text::shown(film.filename()), Text::shown(hidden),
                       isThere ? "" : " (die Freigabe ist dort zurzeit nicht eingebunden)");
}

std::string HiddenOriginal::moveLine() const
{
    return fmt::format("mv -n -- {} {}", ShellWords::quoted(hidden.native()),
                       ShellWords::quoted(film.native()));
}

std::vector<HiddenOriginal> hiddenOriginals(const std::vector<fs::path> &met)
{
    const auto records = SwapJournal::records();
    std::vector<HiddenOriginal> result;
    for (const auto &hidden : met) {
        const auto known = std::find_if(records.begin(), records.end(),
                                        [&](const auto &record) { return isOf(record, hidden); });
        const fs::path film = known == records.end()
                                  ? WorkNames::filmOf(hidden)
                                  : hidden.parent_path() / known->entry.original.filename();
        result.push_back({hidden, freeName(film)});
    }
    return result;
}

std::vector<HiddenOriginal> pendingSwaps(const std::vector<fs::path> &met)
{
    std::vector<HiddenOriginal> result = hiddenOriginals(met);
    for (const auto &record : SwapJournal::records()) {
        if (std::any_of(met.begin(), met.end(), [&](const fs::path &path) { return isOf(record, path); }))
            continue;
        if (auto swap = pending(record);
            swap && std::find(result.begin(), result.end(), *swap) == result.end())
            result.push_back(std::move(*swap));
    }
    return result;
}

std::vector<fs::path> hiddenOriginalsElsewhere()
{
    std::vector<fs::path> found;
    for (const auto &record : SwapJournal::records()) {
        if (!record.mount || record.isShareThere())
            continue;
        for (const auto &mount : Mount::all()) {
            const fs::path place = mount.point / placeOnShare(record);
            const Volume volume = describeMount(mount, mount.point);
            if (StorageLocation::classify(volume, mount.point).isNetwork() && Files::exists(place))
                found.push_back(place);
        }
    }
    return found;
}

} // namespace kestrel
