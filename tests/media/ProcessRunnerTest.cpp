#include "media/ProcessRunner.h"

#include <csignal>
#include <system_error>
#include <thread>

#include <gtest/gtest.h>

#include "support/Sandbox.h"

namespace kestrel {

namespace {

ProcessOutput sh(const std::string &script, std::stop_token stop = {})
{
    return ProcessRunner::run("/bin/sh", {"-c", script}, std::move(stop));
}

} // namespace

TEST(ProcessRunner, readsBothPipesAtOnce)
{
    const ProcessOutput output =
        sh("head -c 3000000 /dev/zero >&2; head -c 2000000 /dev/zero; head -c 1000000 /dev/zero >&2");
    EXPECT_EQ(output.standardOutput.size(), 2'000'000U);
    EXPECT_EQ(output.standardError.size(), 4'000'000U);
}

TEST(ProcessRunner, returnsTheStatusAndTheErrorTextRepaired)
{
    const ProcessOutput output = sh("printf ' Gr\\374n \\303\\274 ' >&2; exit 3");
    EXPECT_EQ(output.status, 3);
    EXPECT_EQ(output.errorText(), " Gr\uFFFDn ü ");
}

TEST(ProcessRunner, stopsTheChildAndReturnsWhatItWrote)
{
    const test::Sandbox sandbox;
    const auto started = sandbox / "started";
    std::stop_source source;
    std::jthread stopper([&] {
        while (!test::fs::exists(started))
            std::this_thread::yield();
        source.request_stop();
    });
    const ProcessOutput output =
        sh("echo halb; touch " + test::quoted(started) + "; sleep 30; echo ganz", source.get_token());
    EXPECT_EQ(output.status, 128 + SIGTERM);
    EXPECT_EQ(output.standardOutput, "halb\n");
    // What is stopped beforehand does not get far either.
    EXPECT_EQ(sh("sleep 30", source.get_token()).status, 128 + SIGTERM);
}

TEST(ProcessRunner, throwsOnlyWhenTheProgramCannotBeStarted)
{
    const test::Sandbox sandbox;
    const auto codeOf = [](const test::fs::path &program) {
        try {
            ProcessRunner::run(program, {}, {});
        } catch (const std::system_error &error) {
            return error.code();
        }
        return std::error_code();
    };
    EXPECT_EQ(codeOf(sandbox / "missing"), std::errc::no_such_file_or_directory);
    EXPECT_EQ(codeOf(sandbox.write("text", "not a program")), std::errc::permission_denied);
}

} // namespace kestrel
