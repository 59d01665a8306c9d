#include "encoding/SwapJournal.h"

#include <algorithm>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "media/Log.h"
#include "media/WorkNames.h"
#include "platform/Cancelled.h"
#include "platform/ErrorText.h"
#include "platform/FileLock.h"
#include "platform/Files.h"
#include "platform/JsonText.h"
#include "platform/Paths.h"
#include "platform/Text.h"
#include "platform/Volume.h"

namespace kestrel::SwapJournal {

namespace fs = std::filesystem;
using nlohmann::json;
using nlohmann::ordered_json;

namespace {

// Holds the entries that can be understood, and all of the file's text where some cannot.
struct Content {
    std::vector<Record> records;
    std::string damaged;
};

fs::path folder()
{
    return Paths::applicationSupport() / "Kestrel";
}

// Excludes other threads and other processes while it lives.
class Guard {
public:
    Guard() : m_threads(threads())
    {
        std::error_code ignored;
        fs::create_directories(folder(), ignored);
        m_processes = FileLock::take(folder());
    }

private:
    static std::mutex &threads()
    {
        static std::mutex lock;
        return lock;
    }

    std::scoped_lock<std::mutex> m_threads;
    FileLock m_processes;
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

Record decode(const json &value)
{
    const auto path = [&](const char *key) {
        fs::path result = decodePath(value.at(key));
        if (!result.is_absolute())
            throw std::invalid_argument(key);
        return result;
    };
    Record record{{path("original"), path("backup"), path("final")}, std::nullopt, std::nullopt};
    if (value.contains("mount"))
        record.mount = decodePath(value.at("mount"));
    if (value.contains("newSize"))
        record.newSize = value.at("newSize").get<std::int64_t>();
    return record;
}

Content parse(std::string text)
{
    Content content;
    const json list = JsonText::parseIfValid(text);
    bool isWhole = list.is_array() || text.empty();
    if (list.is_array())
        for (const json &value : list) {
            try {
                content.records.push_back(decode(value));
            } catch (const std::exception &) {
                isWhole = false;
            }
        }
    if (!isWhole)
        content.damaged = std::move(text);
    return content;
}

// Throws where the journal exists and cannot be read.
Content read()
{
    try {
        return parse(Files::readAll(file()));
    } catch (const fs::filesystem_error &error) {
        if (error.code() == std::errc::no_such_file_or_directory)
            return {};
        throw;
    }
}

// Saves a text that cannot be understood beside the journal, for a person to examine.
void keepDamaged(const std::string &text)
{
    for (int number = 1;; ++number) {
        const fs::path name = folder() / fmt::format("tauschvorgaenge (unlesbar{}).json",
                                                     number == 1 ? "" : fmt::format(" {}", number));
        if (Files::presence(name) == Files::Presence::absent) {
            Files::writeAtomically(name, text);
            Log::write("Tauschvorgänge, die nicht zu verstehen sind: " + Text::shown(name));
            return;
        }
        if (Files::readAll(name) == text)
            return;
    }
}

// Returns the entries, to be changed and saved; absent while nothing may be changed, because the journal
// cannot be read or its damaged text cannot be kept.
std::optional<std::vector<Record>> load()
{
    try {
        Content content = read();
        if (!content.damaged.empty())
            keepDamaged(content.damaged);
        return std::move(content.records);
    } catch (const fs::filesystem_error &error) {
        Log::write("Tauschvorgänge nicht lesbar: " + ErrorText::describe(error));
        return std::nullopt;
    }
}

// Returns false when the journal could not be written.
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
        Files::writeAtomically(file(), JsonText::dump(list));
        return true;
    } catch (const std::exception &) {
        return false;
    }
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

std::string restored(const fs::path &original)
{
    return "Original wiederhergestellt: " + Text::shown(original);
}

// Makes the original visible beside the final name, at which another file lies than expected; a person
// decides.
bool showBackup(const Entry &entry, std::vector<std::string> &messages)
{
    std::vector<fs::path> names{entry.original};
    for (int number = 1; number < 10; ++number)
        names.push_back(WorkNames::visibleOriginal(entry.original, number));
    for (const fs::path &visible : names)
        if (succeeds([&] { Files::moveToFreeName(entry.backup, visible); })) {
            messages.push_back(restored(visible));
            return true;
        }
    return false;
}

// Returns whether the film has its own name and the backup's is only another one for it: a move by link and
// unlink was interrupted. Some shares (sshfs) do not report it; there, equal bytes mean that one of the two
// may be removed.
bool isOnlySecondName(const Entry &entry, const std::stop_token &stop)
{
    if (Files::areNamesOfOneFile(entry.backup, entry.original))
        return true;
    const auto isFile = [](const fs::path &path) {
        std::error_code unreadable;
        return fs::symlink_status(path, unreadable).type() == fs::file_type::regular;
    };
    return isFile(entry.backup) && isFile(entry.original) &&
           Files::attributes(entry.backup).sameContent(Files::attributes(entry.original)) &&
           Files::haveSameBytes(entry.backup, entry.original, stop);
}

// Repairs one swap; returns true when nothing is left to do for it. What cannot be examined now is left for
// another time, also by an exception.
bool repair(const Record &record, std::vector<std::string> &messages, const std::stop_token &stop)
{
    using Files::Presence;
    const Entry &entry = record.entry;
    if (!record.isShareThere())
        return false;
    const Presence backup = Files::presence(entry.backup), final = Files::presence(entry.final);
    if (backup != Presence::there)
        return backup == Presence::absent;
    if (isOnlySecondName(entry, stop)) {
        Files::remove(entry.backup);
        messages.push_back(restored(entry.original));
        return true;
    }
    if (final == Presence::absent) {
        const bool isBack = succeeds([&] { Files::moveToFreeName(entry.backup, entry.original); });
        if (isBack)
            messages.push_back(restored(entry.original));
        return isBack;
    }
    const auto attributes = Files::tryAttributes(entry.final);
    if (!attributes || !attributes->isRegular)
        return false;
    if (record.newSize && attributes->size != *record.newSize)
        return showBackup(entry, messages);
    const bool removed = succeeds([&] { Files::remove(entry.backup); });
    messages.push_back("Tausch abgeschlossen: " + Text::shown(entry.final));
    return removed;
}

} // namespace

bool Record::isShareThere() const
{
    const fs::path place = entry.backup.parent_path();
    std::error_code error;
    return fs::is_directory(place, error) && (!mount || Volume::of(place).root == mount);
}

fs::path file()
{
    return folder() / "tauschvorgaenge.json";
}

bool add(const Entry &entry, std::optional<std::int64_t> newSize)
{
    const Guard guard;
    auto records = load();
    if (!records)
        return false;
    records->push_back({entry, Volume::of(entry.backup.parent_path()).root, newSize});
    return save(*records);
}

void remove(const Entry &entry)
{
    const Guard guard;
    auto records = load();
    if (!records)
        return;
    std::erase_if(*records, [&](const Record &record) { return record.entry == entry; });
    save(*records);
}

std::vector<std::string> recover(const std::stop_token &stop)
{
    const Guard guard;
    std::vector<Record> kept;
    std::vector<std::string> messages;
    auto records = load();
    if (!records)
        return {};
    for (auto &record : *records) {
        bool isDone = false;
        try {
            isDone = repair(record, messages, stop);
        } catch (const fs::filesystem_error &error) {
            Log::write("Tausch nicht repariert: " + ErrorText::describe(error));
        } catch (const Cancelled &) { // NOLINT(bugprone-empty-catch): repaired another time
        }
        if (!isDone)
            kept.push_back(std::move(record));
    }
    save(kept);
    for (const auto &message : messages)
        Log::write(message);
    return messages;
}

std::vector<Record> records()
{
    const Guard guard;
    try {
        return read().records;
    } catch (const fs::filesystem_error &) {
        return {};
    }
}

std::optional<std::string> problem()
{
    const Guard guard;
    try {
        read();
        return std::nullopt;
    } catch (const fs::filesystem_error &error) {
        return ErrorText::reason(error);
    }
}

std::vector<Entry> entries()
{
    std::vector<Entry> result;
    for (const auto &record : records())
        result.push_back(record.entry);
    return result;
}

} // namespace kestrel::SwapJournal
