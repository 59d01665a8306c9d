#include "platform/ErrorText.h"

#include <filesystem>
#include <new>
#include <system_error>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace kestrel {

namespace {

std::error_code code(std::errc reason)
{
    return std::make_error_code(reason);
}

} // namespace

TEST(ErrorText, isGerman)
{
    EXPECT_EQ(ErrorText::describe(code(std::errc::permission_denied)), "Keine Berechtigung");
    EXPECT_EQ(ErrorText::describe(code(std::errc::no_space_on_device)), "Kein Speicherplatz mehr frei");
    EXPECT_EQ(ErrorText::describe(code(std::errc::read_only_file_system)),
              "Der Datenträger ist schreibgeschützt");
    EXPECT_TRUE(ErrorText::describe(code(std::errc::protocol_error)).starts_with("Systemfehler 71 ("));
}

TEST(ErrorText, namesTheFileThatTheErrorIsAbout)
{
    using std::filesystem::filesystem_error;
    const auto missing = code(std::errc::no_such_file_or_directory);
    EXPECT_EQ(ErrorText::describe(filesystem_error("stat", "/filme/Gr\xfc\xdf\x65.mkv", missing)),
              "Datei oder Ordner ist nicht vorhanden: „/filme/Gr\uFFFD\uFFFDe.mkv“");
    EXPECT_EQ(ErrorText::describe(filesystem_error("stat", missing)),
              "Datei oder Ordner ist nicht vorhanden");
    EXPECT_EQ(ErrorText::reason(filesystem_error("stat", "/filme/Film.mkv", missing)),
              "Datei oder Ordner ist nicht vorhanden");
}

TEST(ErrorText, hidesTheLibrarysWords)
{
    EXPECT_EQ(ErrorText::describe(std::system_error(code(std::errc::permission_denied), "execv")),
              "Keine Berechtigung");
    EXPECT_EQ(ErrorText::describe(std::bad_alloc()), "Nicht genügend Arbeitsspeicher");
    try {
        FAIL() << nlohmann::json::parse("{");
    } catch (const std::exception &error) {
        EXPECT_EQ(ErrorText::describe(error), "Die Antwort ist nicht lesbar (kein gültiges JSON)");
    }
    EXPECT_EQ(ErrorText::describe(std::runtime_error("Ein fertiger Satz.")), "Ein fertiger Satz.");
}

} // namespace kestrel
