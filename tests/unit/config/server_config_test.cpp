#include "config/server_config.h"
#include "support.h"
#include "util/report.h"

namespace
{

// Reads the file, with the messages of all priorities shown on the console; then prints the settings.
Outcome parse(const char *path, int expected_error = 0)
{
    return in_child([&] {
        log_setup("console", 12, 16, 0, "tests");
        auto *const config = static_cast<ServerConfig *>(std::calloc(1, sizeof(ServerConfig)));
        EXPECT_EQ(conf_parse_file(path, config), expected_error == 0 ? 0 : -1);
        EXPECT_TRUE(expected_error == 0 || errno == expected_error);
        for (unsigned i = 0; i < config->count; ++i) {
            std::printf("%s=%s|", config->entries[i].name, config->entries[i].value);
        }
        conf_free(config);
    });
}

} // namespace

using ServerConfigFile = InTempDir;

TEST_F(ServerConfigFile, LinesAndValues)
{
    const std::string invalid = "Invalid variable definition ";
    const std::string expected_space = "\nExpected a space after variable name\n\n";
    const std::string expected_value = "\nExpected a value\n";
    std::string many;
    std::string sorted;
    for (int i = 10; i < 90; ++i) {
        many.insert(0, "K" + std::to_string(i) + " v\n");
        sorted += "K" + std::to_string(i) + "=v|";
    }
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {many + many, sorted, ""},
        {"NAME value \n", "NAME=value \n|", ""},
        {"NAME value  \n", "NAME=value  |", ""},
        {"NAME value   \n", "NAME=value   |", ""},
        {"NAME value  \r\n", "NAME=value  \r\n|", ""},
        {"NAME value", "NAME=value|", ""},
        {"NAME value # comment\n", "NAME=value|", ""},
        {" \tNAME \t two words \t here\n", "NAME=two words \t here|", ""},
        {"NAME " + std::string(9000, 'v') + "\n", "NAME=" + std::string(9000, 'v') + "|", ""},
        {"# NAME value\n\n   \n\t#\n", "", ""},
        {"NAME=value\nNAME good\n", "NAME=good|", invalid + "NAME=value\n" + expected_space},
        {"NA-ME value\n", "", invalid + "NA-ME value\n" + expected_space},
        {"NAME", "", invalid + "NAME" + expected_space},
        {"NAME # none\n", "", invalid + "NAME # none\n" + expected_value},
    };
    for (const auto &[text, settings, messages] : cases) {
        write_file("file", text);
        expect_outcome(parse("file"), messages + settings, messages);
    }
}

TEST_F(ServerConfigFile, UnreadableFilesAreReportedWithErrnoKept)
{
    EXPECT_EQ(parse("missing", ENOENT).out, "unable to open configuration file missing: No such file or directory\n\n");
    EXPECT_EQ(parse(".", EISDIR).out, "Unable to read configuration file: Is a directory\n");
}

TEST_F(ServerConfigFile, LookupFallsBackToTheDefaults)
{
    const Outcome outcome = in_child([] {
        EXPECT_STREQ(conf_get(HTTPD_VHOSTS_D), "/srv/www/vhosts"); // without a word about the missing file
        write_file("etc/zut/zut.conf", "WEB_STAT /no\nWEB_STAT /opt/w\nOTHER o\nMYSQL_BIN_D\n");
        EXPECT_STREQ(conf_get(17), "/opt/w");
        EXPECT_STREQ(conf_get(AWSTATS_BIN_D), "/srv/www/cgi-bin/awstats");
        EXPECT_STREQ(conf_get_by_name("MYSQL_BIN_D"), "/usr/bin");
        EXPECT_STREQ(conf_lookup("OTHER"), "o");
        EXPECT_EQ(conf_lookup("MYSQL_BIN_D"), nullptr);
        EXPECT_EQ(conf_get_by_name("OTHER"), nullptr);
    });
    const std::string neither = "' was found neither in etc/zut/zut.conf, nor in compile-time defaults\n";
    EXPECT_EQ(outcome.err, "variable 'OTHER" + neither);
}
