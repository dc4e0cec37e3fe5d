// Thousands of random inputs, the same ones each time, held against independent formulations of the
// rules.

#include "config/server_config.h"
#include "domain/domain_name.h"
#include "support.h"
#include "webalizer/frame_pages.h"

#include <algorithm>
#include <random>
#include <regex>
#include <set>

namespace
{

std::mt19937 generator(7);

std::string random_text(const std::string &alphabet, std::size_t most)
{
    std::string text;
    for (auto length = generator() % (most + 1); length > 0; --length) {
        text += alphabet[generator() % alphabet.size()];
    }
    return text;
}

// The value that begins at the front of the text: its end is where the marker stands when the scan stops.
std::string scan_value(const std::string &text)
{
    std::size_t end = 0;
    std::size_t marker = std::string::npos;
    for (; end < text.size() && text[end] != '#'; ++end) {
        const bool sets = std::isspace(static_cast<unsigned char>(text[end])) != 0 && marker == std::string::npos;
        marker = sets ? end : std::string::npos;
    }
    const std::string value = text.substr(0, std::min(end, marker));
    static const std::regex three_blanks("[^\\s][ \\t]{3}\n$");
    const bool drops_newline = std::regex_search(value, three_blanks);
    return drops_newline ? value.substr(0, value.size() - 1) : value;
}

} // namespace

using RandomInputs = InTempDir;

TEST_F(RandomInputs, ConfigurationLines)
{
    const std::regex definition(R"(^\s*([A-Za-z0-9_]+)\s+([^#\s][^]*)$)");
    ServerConfig config = {};
    for (int i = 0; i < 5000; ++i) {
        const std::string line = random_text("Ab_1  \t\r#=-\xe9", 14) + (generator() % 8 == 0 ? "" : "\n");
        write_file("file", line);
        std::smatch parts;
        const bool is_definition = std::regex_match(line, parts, definition);
        ASSERT_EQ(conf_parse_file("file", &config), 0);
        ASSERT_EQ(config.count, is_definition ? 1U : 0U) << line;
        if (is_definition) {
            ASSERT_EQ(config.entries[0].name, parts[1].str()) << line;
            ASSERT_EQ(config.entries[0].value, scan_value(parts[2].str())) << line;
            std::free(config.entries[0].name);
            std::free(config.entries[0].value);
            config.entries[0] = {};
            config.count = 0;
        }
    }
    std::free(config.entries);
}

TEST_F(RandomInputs, DomainNames)
{
    const std::regex label_rule("([a-zA-Z0-9][a-zA-Z0-9-]{0,61}[a-zA-Z0-9]|[a-zA-Z0-9])\\.");
    const std::regex last_rule("[a-zA-Z0-9][a-zA-Z0-9-]{0,62}");
    int valid = 0;
    for (int i = 0; i < 20000; ++i) {
        const bool is_long = generator() % 4 == 0;
        const std::string name = is_long ? random_text("aZ09aZ09aZ09aZ09aZ09-.", 300) : random_text("aZ09-._\xe9", 9);
        std::string rest = name;
        while (std::regex_search(rest, label_rule, std::regex_constants::match_continuous)) {
            rest.erase(0, rest.find('.') + 1);
        }
        const bool expected = name.size() <= 255 && std::regex_match(rest, last_rule);
        ASSERT_EQ(is_valid_domain_name(name.c_str()), expected) << name;
        valid += expected ? 1 : 0;
    }
    EXPECT_GT(valid, 2000);
}

TEST_F(RandomInputs, DirectoryNamesInThePage)
{
    std::string alphabet;
    for (int code = 1; code < 256; ++code) {
        alphabet += code == '/' ? "" : std::string(1, static_cast<char>(code));
    }
    std::set<std::string> names;
    fs::create_directory("s");
    for (int i = 0; i < 2000; ++i) {
        const std::string name = "x" + random_text(alphabet, 30);
        EXPECT_EQ(::mkdir(("s/" + name).c_str(), 0755) == 0, names.insert(name).second);
    }
    write_nav_page("s", "nav.html");
    std::string options;
    for (const std::string &name : names) {
        options.append("<option value='" + name + "'>").append(name + "</option>\n");
    }
    const std::string page = read_file("nav.html").substr(820);
    EXPECT_TRUE(page == options + "</select>\n\n</form>\n</body>\n</html>\n");
}
