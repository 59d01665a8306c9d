#include "media/ProbeStore.h"

#include <fstream>

#include <gtest/gtest.h>

#include "support/Sandbox.h"

#include <sqlite3.h>
#include <sys/stat.h>

namespace kestrel::test {
namespace {

using Answer = std::optional<std::string>;

// An hour old in every respect, which no real file's change time can be made.
Files::Attributes anHourOld(const fs::path &file)
{
    Files::Attributes attributes = Files::attributes(file);
    attributes.modified.tv_sec -= 3600;
    attributes.changed.tv_sec -= 3600;
    return attributes;
}

class ProbeStoreTest : public testing::Test {
protected:
    const Sandbox folder;
    const fs::path film = folder.write("film.mkv", "film");
    const Files::Attributes attributes = anHourOld(film);
    const fs::path file = folder / "caches/store.sqlite";

    void remember(const std::string &answer) { ProbeStore(file, "7.0").add(film, attributes, answer); }
    Answer found(const std::string &version = "7.0")
    {
        return ProbeStore(file, version).find(film, attributes);
    }
    bool sql(const std::string &statements)
    {
        sqlite3 *database = nullptr;
        ::sqlite3_open(file.c_str(), &database);
        const bool isDone =
            ::sqlite3_exec(database, statements.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
        ::sqlite3_close(database);
        return isDone;
    }
};

TEST_F(ProbeStoreTest, answersForTheSameFileAndTheSameProbe)
{
    const std::string answer("{\0\xff}", 4);
    remember(answer);
    EXPECT_EQ(found(), Answer(answer));
    EXPECT_EQ(found("7.1"), Answer());
    EXPECT_EQ(found(""), Answer());

    ProbeStore store(file, "7.0");
    for (const auto &change : std::vector<std::function<void(Files::Attributes &)>>{
             [](auto &other) { ++other.size; }, [](auto &other) { ++other.inode; },
             [](auto &other) { ++other.device; }, [](auto &other) { ++other.modified.tv_nsec; },
             [](auto &other) { ++other.changed.tv_nsec; }}) {
        Files::Attributes other = attributes;
        change(other);
        EXPECT_EQ(store.find(film, other), Answer());
    }
    EXPECT_EQ(store.find(folder / "other.mkv", attributes), Answer());
    store.add(folder / "new.mkv", Files::attributes(film), "young");
    store.save();
    EXPECT_EQ(store.find(folder / "new.mkv", Files::attributes(film)), Answer()) << "may change unnoticed";
}

TEST_F(ProbeStoreTest, forgetsWhatNobodyHasSeenForHalfAYear)
{
    remember("seen");
    ASSERT_TRUE(sql("UPDATE probe SET seen = seen - 180"));
    EXPECT_EQ(found(), Answer("seen")); // and thereby seen today
    ASSERT_TRUE(sql("UPDATE probe SET seen = seen - 180"));
    EXPECT_EQ(found(), Answer("seen"));
    for (const char *away : {"- 190", "+ 190"}) { // the other one after a wrong clock
        remember("seen");
        ASSERT_TRUE(sql(std::string("UPDATE probe SET seen = seen ") + away));
        ProbeStore(file, "7.0").save();
        EXPECT_EQ(found(), Answer()) << away;
    }
}

TEST_F(ProbeStoreTest, isAsGoodAsNoneWhereItCannotBeUsed)
{
    remember("kept");
    sqlite3 *other = nullptr;
    ASSERT_EQ(::sqlite3_open(file.c_str(), &other), SQLITE_OK);
    ASSERT_EQ(
        ::sqlite3_exec(other, "PRAGMA locking_mode = EXCLUSIVE; BEGIN EXCLUSIVE", nullptr, nullptr, nullptr),
        SQLITE_OK);
    const auto begun = std::chrono::steady_clock::now();
    {
        ProbeStore locked(file, "7.0");
        for (int i = 0; i < 100; ++i)
            locked.find(film, attributes);
        locked.add(film, attributes, "lost");
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(5)) << "does not wait each time";
    ::sqlite3_exec(other, "ROLLBACK", nullptr, nullptr, nullptr);
    ::sqlite3_close(other);
    EXPECT_EQ(found(), Answer("kept")) << "what is only locked is not thrown away";

    ASSERT_TRUE(sql("PRAGMA user_version = 9; ALTER TABLE probe RENAME COLUMN answer TO reply"));
    EXPECT_EQ(found(), Answer()) << "of another version of the program";
    remember("anew");
    EXPECT_EQ(found(), Answer("anew"));

    std::fstream(file, std::ios::in | std::ios::out | std::ios::binary).seekp(4096) << std::string(9000, 'x');
    found();
    remember("repaired");
    EXPECT_EQ(found(), Answer("repaired")) << "a damaged one is made anew";

    fs::remove_all(file.parent_path());
    folder.write("caches", "in the way");
    remember("nowhere");
    EXPECT_EQ(found(), Answer());
}

} // namespace
} // namespace kestrel::test
