#include "exec/ExecCmd.h"
#include "support.h"

#include <csignal>
#include <type_traits>

static_assert(!std::is_copy_constructible_v<korvo::ExecCmd>, "it owns raw strings");
static_assert(!std::is_copy_assignable_v<korvo::ExecCmd>, "it owns raw strings");

namespace
{

// Gives itself away by its arguments, environment and input, and ends with the code in $CODE.
const char *const script = R"(printf '%s|' "$0" "$@" "$A"; cat; exit $CODE)";

std::string failure_of(korvo::ExecCmd &command)
{
    try {
        command.run();
    } catch (const korvo::ExecCmd::ExFailed &failure) {
        EXPECT_EQ(failure.code(), 30);
        EXPECT_STREQ(static_cast<const std::runtime_error &>(failure).what(), failure.what());
        return failure.what();
    }
    return "none";
}

} // namespace

TEST(ExecCmd, PassesArgumentsEnvironmentAndInput)
{
    korvo::ExecCmd command("sh");
    EXPECT_EQ(command.returnCode(), -1);
    command.addArg("-c").addArg(script).addArg("a b").addArg("").addArg("c\nd");
    command.setEnv("A", "first");
    command.setEnv("A", "second");
    command.setEnv("CODE", "0");
    command.setInput("input");
    EXPECT_FALSE(command.isStarted());
    EXPECT_EQ(command.run(), 0);
    EXPECT_TRUE(command.isStarted() && command.isFinished());
    EXPECT_EQ(command.output(), "a b||c\nd|second|input");
    EXPECT_EQ(command.run(), 0); // output accumulates, the input is kept
    EXPECT_EQ(command.output(), "a b||c\nd|second|inputa b||c\nd|second|input");
}

TEST(ExecCmd, CommandLineIsEscaped)
{
    korvo::ExecCmd command("/opt/my tools/x");
    EXPECT_EQ(command.commandLine(), "/opt/my\\ tools/x");
    command.addArg("").addArg("-config=my site").addArg("a\nb");
    EXPECT_EQ(command.commandLine(), "/opt/my\\ tools/x '' -config=my\\ site a'\n'b");
}

TEST(ExecCmd, TheFailureTellsWhatTheProgramReadAndWrote)
{
    const struct {
        const char *code;
        const char *script;
        const char *input;
        const char *ending;
    } cases[] = {
        {"2", "true", "", "2.\n"},
        {"3", "echo out", "", "3.\nStdout is\nout\n"},
        {"4", "cat; printf err >&2", "in", "4.\nStdin is\nin\nStdout is\nin\nStderr is\nerr\n"},
        {"5", "printf 'e%%1%%\\n' >&2", "", "5.\nStderr is\ne%1%\n"},
    };
    for (const auto &row : cases) {
        korvo::ExecCmd command("sh");
        command.addArg("-c").addArg(std::string(row.script) + ";exit " + row.code);
        command.setInput(row.input);
        EXPECT_EQ(failure_of(command), "Execution of " + command.commandLine() +
                                           " failed with return code " + row.ending);
        EXPECT_EQ(std::to_string(command.returnCode()), row.code);
    }
    korvo::ExecCmd killed("sh");
    killed.addArg("-c").addArg("kill -9 $$");
    EXPECT_NE(failure_of(killed).find("failed with return code -1.\n"), std::string::npos);
}

TEST(ExecCmd, ReturnCodesAreNoFailureWithoutRun)
{
    korvo::ExecCmd command("sh");
    command.addArg("-c").addArg("echo out; echo err >&2; exit 6");
    EXPECT_EQ(command.runNoThrow(), 6);
    EXPECT_EQ(
        command.outputSummary(),
        "The return code was  \nThe output on STDOUT was: \nout\n \nThe output on STDERR was: "
        "\nerr\n");
    EXPECT_EQ(
        korvo::ExecCmd("true").outputSummary(),
        "The return code was  \nNo output on STDOUT were performed by the utility \nNo output "
        "on STDERR were performed by the utility");
    korvo::ExecCmd fine("sh");
    fine.addArg("-c").addArg("echo warning >&2");
    EXPECT_EQ(failure_of(fine), "none");
}

TEST(ExecCmd, RunNoThrowEndsTheProcessWhereRunThrows)
{
    const auto run_twice = [] {
        korvo::ExecCmd command("true");
        command.setInput(std::string(1U << 20, 'x'));
        EXPECT_THROW(command.run(), std::runtime_error);
        command.runNoThrow();
    };
    in_child(run_twice, -SIGABRT);
}
