#include "media/ProbeStore.h"

#include <chrono>
#include <cstdint>
#include <utility>

#include "platform/Paths.h"

namespace kestrel {

namespace fs = std::filesystem;

namespace {

constexpr std::int64_t daysKept = 183;
constexpr std::chrono::milliseconds patience{200}; // longest wait for another process

// user_version holds the schema's number; a file with another one is created again.
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

SqlQuery &operator<<(SqlQuery &query, const Files::Attributes &attributes)
{
    return query << static_cast<std::int64_t>(attributes.device)
                 << static_cast<std::int64_t>(attributes.inode) << attributes.size
                 << Files::nanoseconds(attributes.modified) << Files::nanoseconds(attributes.changed);
}

bool prepare(const Database &database)
{
    // A crash may lose the newest answers, never the store.
    if (!database.run("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL;"))
        return false;
    {
        const SqlStatement version = database.prepare("PRAGMA user_version");
        SqlQuery query(version);
        if (!version || !query.next())
            return false;
        if (query.number() == schema)
            return true;
    }
    return database.run("DROP TABLE IF EXISTS probe") && database.run(tables);
}

} // namespace

ProbeStore::ProbeStore(const fs::path &file, std::string version)
    : m_file(file), m_version(std::move(version))
{
    if (m_version.empty()) // an ffprobe that states no version could be another one tomorrow
        return;
    // A damaged store holds nothing that ffprobe cannot report again.
    m_database = Database::openOrCreate(file, patience, prepare);
}

ProbeStore::~ProbeStore()
{
    save();
    m_database = Database();
    if (m_isDamaged)
        Database::remove(m_file);
}

fs::path ProbeStore::usualFile()
{
    return Paths::cacheFile("Analysen", ".sqlite");
}

void ProbeStore::noteDamage()
{
    m_isDamaged = m_isDamaged || m_database.isDamaged();
}

std::optional<std::string> ProbeStore::find(const fs::path &file, const Files::Attributes &attributes)
{
    const std::scoped_lock guard(m_lock);
    if (!m_database || m_isBusy)
        return std::nullopt;
    const SqlStatement statement =
        m_database.prepare("SELECT answer, seen FROM probe WHERE path = ? AND device = ? AND inode = ? "
                           "AND size = ? AND modified = ? AND changed = ? AND version = ?");
    if (!statement)
        return std::nullopt;
    SqlQuery query(statement);
    query << file.native() << attributes << m_version;
    if (!query.next()) {
        noteDamage();
        m_isBusy = m_isBusy || m_database.isBusy();
        return std::nullopt;
    }
    std::string answer = query.bytes();
    if (query.number() != today())
        m_seen.push_back(file);
    return answer;
}

void ProbeStore::add(const fs::path &file, const Files::Attributes &attributes, std::string answer)
{
    if (!attributes.isSettled())
        return;
    const std::scoped_lock guard(m_lock);
    if (!m_database)
        return;
    m_added.insert_or_assign(file, Entry{attributes, std::move(answer)});
    // Saving meanwhile keeps most of a long scan that is killed.
    constexpr std::size_t most = 500;
    if (m_added.size() >= most)
        savePending();
}

void ProbeStore::save()
{
    const std::scoped_lock guard(m_lock);
    if (!m_database)
        return;
    savePending();
    if (const SqlStatement statement = m_database.prepare("DELETE FROM probe WHERE seen < ? OR seen > ?")) {
        SqlQuery query(statement);
        query << today() - daysKept << today() + daysKept; // after a clock that was wrong
        query.run();
    }
}

void ProbeStore::savePending()
{
    if (m_added.empty() && m_seen.empty())
        return;
    if (m_database.run("BEGIN IMMEDIATE")) {
        const std::int64_t day = today();
        if (const SqlStatement insert =
                m_database.prepare("INSERT OR REPLACE INTO probe (path, device, inode, size, modified, "
                                   "changed, version, answer, seen) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)"))
            for (const auto &[path, entry] : m_added) {
                SqlQuery query(insert);
                query << path.native() << entry.attributes << m_version << entry.answer << day;
                if (!query.run())
                    noteDamage();
            }
        if (const SqlStatement see = m_database.prepare("UPDATE probe SET seen = ? WHERE path = ?"))
            for (const auto &path : m_seen) {
                SqlQuery query(see);
                query << day << path.native();
                query.run();
            }
        if (!m_database.run("COMMIT"))
            m_database.run("ROLLBACK");
    }
    m_added.clear();
    m_seen.clear();
}

} // namespace kestrel
