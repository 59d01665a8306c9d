#include "encoding/ResultRecords.h"

#include <chrono>
#include <string>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "media/Database.h"
#include "platform/Network.h"
#include "platform/Paths.h"

namespace kestrel::ResultRecords {

namespace fs = std::filesystem;

namespace {

constexpr std::chrono::milliseconds patience{5000}; // longest wait for another process

// EXTRA: a power failure must neither lose a record nor restore a removed one.
constexpr const char *preparation = R"(
    PRAGMA synchronous = EXTRA;
    CREATE TABLE IF NOT EXISTS waiting (
        id INTEGER PRIMARY KEY,
        source BLOB, sourceDevice INTEGER, sourceInode INTEGER, sourceSize INTEGER, sourceModified INTEGER,
        result BLOB, resultDevice INTEGER, resultInode INTEGER, resultSize INTEGER, resultModified INTEGER,
        final BLOB, hasVideo INTEGER, isVideoEncoded INTEGER, audioTracks INTEGER
    );)";

Database openOrCreate()
{
    return Database::openOrCreate(file(), patience,
                                  [](const Database &database) { return database.run(preparation); });
}

SqlQuery &operator<<(SqlQuery &query, const File &file)
{
    const auto &[size, modified, changed, device, inode, isRegular] = file.attributes;
    return query << file.path.native() << static_cast<std::int64_t>(device)
                 << static_cast<std::int64_t>(inode) << size << Files::nanoseconds(modified);
}

File readFile(SqlQuery &query)
{
    File file{query.bytes(), {}};
    file.attributes.device = static_cast<std::uint64_t>(query.number());
    file.attributes.inode = static_cast<std::uint64_t>(query.number());
    file.attributes.size = query.number();
    file.attributes.modified = timeOf(query.number());
    file.attributes.isRegular = true;
    return file;
}

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
    const Database database = openOrCreate();
    const SqlStatement statement =
        database.prepare("INSERT INTO waiting VALUES (NULL, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    record.id = 0;
    if (!statement)
        return record;
    SqlQuery query(statement);
    query << record.source << record.result << record.final.native()
          << static_cast<std::int64_t>(record.expected.hasVideo)
          << static_cast<std::int64_t>(record.expected.isVideoEncoded)
          << static_cast<std::int64_t>(record.expected.audioTracks);
    if (query.run())
        record.id = database.lastId();
    return record;
}

void remove(const Record &record)
{
    if (record.id == 0)
        return;
    const Database database = openOrCreate();
    if (const SqlStatement statement = database.prepare("DELETE FROM waiting WHERE id = ?"))
        (SqlQuery(statement) << record.id).run();
}

std::vector<Record> all()
{
    std::vector<Record> records;
    const Database database = Database::openExisting(file(), patience);
    const SqlStatement statement = database.prepare("SELECT * FROM waiting ORDER BY id");
    if (!statement)
        return records;
    SqlQuery query(statement);
    while (query.next()) {
        Record record;
        record.id = query.number();
        record.source = readFile(query);
        record.result = readFile(query);
        record.final = query.bytes();
        record.expected.hasVideo = query.number() != 0;
        record.expected.isVideoEncoded = query.number() != 0;
        record.expected.audioTracks = static_cast<std::size_t>(query.number());
        records.push_back(std::move(record));
    }
    return records;
}

} // namespace kestrel::ResultRecords
