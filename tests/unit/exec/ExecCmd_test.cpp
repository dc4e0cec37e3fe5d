#include "exec/ExecCmd.h"
#include "support.h"

static_assert(noexcept(std::declval<korvo::ExecCmd>().runNoThrow()), "what it can't raise ends the process");

TEST(ExecCmd, PassesArgumentsEnvironmentAndInput)
{
    korvo::ExecCmd command("sh");
    command.addArg("-c").addArg(R"(printf '%s|' "$0" "$@" "$A"; cat)").addArg("a b").addArg("").addArg("c\nd");
    command.setEnv("A", "first");
    command.setEnv("A", "second");
    command.setInput("input");
    EXPECT_TRUE(command.returnCode() == -1 && !command.isStarted());
    EXPECT_EQ(command.run(), 0);
    EXPECT_TRUE(command.isStarted() && command.isFinished());
    EXPECT_EQ(command.run(), 0); // output accumulates, the input is kept
    EXPECT_EQ(command.output(), "a b||c\nd|second|inputa b||c\nd|second|input");
    EXPECT_EQ(command.commandLine(), R"(sh -c printf\ \'%s\|\'\ \"\$0\"\ \"\$@\"\ \"\$A\"\;\ cat a\ b '' c'
'd)");
    EXPECT_TRUE(contains(korvo::ExecCmd("true").outputSummary(), "\nNo output on STDERR were performed"));
}

TEST(ExecCmd, TheFailureTellsWhatTheProgramReadAndWrote)
{
    const std::pair<const char *, const char *> cases[] = {
        {"cat; printf 'e%%1%%\\n' >&2; exit 4", "4.\nStdin is\nin\nStdout is\nin\nStderr is\ne%1%\n"},
        {"cat >/dev/null; kill -9 $$", "-1.\nStdin is\nin\n"},
    };
    for (const auto &[script, ending] : cases) {
        korvo::ExecCmd command("sh");
        command.addArg("-c").addArg(script);
        command.setInput("in");
        try {
            command.run();
            ADD_FAILURE() << script;
        } catch (const korvo::ExecCmd::ExFailed &failure) {
            EXPECT_EQ(failure.what(), "Execution of " + command.commandLine() + " failed with return code " + ending);
            EXPECT_EQ(failure.code(), 30);
            EXPECT_EQ(command.returnCode(), command.runNoThrow());
            EXPECT_TRUE(contains(command.outputSummary(), command.output()));
        }
    }
}
