#include "media/Database.h"

#include <system_error>

#include <sqlite3.h>

namespace kestrel {

namespace fs = std::filesystem;

Database::Database() : m_handle(nullptr, ::sqlite3_close) {}

Database::Database(const fs::path &file, std::chrono::milliseconds patience, int flags) : Database()
{
    sqlite3 *handle = nullptr;
    const int result = ::sqlite3_open_v2(file.c_str(), &handle, flags, nullptr);
    m_handle.reset(handle);
    if (result == SQLITE_OK)
        ::sqlite3_busy_timeout(handle, static_cast<int>(patience.count()));
    else
        m_handle.reset();
}

Database Database::openExisting(const fs::path &file, std::chrono::milliseconds patience)
{
    // A reader, too, may have to roll back a transaction that a killed process has begun.
    return {file, patience, SQLITE_OPEN_READWRITE};
}

Database Database::openOrCreate(const fs::path &file, std::chrono::milliseconds patience,
                                const Prepare &prepare)
{
    std::error_code ignored;
    fs::create_directories(file.parent_path(), ignored);
    for (const bool isFirst : {true, false}) {
        Database database(file, patience, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
        if (database && prepare(database))
            return database;
        if (!isFirst || !database.isDamaged())
            break;
        database = Database();
        remove(file);
    }
    return {};
}

void Database::remove(const fs::path &file)
{
    std::error_code ignored;
    for (const char *suffix : {"", "-wal", "-shm", "-journal"})
        fs::remove(file.native() + suffix, ignored);
}

bool Database::run(const char *statements) const
{
    return m_handle && ::sqlite3_exec(m_handle.get(), statements, nullptr, nullptr, nullptr) == SQLITE_OK;
}

SqlStatement Database::prepare(const char *text) const
{
    sqlite3_stmt *prepared = nullptr;
    if (m_handle)
        ::sqlite3_prepare_v2(m_handle.get(), text, -1, &prepared, nullptr);
    return {prepared, ::sqlite3_finalize};
}

std::int64_t Database::lastId() const
{
    return m_handle ? ::sqlite3_last_insert_rowid(m_handle.get()) : 0;
}

bool Database::isDamaged() const
{
    const int result = m_handle ? ::sqlite3_errcode(m_handle.get()) : SQLITE_OK;
    return result == SQLITE_CORRUPT || result == SQLITE_NOTADB;
}

bool Database::isBusy() const
{
    return m_handle && ::sqlite3_errcode(m_handle.get()) == SQLITE_BUSY;
}

SqlQuery::~SqlQuery()
{
    ::sqlite3_reset(m_statement);
}

SqlQuery &SqlQuery::operator<<(std::int64_t value)
{
    ::sqlite3_bind_int64(m_statement, ++m_bound, value);
    return *this;
}

SqlQuery &SqlQuery::operator<<(const std::string &bytes)
{
    ::sqlite3_bind_blob64(m_statement, ++m_bound, bytes.data(), bytes.size(), SQLITE_STATIC);
    return *this;
}

bool SqlQuery::next()
{
    m_column = 0;
    return ::sqlite3_step(m_statement) == SQLITE_ROW;
}

bool SqlQuery::run()
{
    return ::sqlite3_step(m_statement) == SQLITE_DONE;
}

std::int64_t SqlQuery::number()
{
    return ::sqlite3_column_int64(m_statement, m_column++);
}

std::string SqlQuery::bytes()
{
    const auto *bytes = static_cast<const char *>(::sqlite3_column_blob(m_statement, m_column));
    const auto size = static_cast<std::size_t>(::sqlite3_column_bytes(m_statement, m_column++));
    return size == 0 ? std::string() : std::string(bytes, size);
}

timespec timeOf(std::int64_t nanoseconds)
{
    constexpr std::int64_t second = 1'000'000'000;
    const std::int64_t rest = ((nanoseconds % second) + second) % second;
    return {(nanoseconds - rest) / second, rest};
}

} // namespace kestrel
