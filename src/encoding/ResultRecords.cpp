#include "encoding/ResultRecords.h"

#include <string>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "media/SqlBinding.h"
#include "platform/Network.h"
#include "platform/Paths.h"

#include <sqlite3.h>

namespace kestrel::ResultRecords {

namespace fs = std::filesystem;

namespace {

constexpr int patience = 5000; // milliseconds that another process may hold the database

// EXTRA: a record must not vanish with the power, and neither may one that was removed come back.
constexpr const char *preparation = R"(
    PRAGMA synchronous = EXTRA;
    CREATE TABLE IF NOT EXISTS waiting (
        id INTEGER PRIMARY KEY,
        source BLOB, sourceDevice INTEGER, sourceInode INTEGER, sourceSize INTEGER, sourceModified INTEGER,
        result BLOB, resultDevice INTEGER, resultInode INTEGER, resultSize INTEGER, resultModified INTEGER,
        final BLOB, hasVideo INTEGER, isVideoEncoded INTEGER, audioTracks INTEGER
    );)";

enum class Access { existing, orCreate };

class Database {
public:
    explicit Database(Access access)
    {
        // A reader, too, may have to roll back what a killed process has begun.
        if (access == Access::existing) {
            m_isOpen = open(SQLITE_OPEN_READWRITE);
            return;
        }
        std::error_code ignored;
        fs::create_directories(file().parent_path(), ignored);
        if (tryCreate())
            return;
        const int problem = ::sqlite3_errcode(m_database);
        if (problem != SQLITE_CORRUPT && problem != SQLITE_NOTADB)
            return;
        ::sqlite3_close(std::exchange(m_database, nullptr));
        fs::remove(file(), ignored);
        tryCreate();
    }
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;
    ~Database() { ::sqlite3_close(m_database); }

    // Absent where the database cannot be used.
    SqlStatement prepare(const char *text) const
    {
        return m_isOpen ? prepareSql(m_database, text) : SqlStatement(nullptr, ::sqlite3_finalize);
    }
    std::int64_t lastId() const { return ::sqlite3_last_insert_rowid(m_database); }

private:
    bool open(int flags)
    {
        const bool isOpen = ::sqlite3_open_v2(file().c_str(), &m_database, flags, nullptr) == SQLITE_OK;
        ::sqlite3_busy_timeout(m_database, patience);
        return isOpen;
    }
    bool tryCreate()
    {
        return m_isOpen = open(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE) &&
                          ::sqlite3_exec(m_database, preparation, nullptr, nullptr, nullptr) == SQLITE_OK;
    }

    sqlite3 *m_database = nullptr;
    bool m_isOpen = false;
};

SqlBinding &operator<<(SqlBinding &binding, const File &file)
{
    const auto &[size, modified, changed, device, inode, isRegular] = file.attributes;
    return binding << file.path.native() << static_cast<std::int64_t>(device)
                   << static_cast<std::int64_t>(inode) << size << Files::nanoseconds(modified);
}

// The columns of one row, in their order.
class Row {
public:
    explicit Row(sqlite3_stmt *statement) : m_statement(statement) {}

    std::int64_t number() { return ::sqlite3_column_int64(m_statement, m_column++); }
    fs::path path()
    {
        const auto *bytes = static_cast<const char *>(::sqlite3_column_blob(m_statement, m_column));
        const auto size = static_cast<std::size_t>(::sqlite3_column_bytes(m_statement, m_column++));
        return size == 0 ? std::string() : std::string(bytes, size);
    }
    File file()
    {
        File file{path(), {}};
        file.attributes.device = static_cast<std::uint64_t>(number());
        file.attributes.inode = static_cast<std::uint64_t>(number());
        file.attributes.size = number();
        file.attributes.modified = timeOf(number());
        file.attributes.isRegular = true;
        return file;
    }

private:
    sqlite3_stmt *m_statement;
    int m_column = 0;
};

} // namespace

bool File::isThere() const
{
    std::error_code error;
    const auto now = Files::tryAttributes(path);
    return now && now->sameVersion(attributes) &&
           fs::symlink_status(path, error).type() == fs::file_type::regular;
}

fs::path file()
{
    return Paths::applicationSupport() / "Kestrel" /
           fmt::format("Ergebnisse-{}.sqlite", Network::fullHostName());
}

Record add(Record record)
{
    const Database database(Access::orCreate);
    const SqlStatement statement =
        database.prepare("INSERT INTO waiting VALUES (NULL, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    record.id = 0;
    if (!statement)
        return record;
    SqlBinding binding(statement.get());
    binding << record.source << record.result << record.final.native()
            << static_cast<std::int64_t>(record.expected.hasVideo)
            << static_cast<std::int64_t>(record.expected.isVideoEncoded)
            << static_cast<std::int64_t>(record.expected.audioTracks);
    if (binding.step() == SQLITE_DONE)
        record.id = database.lastId();
    return record;
}

void remove(const Record &record)
{
    if (record.id == 0)
        return;
    const Database database(Access::orCreate);
    if (const SqlStatement statement = database.prepare("DELETE FROM waiting WHERE id = ?"))
        (SqlBinding(statement.get()) << record.id).step();
}

std::vector<Record> all()
{
    std::vector<Record> records;
    const Database database(Access::existing);
    const SqlStatement statement = database.prepare("SELECT * FROM waiting ORDER BY id");
    while (statement && ::sqlite3_step(statement.get()) == SQLITE_ROW) {
        Row row(statement.get());
        Record record;
        record.id = row.number();
        record.source = row.file();
        record.result = row.file();
        record.final = row.path();
        record.expected.hasVideo = row.number() != 0;
        record.expected.isVideoEncoded = row.number() != 0;
        record.expected.audioTracks = static_cast<std::size_t>(row.number());
        records.push_back(std::move(record));
    }
    return records;
}

} // namespace kestrel::ResultRecords
