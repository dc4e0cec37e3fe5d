#include "config/server_config.h"
#include "domain/domain_name.h"
#include "support.h"

// Runs bash, which has read the completion.
class Completion : public InTempDir
{
protected:
    static std::string in_bash(const std::string &script)
    {
        const std::string read = ". '" COMPLETION "'; _statistics_run_config=etc/zut/zut.conf; ";
        const Outcome outcome = run_program({"bash", "-c", read + script});
        EXPECT_EQ(outcome.err, "");
        return outcome.out;
    }

    // What is offered after the words, the last of which is to be completed.
    static std::string offered(const std::string &words, const std::string &settings = ":")
    {
        return in_bash("COMP_WORDS=(" + words + "); " + settings + R"(; COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
            "_${COMP_WORDS[0]}" '' "${COMP_WORDS[-1]}" "${COMP_WORDS[-2]}"; printf '<%s>' "${COMPREPLY[@]}")");
    }
};

TEST_F(Completion, OffersOptionsAndTheDomainsThatTheOptionTakesWhateverTheShellIsSetTo)
{
    write_file("etc/zut/zut.conf", "HTTPD_VHOSTS_D v\n");
    std::string taken;
    for (const std::string name :
         {"$(touch hit)", "*", "--help", "UPPER.Case", "a-.b", "a.b-", "shop.example", "sound.example", "two\nlines"}) {
        fs::create_directories("v/system/" + name + "/logs");
        taken += is_valid_domain_name(name.c_str()) ? "<" + name + ">" : "";
    }
    fs::create_directories("v/system/second.example/conf");
    const std::string domains = "statistics_run --calculate-domain ";
    const std::pair<std::string, std::string> cases[] = {
        {"statistics_run ''", "<--calculate-domain><--help><-h>"},
        {domains + "''", taken},
        {domains + "s", "<shop.example><sound.example>"},
        {domains + "= so", "<sound.example>"},
        {"statistics_run --calculate-domain=so", "<--calculate-domain=sound.example>"},
        {domains + "../system/", "<>"},
        {"statistics_admin add --log = x", "<xferlog=><xferlog_regular=>"},
        {"statistics_admin add --log proxy_access_log = et", "<etc>"},
        {"statistics_admin rebuild --stale sh", "<shop.example>"},
    };
    for (const char *const settings :
         {"set -fu", "shopt -s failglob nocaseglob nocasematch", "GLOBIGNORE='*' IFS=.e", "shopt -s nullglob"}) {
        for (const auto &[words, expected] : cases) {
            EXPECT_EQ(offered(words, settings), expected) << settings;
        }
    }
    EXPECT_FALSE(exists("hit"));
}

TEST_F(Completion, OffersTheCommandsAndOptionsThatTheHelpTells)
{
    const auto told = [](const std::string &command, const std::string &pattern) {
        const std::string list = " --help | sed -n 's/" + pattern + "/<\\1>/p' | sort | tr -d '\\n'";
        return in_bash(STATISTICS_ADMIN " " + command + list);
    };
    EXPECT_EQ(offered("statistics_admin ''"), told("", "^  \\([a-z]*\\) .*") + "<--help><--version>");
    for (const std::string command : {"add", "check", "list", "rebuild", "remove", "setup"}) {
        EXPECT_EQ(offered("statistics_admin " + command + " --"), told(command, "^  .*\\(--[a-z]*\\).*"));
    }
}

TEST_F(Completion, FindsTheDirectoryThatTheProgramFinds)
{
    for (const std::string ending :
         {"", " \n", "  \n", "    \n", "  ", "#\n", "  # root\n", "\r\n", "\nHTTPD_VHOSTS_D\n", " $(touch hit)*\n"}) {
        write_file("etc/zut/zut.conf", "#HTTPD_VHOSTS_D /c\nHTTPD_VHOSTS_D /w\n \tHTTPD_VHOSTS_D /v" + ending);
        const std::string root = in_child([] { std::printf("%s", conf_get(HTTPD_VHOSTS_D)); }).out;
        EXPECT_EQ(in_bash("_statistics_run_directory"), root + "/system/");
    }
    EXPECT_FALSE(exists("hit"));
}
