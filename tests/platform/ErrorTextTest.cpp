#include "platform/ErrorText.h"

#include <new>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace kestrel {

namespace {

const auto denied = std::make_error_code(std::errc::permission_denied);
const auto missing = std::make_error_code(std::errc::no_such_file_or_directory);

} // namespace

TEST(ErrorText, isGerman)
{
    for (const auto &[reason, text] :
         {std::pair(std::errc::permission_denied, "Keine Berechtigung"),
          {std::errc::no_space_on_device, "Kein Speicherplatz mehr frei"},
          {std::errc::read_only_file_system, "Der Datenträger ist schreibgeschützt"},
          {std::errc::protocol_error, "Systemfehler 71 ("}})
        EXPECT_TRUE(ErrorText::describe(std::make_error_code(reason)).starts_with(text)) << text;
}

TEST(ErrorText, namesTheFileThatTheErrorIsAbout)
{
    using std::filesystem::filesystem_error;
    const std::string text = "Datei oder Ordner ist nicht vorhanden";
    EXPECT_EQ(ErrorText::describe(filesystem_error("stat", "/filme/Gr\xfc\xdf\x65.mkv", missing)),
              text + ": „/filme/Gr\uFFFD\uFFFDe.mkv“");
    EXPECT_EQ(ErrorText::describe(filesystem_error("stat", missing)), text);
    EXPECT_EQ(ErrorText::reason(filesystem_error("stat", "/filme/Film.mkv", missing)), text);
}

TEST(ErrorText, hidesTheLibrarysWords)
{
    EXPECT_EQ(ErrorText::describe(std::system_error(denied, "execv")), "Keine Berechtigung");
    EXPECT_EQ(ErrorText::describe(std::bad_alloc()), "Nicht genügend Arbeitsspeicher");
    EXPECT_EQ(ErrorText::describe(std::runtime_error("Ein fertiger Satz.")), "Ein fertiger Satz.");
    try {
        FAIL() << nlohmann::json::parse("{");
    } catch (const std::exception &error) {
        EXPECT_EQ(ErrorText::describe(error), "Die Antwort ist nicht lesbar (kein gültiges JSON)");
    }
}

} // namespace kestrel
