#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include <time.h>

struct sqlite3;
struct sqlite3_stmt;

namespace kestrel {

// Holds a statement that can be run repeatedly; null where the database does not understand it. REQUIRES: its
// database outlives it.
using SqlStatement = std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt *)>;

// Opens a small SQLite database that the program can do without: nothing here throws, and one that cannot be
// used does nothing. Not safe across threads by itself.
class Database {
public:
    // Creates the tables, or finds that they exist; returns false where it fails.
    using Prepare = std::function<bool(const Database &)>;

    Database(); // has no file

    // `patience` is how long a call waits for another process that holds the database.
    static Database openExisting(const std::filesystem::path &file, std::chrono::milliseconds patience);
    // Creates the file and its folder where they are missing. A file that is no database, or a damaged one,
    // is replaced with a new one; one that is only locked stays.
    static Database openOrCreate(const std::filesystem::path &file, std::chrono::milliseconds patience,
                                 const Prepare &prepare);
    // Also removes the files that SQLite keeps beside it.
    static void remove(const std::filesystem::path &file);

    explicit operator bool() const { return m_handle != nullptr; }
    // Runs statements without values; returns false where one fails.
    bool run(const char *statements) const;
    SqlStatement prepare(const char *text) const;
    // Returns the number of the row that was inserted last.
    std::int64_t lastId() const;

    // Return whether the last call met a file that is no database or is damaged, or one that another process
    // holds.
    bool isDamaged() const;
    bool isBusy() const;

private:
    Database(const std::filesystem::path &file, std::chrono::milliseconds patience, int flags);

    std::unique_ptr<sqlite3, int (*)(sqlite3 *)> m_handle;
};

// Runs a statement once: takes its values in their order, then yields rows, whose columns are read in their
// order. The statement can be used again afterwards.
class SqlQuery {
public:
    explicit SqlQuery(const SqlStatement &statement) : m_statement(statement.get()) {}
    ~SqlQuery();
    SqlQuery(const SqlQuery &) = delete;
    SqlQuery &operator=(const SqlQuery &) = delete;

    SqlQuery &operator<<(std::int64_t value);
    SqlQuery &operator<<(const std::string &bytes); // REQUIRES: they outlive the query

    // Moves to the next row; returns false when there is none.
    bool next();
    // Runs a statement that has no rows; returns false where it fails.
    bool run();

    std::int64_t number();
    std::string bytes();

private:
    sqlite3_stmt *m_statement;
    int m_bound = 0, m_column = 0;
};

// Converts a time that is stored in nanoseconds.
timespec timeOf(std::int64_t nanoseconds);

} // namespace kestrel
