#include "support.h"

#include <boost/filesystem.hpp>

#include <cstdlib>

namespace fs = boost::filesystem;

// Runs the adapter of AWStats' page builder with a stand-in for the page builder, which prints its
// arguments and ends in the given way.
class BuilderAdapter : public InTempDir
{
protected:
    const std::string adapter = BUILDER_ADAPTER;
    const std::string said = R"(print "Main HTML page is 'awstats.a-http.html'.\n";)";
    const std::string made = "open F, '>', 'out dir//awstats.a-http.html'; print F 1; " + said;

    BuilderAdapter()
    {
        fs::create_directory("out dir");
        use_builder("stock.pl");
    }
    ~BuilderAdapter() override { ::unsetenv("AWSTATS_STOCK_BUILDER"); }

    static void use_builder(const char *path) { ::setenv("AWSTATS_STOCK_BUILDER", path, 1); }

    Outcome run(const std::string &ending, std::vector<std::string> words) const
    {
        write_file("stock.pl", R"(print map({ "[$_]" } @ARGV), "\n"; print STDERR 'complained'; )" + ending);
        words.insert(words.begin(), adapter);
        return run_program(words);
    }
};

TEST_F(BuilderAdapter, FormsOfOptions)
{
    const std::string common = "[-Config=a-http][-dir=out dir//]";
    const struct {
        std::vector<std::string> words;
        std::string received;
    } rows[] = {
        {{"-month=2", "-year=2026"}, "[-month=02][-year=2026]"},
        {{"-month", "2", "-year", "2026"}, "[-month=02][-year=2026]"},
        {{"-month", "12", "-awstatsprog", "/a b/x.pl"}, "[-month=12][-awstatsprog=/a b/x.pl]"},
        {{"--month", "all", "-Month=9"}, "[--month=all][-Month=09]"},
        {{"-update", "-month=all", "-lang", "-x"}, "[-update][-month=all][-lang=-x]"},
        {{"-builddate", "-buildpdf=/bin/x", "-diricons", ""}, "[-builddate][-buildpdf=/bin/x][-diricons=]"},
    };
    for (const auto &row : rows) {
        std::vector<std::string> words = {"-Config", "a-http", "-dir=out dir//"};
        words.insert(words.end(), row.words.begin(), row.words.end());
        const Outcome outcome = run(made, words);
        EXPECT_EQ(outcome.out.substr(0, outcome.out.find('\n')), common + row.received);
        EXPECT_EQ(outcome.err, "complained");
        EXPECT_EQ(outcome.status, 0);
    }
}

TEST_F(BuilderAdapter, EndsThatAreFailures)
{
    const struct {
        std::string ending;
        int status;
        const char *message;
    } rows[] = {
        {said, 1, "/awstats.a-http.html is empty or missing\n"},
        {made + "exit 3", 3, "complained"},
        {made + "kill 9, $$", 128 + 9, "complained"},
        {"exit 0", 1, "the pages of a-http are not made, or not all of them"},
        {R"(print "Main HTML page is 'awstats.b.html'.\n";)", 1, "the pages of a-http are not made"},
    };
    for (const auto &row : rows) {
        const Outcome outcome = run(row.ending, {"-config", "a-http", "-dir", "out dir//"});
        EXPECT_EQ(outcome.status, row.status) << row.ending;
        EXPECT_NE(outcome.err.find(row.message), std::string::npos) << outcome.err;
    }
    EXPECT_NE(run(made, {"-dir", "out dir"}).err.find("there is no -config\n"), std::string::npos);
    EXPECT_NE(run(made, {"-config"}).err.find("-config has no value\n"), std::string::npos);
}

TEST_F(BuilderAdapter, TheAdapterIsNoPageBuilder)
{
    fs::create_symlink(adapter, "link.pl");
    write_file("copy.pl", read_file(adapter));
    const std::string named = "AWSTATS_STOCK_BUILDER names no page builder of AWStats: ";
    for (const char *const path : {"missing.pl", "out dir", "link.pl", "copy.pl"}) {
        use_builder(path);
        const Outcome outcome = run(made, {"-config", "a-http"});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.out, "");
        const std::string message =
            path == std::string("copy.pl") ? "this is not the page builder of AWStats\n" : named + path + "\n";
        EXPECT_NE(outcome.err.find(message), std::string::npos) << outcome.err;
    }
}
