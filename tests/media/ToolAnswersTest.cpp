#include "media/ToolAnswers.h"

#include <algorithm>
#include <fstream>

#include <gmock/gmock.h>

#include "support/Sandbox.h"
#include "support/StandIn.h"

namespace kestrel::test {
namespace {

using testing::ElementsAre;

// A program that has not changed for long, and answers whatever a script makes it say.
const fs::path shellProgram = "/bin/sh";

class ToolAnswersTest : public testing::Test {
protected:
    // A question that can be counted.
    ToolAnswers::Arguments question(const std::string &script) const
    {
        return {"-c", "echo asked >> " + quoted(folder / "log") + "\n" + script};
    }
    std::vector<std::string> ask(const std::vector<std::string> &scripts, Asking asking = Asking::unlessKnown,
                                 std::stop_token stop = {})
    {
        std::vector<ToolAnswers::Arguments> questions;
        for (const auto &script : scripts)
            questions.push_back(question(script));
        return ToolAnswers(file).ask(shellProgram, questions, asking, std::move(stop));
    }
    // How often the program has been run since the last call.
    std::ptrdiff_t asked() const
    {
        const std::string log = fs::exists(folder / "log") ? readFile(folder / "log") : "";
        fs::remove(folder / "log");
        return std::count(log.begin(), log.end(), '\n');
    }

    const Sandbox folder;
    fs::path file = folder / "caches/answers.json";
};

TEST_F(ToolAnswersTest, anUnchangedProgramIsNotAskedAgain)
{
    EXPECT_THAT(ask({"echo eins", "printf 'zwei\\377'"}), ElementsAre("eins\n", "zwei\uFFFD"));
    EXPECT_EQ(asked(), 2);
    EXPECT_THAT(ask({"printf 'zwei\\377'", "echo eins"}), ElementsAre("zwei\uFFFD", "eins\n"));
    EXPECT_EQ(asked(), 0);
    EXPECT_THAT(ask({"echo eins", "echo drei"}), ElementsAre("eins\n", "drei\n"));
    EXPECT_EQ(asked(), 2) << "a question that is new";
    EXPECT_THAT(names(file.parent_path()), ElementsAre("answers.json"));

    ask({"cat " + quoted(folder.write("answer", "alt"))});
    folder.write("answer", "neu");
    EXPECT_THAT(ask({"cat " + quoted(folder / "answer")}), ElementsAre("alt"));
    EXPECT_THAT(ask({"cat " + quoted(folder / "answer")}, Asking::again), ElementsAre("neu"));
    EXPECT_THAT(ask({"cat " + quoted(folder / "answer")}), ElementsAre("neu"));
    EXPECT_EQ(asked(), 2);
}

TEST_F(ToolAnswersTest, anotherProgramIsNotTakenForTheSame)
{
    const ToolAnswers answers(file);
    const Files::Attributes attributes = Files::attributes(shellProgram);
    const ToolAnswers::ByQuestion said{{{"-version"}, "7.1"}};
    answers.keep(folder.write("gone", ""), attributes, said);
    fs::remove(folder / "gone");
    answers.keep(shellProgram, attributes, said);
    EXPECT_EQ(answers.find(shellProgram, attributes), said);
    EXPECT_FALSE(answers.find("/bin/ls", attributes));
    EXPECT_FALSE(answers.find(folder / "gone", attributes)) << "a program that is gone is forgotten";
    for (const auto &change : std::vector<std::function<void(Files::Attributes &)>>{
             [](auto &other) { ++other.size; }, [](auto &other) { ++other.inode; },
             [](auto &other) { ++other.device; }, [](auto &other) { ++other.modified.tv_nsec; },
             [](auto &other) { ++other.changed.tv_nsec; }}) {
        Files::Attributes other = attributes;
        change(other);
        EXPECT_FALSE(answers.find(shellProgram, other));
    }
}

TEST_F(ToolAnswersTest, whatWentWrongOrMayChangeUnnoticedIsNotKept)
{
    for (const char *script : {"echo half; exit 1", "true", "echo half; kill -TERM $$"})
        for (int i = 0; i < 2; ++i) {
            ask({"echo gut", script});
            EXPECT_EQ(asked(), 2) << script;
        }
    std::stop_source stop;
    stop.request_stop();
    ask({"echo gut; sleep 5"}, Asking::unlessKnown, stop.get_token());
    ask({"echo gut"});
    asked();
    ask({"echo gut"});
    EXPECT_EQ(asked(), 0) << "a good answer counts later";

    const fs::path young = standIn(folder, "young", "echo asked >> " + quoted(folder / "log") + "; echo 1");
    for (int i = 0; i < 2; ++i)
        EXPECT_THAT(ToolAnswers(file).ask(young, {{"-version"}}, Asking::unlessKnown, {}),
                    ElementsAre("1\n"));
    EXPECT_EQ(asked(), 2) << "its next change might leave no trace";
}

TEST_F(ToolAnswersTest, isAsGoodAsNoneWhereItCannotBeUsed)
{
    const std::string whole = (ask({"echo gut"}), readFile(file));
    asked();
    using namespace std::string_literals;
    for (const std::string &damage :
         {""s, "{"s, "[]"s, whole.substr(0, whole.size() / 2),
          R"({"format":1,"programs":{"/bin/sh":{"identity":7}}})"s,
          std::string(whole).replace(whole.find("\"format\":1"), 10, "\"format\":2")}) {
        std::ofstream(file) << damage;
        EXPECT_THAT(ask({"echo gut"}), ElementsAre("gut\n"));
        EXPECT_EQ(asked(), 1) << damage;
        EXPECT_THAT(ask({"echo gut"}), ElementsAre("gut\n"));
        EXPECT_EQ(asked(), 0) << damage << ": made anew";
    }
    file = "/proc/self/caches/answers.json"; // where nobody can write
    for (int i = 0; i < 2; ++i)
        EXPECT_THAT(ask({"echo gut"}), ElementsAre("gut\n"));
    EXPECT_EQ(asked(), 2);
}

} // namespace
} // namespace kestrel::test
