#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <sqlite3.h>
#include <time.h>

namespace kestrel {

using SqlStatement = std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt *)>;

// Absent where the database does not understand it.
inline SqlStatement prepareSql(sqlite3 *database, const char *text)
{
    sqlite3_stmt *prepared = nullptr;
    ::sqlite3_prepare_v2(database, text, -1, &prepared, nullptr);
    return {prepared, ::sqlite3_finalize};
}

// Binds a statement's values in their order; the statement can be used again afterwards.
class SqlBinding {
public:
    explicit SqlBinding(sqlite3_stmt *statement) : m_statement(statement) {}
    ~SqlBinding() { ::sqlite3_reset(m_statement); }
    SqlBinding(const SqlBinding &) = delete;
    SqlBinding &operator=(const SqlBinding &) = delete;

    SqlBinding &operator<<(std::int64_t value)
    {
        ::sqlite3_bind_int64(m_statement, ++m_count, value);
        return *this;
    }
    // The text must outlive the binding.
    SqlBinding &operator<<(const std::string &bytes)
    {
        ::sqlite3_bind_blob64(m_statement, ++m_count, bytes.data(), bytes.size(), SQLITE_STATIC);
        return *this;
    }
    int step() { return ::sqlite3_step(m_statement); }

private:
    sqlite3_stmt *m_statement;
    int m_count = 0;
};

// A time that is stored in nanoseconds.
inline timespec timeOf(std::int64_t nanoseconds)
{
    constexpr std::int64_t second = 1'000'000'000;
    const std::int64_t rest = ((nanoseconds % second) + second) % second;
    return {(nanoseconds - rest) / second, rest};
}

} // namespace kestrel
