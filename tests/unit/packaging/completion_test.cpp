#include "config/server_config.h"
#include "domain/domain_name.h"
#include "support.h"

#include <algorithm>
#include <random>

// Asks bash for completions, with the words of a command line as Readline splits them.
class Completion : public InTempDir
{
protected:
    Completion() { configure("HTTPD_VHOSTS_D " + root() + "/v\n"); }

    static void configure(const std::string &text) { write_file("etc/zut/zut.conf", text); }

    // What bash does with the script after it has read the completion.
    static Outcome in_bash(const std::string &script, const std::vector<std::string> &arguments = {})
    {
        std::vector<std::string> words = {
            "bash", "-c", ". '" COMPLETION "'; _statistics_run_config=etc/zut/zut.conf; " + script, "bash"};
        words.insert(words.end(), arguments.begin(), arguments.end());
        return run_program(words);
    }

    // The completions of the last word, a line each, in byte-wise order.
    static std::string offered(const std::vector<std::string> &words, const std::string &settings = "")
    {
        const Outcome outcome = in_bash("program=statistics_run\n" + settings + R"(
            COMP_WORDS=("$program" "$@")
            COMP_CWORD=$#
            "_$program" "$program" "${COMP_WORDS[-1]}" "${COMP_WORDS[-2]}"
            [[ ${#COMPREPLY[@]} -eq 0 ]] || printf '%s\n' "${COMPREPLY[@]}" | LC_ALL=C sort)",
                                        words);
        EXPECT_EQ(outcome.err, "");
        EXPECT_EQ(outcome.status, 0);
        return outcome.out;
    }

    static void make_domain(const std::string &name) { fs::create_directories("v/system/" + name + "/logs"); }
};

TEST_F(Completion, OffersTheOptions)
{
    EXPECT_EQ(offered({""}), "--calculate-domain\n--help\n-h\n");
    EXPECT_EQ(offered({"--"}), "--calculate-domain\n--help\n");
    EXPECT_EQ(offered({"--help", "--calc"}), "--calculate-domain\n");
    EXPECT_EQ(offered({"shop.example"}), "");
}

TEST_F(Completion, OffersWhatStatisticsAdminTakes)
{
    make_domain("shop.example");
    const std::pair<std::vector<std::string>, const char *> cases[] = {
        {{"re"}, "rebuild\nremove\n"},
        {{"add", "--l"}, "--log\n"},
        {{"add", "--log", "x"}, "xferlog=\nxferlog_regular=\n"},
        {{"add", "--generator", "=", "w"}, "webalizer\n"},
        {{"add", ""}, "--generator\n--help\n--log\n--months\n--service\n"},
        {{"rebuild", "--stale", ""}, "shop.example\n"},
        {{"check", "--prometheus", "et"}, "etc\n"},
    };
    for (const auto &[words, completions] : cases) {
        EXPECT_EQ(offered(words, "program=statistics_admin"), completions);
    }
}

TEST_F(Completion, OffersTheDomainsThatHaveLogs)
{
    make_domain("shop.example");
    make_domain("sound.example");
    make_domain("blog.example");
    fs::create_directories("v/system/second.example/conf");
    write_file("v/system/simple.example/logs", "");
    write_file("v/system/some.txt", "");
    fs::create_directory_symlink("blog.example", "v/system/weblog.example");
    EXPECT_EQ(offered({"--calculate-domain", ""}), "blog.example\nshop.example\nsound.example\nweblog.example\n");
    EXPECT_EQ(offered({"--calculate-domain", "s"}), "shop.example\nsound.example\n");
    EXPECT_EQ(offered({"--calculate-domain", "shop.example"}), "shop.example\n");
    EXPECT_EQ(offered({"--calculate-domain", "*"}), "");
    EXPECT_EQ(offered({"--calculate-domain", "../system/"}), "");
    EXPECT_EQ(offered({"--calculate-domain", "=", "so"}), "sound.example\n");
    EXPECT_EQ(offered({"--calculate-domain=so"}), "--calculate-domain=sound.example\n");
    EXPECT_EQ(offered({"--calculate-domain="}).substr(0, 32), "--calculate-domain=blog.example\n");
    EXPECT_EQ(offered({"--other", "=", "so"}), "");
}

TEST_F(Completion, OffersTheNamesThatTheOptionTakes)
{
    std::vector<std::string> names = {"$(touch hit)",
                                      "`touch hit`",
                                      "; touch hit",
                                      "-h",
                                      "--help",
                                      "*",
                                      "[a-z]",
                                      "~",
                                      "two words",
                                      "two\nlines",
                                      "\\",
                                      "a.b-",
                                      "a-.b",
                                      "UPPER.Case",
                                      "under_score",
                                      std::string(63, 'a') + ".b",
                                      std::string(64, 'a') + ".b",
                                      "\xc3\xa4.example"};
    std::mt19937 random(1);
    const std::string alphabet = "aZ0..--_\n";
    for (int count = 0; count < 500; ++count) {
        std::string name = "x";
        for (auto length = random() % 7; length > 0; --length) {
            name += alphabet[random() % alphabet.size()];
        }
        names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    std::string taken;
    for (const std::string &name : names) {
        make_domain(name);
        taken += is_valid_domain_name(name.c_str()) ? name + "\n" : "";
    }
    EXPECT_EQ(offered({"--calculate-domain", ""}), taken);
    EXPECT_FALSE(exists("hit"));
}

TEST_F(Completion, FindsTheDirectoryThatTheProgramFinds)
{
    for (const char *const text : {"",
                                   "\n",
                                   "HTTPD_VHOSTS_D /v\n",
                                   "HTTPD_VHOSTS_D /v",
                                   "HTTPD_VHOSTS_D /v \n",
                                   "HTTPD_VHOSTS_D /v  \n",
                                   "HTTPD_VHOSTS_D /v   \n",
                                   "HTTPD_VHOSTS_D /v    \n",
                                   "HTTPD_VHOSTS_D /v ",
                                   "HTTPD_VHOSTS_D /v   ",
                                   "HTTPD_VHOSTS_D /v    ",
                                   "HTTPD_VHOSTS_D /v#\n",
                                   "HTTPD_VHOSTS_D /v # root\n",
                                   "HTTPD_VHOSTS_D /v  # root\n",
                                   " \tHTTPD_VHOSTS_D\t \t/v w\t\n",
                                   "#HTTPD_VHOSTS_D /v\n",
                                   "HTTPD_VHOSTS_D\n",
                                   "HTTPD_VHOSTS_D #\n",
                                   "HTTPD_VHOSTS_D=/v\n",
                                   "XHTTPD_VHOSTS_D /v\n",
                                   "HTTPD_VHOSTS_DX /v\n",
                                   "httpd_vhosts_d /v\n",
                                   "HTTPD_VHOSTS_D /v\nHTTPD_VHOSTS_D /w\nPRODUCT_ROOT_D /p\n",
                                   "HTTPD_VHOSTS_D /v\nHTTPD_VHOSTS_D\n",
                                   "HTTPD_VHOSTS_D $(touch hit)*\n",
                                   "HTTPD_VHOSTS_D /v\r\n"}) {
        configure(text);
        const std::string root = in_child([] { std::printf("%s", conf_get(HTTPD_VHOSTS_D)); }).out;
        expect_outcome(in_bash("_statistics_run_directory"), root + "/system/", "");
    }
    fs::remove("etc/zut/zut.conf");
    expect_outcome(in_bash("_statistics_run_directory"), "/srv/www/vhosts/system/", "");
    EXPECT_FALSE(exists("hit"));
}

TEST_F(Completion, WorksWhateverTheShellIsSetTo)
{
    make_domain("shop.example");
    make_domain("blog.example");
    for (const char *const settings :
         {"set -f", "set -u", "set -o posix", "shopt -s failglob", "shopt -s nullglob",
          "shopt -s nocaseglob nocasematch", "GLOBIGNORE='*'", "IFS=.e", "LC_ALL=C.UTF-8"}) {
        EXPECT_EQ(offered({"--calculate-domain", "s"}, settings), "shop.example\n") << settings;
        EXPECT_EQ(offered({"--calculate-domain", "S"}, settings), "") << settings;
        EXPECT_EQ(offered({"--h"}, settings), "--help\n") << settings;
    }
}

TEST_F(Completion, OffersNoDomainsToThoseWhoMayNotSeeThem)
{
    make_domain("shop.example");
    fs::permissions("v/system", fs::owner_all);
    const std::string as_nobody =
        "setpriv --reuid=65534 --clear-groups bash -c "
        "\"$(declare -f; declare -p _statistics_run_config); id -u; _statistics_run_domains ''\"";
    expect_outcome(in_bash(as_nobody), "65534\n", "");
    EXPECT_EQ(offered({"--calculate-domain", ""}), "shop.example\n");
}
