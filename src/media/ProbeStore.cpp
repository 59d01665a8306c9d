#include "media/ProbeStore.h"

#include <chrono>
#include <cstdint>
#include <system_error>
#include <utility>

#include "platform/Paths.h"

#include <sqlite3.h>

namespace kestrel {

namespace fs = std::filesystem;

namespace {

constexpr std::int64_t daysKept = 183;
constexpr std::int64_t settledAge = 3'000'000'000; // nanoseconds; FAT counts in two seconds
constexpr int patience = 200;                      // milliseconds that another process may hold the store

// The schema's number is in user_version; another one is made anew.
constexpr int schema = 1;
constexpr const char *tables = R"(
    CREATE TABLE IF NOT EXISTS probe (
        path BLOB PRIMARY KEY, device INTEGER, inode INTEGER, size INTEGER, modified INTEGER,
        changed INTEGER, version TEXT, seen INTEGER, answer BLOB
    );
    CREATE INDEX IF NOT EXISTS probe_seen ON probe (seen);
    PRAGMA user_version = 1;)";

std::int64_t today()
{
    using namespace std::chrono;
    return floor<days>(system_clock::now()).time_since_epoch().count();
}

bool isSettled(const Files::Attributes &attributes)
{
    const std::int64_t now = std::chrono::duration_cast<std::chrono::nanoseconds>(
                                 std::chrono::system_clock::now().time_since_epoch())
                                 .count();
    return now - nanoseconds(attributes.changed) > settledAge &&
           now - nanoseconds(attributes.modified) > settledAge;
}

SqlBinding &operator<<(SqlBinding &binding, const Files::Attributes &attributes)
{
    return binding << static_cast<std::int64_t>(attributes.device)
                   << static_cast<std::int64_t>(attributes.inode) << attributes.size
                   << nanoseconds(attributes.modified) << nanoseconds(attributes.changed);
}

} // namespace

ProbeStore::ProbeStore(const fs::path &file, std::string version)
    : m_file(file), m_version(std::move(version))
{
    if (m_version.empty()) // an ffprobe that does not say what it is could be another one tomorrow
        return;
    std::error_code ignored;
    fs::create_directories(file.parent_path(), ignored);
    if (open(file))
        return;
    // Not a database, or a damaged one: it holds nothing that cannot be asked again. One that is only
    // locked stays.
    noteDamage(::sqlite3_errcode(m_database));
    ::sqlite3_close(std::exchange(m_database, nullptr));
    if (!std::exchange(m_isDamaged, false))
        return;
    removeFile();
    if (!open(file))
        ::sqlite3_close(std::exchange(m_database, nullptr));
}

ProbeStore::~ProbeStore()
{
    save();
    ::sqlite3_close(m_database);
    if (m_isDamaged)
        removeFile();
}

fs::path ProbeStore::usualFile()
{
    return Paths::cacheFile("Analysen", ".sqlite");
}

bool ProbeStore::open(const fs::path &file)
{
    if (::sqlite3_open_v2(file.c_str(), &m_database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) !=
        SQLITE_OK)
        return false;
    ::sqlite3_busy_timeout(m_database, patience);
    // A crash may cost the newest answers, never the store.
    if (!run("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL;"))
        return false;
    const SqlStatement version = prepare("PRAGMA user_version");
    if (!version || ::sqlite3_step(version.get()) != SQLITE_ROW)
        return false;
    const int found = ::sqlite3_column_int(version.get(), 0);
    ::sqlite3_reset(version.get());
    if (found == schema)
        return true;
    return run("DROP TABLE IF EXISTS probe") && run(tables);
}

void ProbeStore::noteDamage(int result)
{
    m_isDamaged = m_isDamaged || result == SQLITE_CORRUPT || result == SQLITE_NOTADB;
}

void ProbeStore::removeFile() const
{
    std::error_code ignored;
    for (const char *suffix : {"", "-wal", "-shm", "-journal"})
        fs::remove(m_file.native() + suffix, ignored);
}

bool ProbeStore::run(const char *statements)
{
    return ::sqlite3_exec(m_database, statements, nullptr, nullptr, nullptr) == SQLITE_OK;
}

SqlStatement ProbeStore::prepare(const char *statement)
{
    return prepareSql(m_database, statement);
}

std::optional<std::string> ProbeStore::find(const fs::path &file, const Files::Attributes &attributes)
{
    const std::scoped_lock guard(m_lock);
    if (m_database == nullptr || m_isBusy)
        return std::nullopt;
    const SqlStatement statement =
        prepare("SELECT answer, seen FROM probe WHERE path = ? AND device = ? AND inode = ? "
                "AND size = ? AND modified = ? AND changed = ? AND version = ?");
    if (!statement)
        return std::nullopt;
    SqlBinding binding(statement.get());
    binding << file.native() << attributes << m_version;
    const int result = binding.step();
    noteDamage(result);
    m_isBusy = m_isBusy || result == SQLITE_BUSY;
    if (result != SQLITE_ROW)
        return std::nullopt;
    const auto *bytes = static_cast<const char *>(::sqlite3_column_blob(statement.get(), 0));
    std::string answer(bytes, static_cast<std::size_t>(::sqlite3_column_bytes(statement.get(), 0)));
    if (::sqlite3_column_int64(statement.get(), 1) != today())
        m_seen.push_back(file);
    return answer;
}

void ProbeStore::add(const fs::path &file, const Files::Attributes &attributes, std::string answer)
{
    if (!isSettled(attributes))
        return;
    const std::scoped_lock guard(m_lock);
    if (m_database == nullptr)
        return;
    m_added.insert_or_assign(file, Entry{attributes, std::move(answer)});
    // A long scan that is killed has not worked for nothing.
    constexpr std::size_t most = 500;
    if (m_added.size() >= most)
        savePending();
}

void ProbeStore::save()
{
    const std::scoped_lock guard(m_lock);
    if (m_database == nullptr)
        return;
    savePending();
    if (const SqlStatement statement = prepare("DELETE FROM probe WHERE seen < ? OR seen > ?")) {
        SqlBinding binding(statement.get());
        binding << today() - daysKept << today() + daysKept; // after a clock that went wrong
        binding.step();
    }
}

void ProbeStore::savePending()
{
    if (m_added.empty() && m_seen.empty())
        return;
    if (run("BEGIN IMMEDIATE")) {
        const std::int64_t day = today();
        if (const SqlStatement insert =
                prepare("INSERT OR REPLACE INTO probe (path, device, inode, size, modified, "
                        "changed, version, answer, seen) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)"))
            for (const auto &[path, entry] : m_added) {
                SqlBinding binding(insert.get());
                binding << path.native() << entry.attributes << m_version << entry.answer << day;
                noteDamage(binding.step());
            }
        if (const SqlStatement see = prepare("UPDATE probe SET seen = ? WHERE path = ?"))
            for (const auto &path : m_seen) {
                SqlBinding binding(see.get());
                binding << day << path.native();
                binding.step();
            }
        if (!run("COMMIT"))
            run("ROLLBACK");
    }
    m_added.clear();
    m_seen.clear();
}

} // namespace kestrel
