#include "config/server_config.h"
#include "support.h"
#include "util/report.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <memory>

namespace
{

struct FreeConfig {
    void operator()(ServerConfig *config) const { conf_free(config); }
};

std::unique_ptr<ServerConfig, FreeConfig> new_config()
{
    return std::unique_ptr<ServerConfig, FreeConfig>(
        static_cast<ServerConfig *>(std::calloc(1, sizeof(ServerConfig))));
}

// Shows the messages of priority 12, too, on the console.
void show_all_messages()
{
    log_setup("console", 12, 16, 0, "tests");
}

} // namespace

class ServerConfigFile : public InTempDir
{
};

TEST_F(ServerConfigFile, LinesAndValues)
{
    const std::string expected_space = "\nExpected a space after variable name\n\n";
    const std::string expected_value = "\nExpected a value\n";
    const struct {
        std::string line;
        std::string value; // of the setting NAME; "-" for none
        std::string message;
    } cases[] = {
        {"NAME value\n", "value", ""},
        {"NAME value \n", "value \n", ""},
        {"NAME value  \n", "value  ", ""},
        {"NAME value   \n", "value   ", ""},
        {"NAME value    \n", "value    ", ""},
        {"NAME value", "value", ""},
        {" \tNAME \t value\n", "value", ""},
        {"NAME two words \t here\n", "two words \t here", ""},
        {"NAME val#ue\n", "val", ""},
        {"NAME value # comment\n", "value", ""},
        {"NAME value  # comment\n", "value  ", ""},
        {"NAME =x\n", "=x", ""},
        {"NAME first\nNAME second\n", "second", ""},
        {"NAME " + std::string(9000, 'v') + "\n", std::string(9000, 'v'), ""},
        {"# NAME value\n\n   \n\t#\n", "-", ""},
        {"NAME=value\nNAME good\n", "good",
         "Invalid variable definition NAME=value\n" + expected_space},
        {"NA-ME value\n", "-", "Invalid variable definition NA-ME value\n" + expected_space},
        {" -x\n", "-", "Invalid variable definition -x\n" + expected_space},
        {"NAME", "-", "Invalid variable definition NAME" + expected_space},
        {"NAME\n", "-", "Invalid variable definition NAME\n" + expected_value},
        {"NAME # none\n", "-", "Invalid variable definition NAME # none\n" + expected_value},
    };
    for (const auto &row : cases) {
        write_file("file", row.line);
        const Outcome outcome = in_child([&] {
            show_all_messages();
            const auto config = new_config();
            ASSERT_EQ(conf_parse_file("file", config.get()), 0);
            ASSERT_EQ(config->count, row.value == "-" ? 0U : 1U) << row.line;
            if (config->count == 1) {
                EXPECT_STREQ(config->entries[0].name, "NAME");
                EXPECT_EQ(config->entries[0].value, row.value) << row.line;
            }
        });
        EXPECT_EQ(outcome.err, row.message);
    }
}

TEST_F(ServerConfigFile, GrowsAndSorts)
{
    std::string text;
    for (int i = 0; i < 50; ++i) {
        text += "K" + std::to_string((i * 37) % 50) + " v" + std::to_string(i) + "\n";
    }
    write_file("file", text + text);
    const auto config = new_config();
    ASSERT_EQ(conf_parse_file("file", config.get()), 0);
    EXPECT_EQ(config->count, 50U);
    EXPECT_EQ(config->capacity, 80U);
    EXPECT_NE(config->sorted, 0);
    for (unsigned i = 1; i < config->count; ++i) {
        EXPECT_LT(std::strcmp(config->entries[i - 1].name, config->entries[i].name), 0);
    }
    EXPECT_EQ(config->entries[79].name, nullptr);
    conf_free(nullptr);
}

TEST_F(ServerConfigFile, UnreadableFilesAreReportedWithErrnoKept)
{
    ::mkdir("directory", 0755);
    const struct {
        const char *path;
        int error_number;
        const char *message;
    } cases[] = {
        {"missing", ENOENT,
         "unable to open configuration file missing: No such file or directory\n\n"},
        {"directory", EISDIR, "Unable to read configuration file: Is a directory\n"},
    };
    for (const auto &row : cases) {
        const Outcome outcome = in_child([&] {
            show_all_messages();
            const auto config = new_config();
            EXPECT_EQ(conf_parse_file(row.path, config.get()), -1);
            EXPECT_EQ(errno, row.error_number);
        });
        EXPECT_EQ(outcome.out, row.message);
    }
}

TEST_F(ServerConfigFile, LookupFallsBackToTheDefaults)
{
    write_file("etc/zut/zut.conf", "WEB_STAT /opt/w\nOTHER o\nMYSQL_BIN_D\n");
    const Outcome outcome = in_child([] {
        EXPECT_STREQ(conf_get(WEB_STAT), "/opt/w");
        EXPECT_EQ(conf_get(WEB_STAT), conf_get_by_name("WEB_STAT"));
        EXPECT_STREQ(conf_get(17), "/opt/w");
        EXPECT_STREQ(conf_get(25), "/srv/www/vhosts");
        EXPECT_STREQ(conf_get_by_name("MYSQL_BIN_D"), "/usr/bin");
        EXPECT_STREQ(conf_lookup("OTHER"), "o");
        EXPECT_EQ(conf_lookup("MYSQL_BIN_D"), nullptr);
        EXPECT_EQ(conf_get_by_name("OTHER"), nullptr);
        EXPECT_EQ(conf_get_by_name("_MAX_POSSIBLE_ZUT_CONF_VAR_NAME"), nullptr);
    });
    EXPECT_EQ(outcome.err, "variable 'OTHER' was found neither in etc/zut/zut.conf, nor in "
                           "compile-time defaults\n"
                           "variable '_MAX_POSSIBLE_ZUT_CONF_VAR_NAME' was found neither in "
                           "etc/zut/zut.conf, nor in compile-time defaults\n");
}

TEST_F(ServerConfigFile, AFailedLoadIsTriedAgainSilently)
{
    const Outcome outcome = in_child([] {
        EXPECT_STREQ(conf_get(HTTPD_VHOSTS_D), "/srv/www/vhosts");
        write_file("etc/zut/zut.conf", "HTTPD_VHOSTS_D /var/www/vhosts\n");
        EXPECT_STREQ(conf_get(HTTPD_VHOSTS_D), "/var/www/vhosts");
        write_file("etc/zut/zut.conf", "HTTPD_VHOSTS_D /other\n");
        EXPECT_STREQ(conf_get(HTTPD_VHOSTS_D), "/var/www/vhosts");
    });
    EXPECT_EQ(outcome.out + outcome.err, "");
}
