#include "encoding/SwapJournal.h"

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <optional>
#include <string_view>
#include <system_error>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "media/Log.h"
#include "platform/FileDescriptor.h"
#include "platform/Files.h"
#include "platform/Paths.h"
#include "platform/Text.h"
#include "platform/Volume.h"

#include <fcntl.h>
#include <sys/file.h>

namespace kestrel::SwapJournal {

namespace fs = std::filesystem;
using nlohmann::json;
using nlohmann::ordered_json;

namespace {

// An entry as it stands in the file. The mount point tells an unmounted share, whose empty mount point
// still exists as a folder, from a share on which the backup is gone.
struct Record {
    Entry entry;
    std::optional<fs::path> mount;
    std::optional<std::int64_t> newSize;
};

fs::path folder()
{
    return Paths::applicationSupport() / "Kestrel";
}

// Keeps out other threads and other processes while it lives.
class Guard {
public:
    Guard() : m_threads(threads())
    {
        std::error_code ignored;
        fs::create_directories(folder(), ignored);
        m_folder = FileDescriptor(::open(folder().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        while (m_folder && ::flock(m_folder.get(), LOCK_EX) != 0 && errno == EINTR) {
        }
    }

private:
    static std::mutex &threads()
    {
        static std::mutex lock;
        return lock;
    }

    std::scoped_lock<std::mutex> m_threads;
    FileDescriptor m_folder;
};

// JSON holds text only: a path that is no valid UTF-8 is written as {"hex": …}.
ordered_json encodePath(const fs::path &path)
{
    const std::string &bytes = path.native();
    if (Text::repaired(bytes) == bytes)
        return bytes;
    std::string hex;
    for (const char c : bytes)
        hex += fmt::format("{:02x}", static_cast<unsigned char>(c));
    return {{"hex", hex}};
}

fs::path decodePath(const json &value)
{
    if (value.is_string())
        return value.get<std::string>();
    const auto hex = value.at("hex").get<std::string>();
    std::string bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    return bytes;
}

std::vector<Record> load()
{
    try {
        const json list = json::parse(Files::readAll(file()));
        std::vector<Record> records;
        if (!list.is_array())
            return {};
        for (const json &value : list) {
            Record record{{decodePath(value.at("original")), decodePath(value.at("backup")),
                           decodePath(value.at("final"))},
                          std::nullopt,
                          std::nullopt};
            if (value.contains("mount"))
                record.mount = decodePath(value.at("mount"));
            if (value.contains("newSize"))
                record.newSize = value.at("newSize").get<std::int64_t>();
            records.push_back(std::move(record));
        }
        return records;
    } catch (const std::exception &) {
        return {};
    }
}

// False when it could not be written.
bool save(const std::vector<Record> &records)
{
    try {
        if (records.empty()) {
            Files::remove(file());
            return true;
        }
        ordered_json list = ordered_json::array();
        for (const auto &[entry, mount, newSize] : records) {
            list.push_back({{"original", encodePath(entry.original)},
                            {"backup", encodePath(entry.backup)},
                            {"final", encodePath(entry.final)}});
            if (mount)
                list.back()["mount"] = encodePath(*mount);
            if (newSize)
                list.back()["newSize"] = *newSize;
        }
        Files::writeAtomically(file(), list.dump());
        return true;
    } catch (const std::exception &) {
        return false;
    }
}

bool isShareThere(const Record &record)
{
    const fs::path folder = record.entry.backup.parent_path();
    std::error_code error;
    return fs::is_directory(folder, error) && (!record.mount || Volume::of(folder).root == record.mount);
}

template <typename Operation>
bool succeeds(Operation operation)
{
    try {
        operation();
        return true;
    } catch (const fs::filesystem_error &) {
        return false;
    }
}

// What lies at the final name is not the file that was to get there: the original becomes visible beside
// it, and a person decides.
bool showBackup(const Entry &entry, std::vector<std::string> &messages)
{
    std::vector<fs::path> names{entry.original};
    for (int number = 1; number < 10; ++number)
        names.push_back(visibleName(entry.original, number));
    for (const fs::path &visible : names)
        if (succeeds([&] { Files::moveToFreeName(entry.backup, visible); })) {
            messages.push_back("Original wiederhergestellt: " + Text::repaired(visible.native()));
            return true;
        }
    return false;
}

// Repairs one swap; true when nothing is left to do for it. What cannot be looked at now is left for
// another time.
bool repair(const Record &record, std::vector<std::string> &messages)
{
    using Files::Presence;
    const Entry &entry = record.entry;
    if (!isShareThere(record))
        return false;
    const Presence backup = Files::presence(entry.backup), final = Files::presence(entry.final);
    if (backup != Presence::there)
        return backup == Presence::absent;
    if (final == Presence::absent) {
        const bool restored = succeeds([&] { Files::moveToFreeName(entry.backup, entry.original); });
        if (restored)
            messages.push_back("Original wiederhergestellt: " + Text::repaired(entry.original.native()));
        return restored;
    }
    const auto attributes = Files::tryAttributes(entry.final);
    if (!attributes || !attributes->isRegular)
        return false;
    if (record.newSize && attributes->size != *record.newSize)
        return showBackup(entry, messages);
    const bool removed = succeeds([&] { Files::remove(entry.backup); });
    messages.push_back("Tausch abgeschlossen: " + Text::repaired(entry.final.native()));
    return removed;
}

} // namespace

fs::path file()
{
    return folder() / "tauschvorgaenge.json";
}

fs::path visibleName(const fs::path &original, int number)
{
    const std::string mark = number == 1 ? " (Original)" : " (Original " + std::to_string(number) + ")";
    return original.parent_path() / (original.stem().native() + mark + original.extension().native());
}

bool add(const Entry &entry, std::optional<std::int64_t> newSize)
{
    const Guard guard;
    std::vector<Record> records = load();
    records.push_back({entry, Volume::of(entry.backup.parent_path()).root, newSize});
    return save(records);
}

void remove(const Entry &entry)
{
    const Guard guard;
    std::vector<Record> records = load();
    std::erase_if(records, [&](const Record &record) { return record.entry == entry; });
    save(records);
}

std::vector<std::string> recover()
{
    const Guard guard;
    std::vector<Record> kept;
    std::vector<std::string> messages;
    for (auto &record : load())
        if (!repair(record, messages))
            kept.push_back(std::move(record));
    save(kept);
    for (const auto &message : messages)
        Log::write(message);
    return messages;
}

std::vector<Entry> entries()
{
    const Guard guard;
    std::vector<Entry> result;
    for (const auto &record : load())
        result.push_back(record.entry);
    return result;
}

} // namespace kestrel::SwapJournal
