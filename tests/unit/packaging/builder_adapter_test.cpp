#include "support.h"

#include <map>

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
    ~BuilderAdapter() override
    {
        ::unsetenv("AWSTATS_STOCK_BUILDER");
        ::unsetenv("AWSTATS_STOCK_PROGRAM");
    }

    static void use_builder(const char *path) { ::setenv("AWSTATS_STOCK_BUILDER", path, 1); }

    Outcome run(const std::string &ending, const std::string &words = "-Config a-http '-dir=out dir//'") const
    {
        write_file("stock.pl", R"(print map({ "[$_]" } @ARGV), "\n"; print STDERR 'complained'; )" + ending);
        return run_program({"sh", "-c", adapter + " " + words});
    }
};

TEST_F(BuilderAdapter, FormsOfOptions)
{
    const std::map<std::string, std::string> rows = {
        {"-month=2 -year=2026", "[-month=02][-year=2026]"},
        {"-month 2 -year 2026", "[-month=02][-year=2026]"},
        {"-month 12 -awstatsprog '/a b/x.pl'", "[-month=12][-awstatsprog=/a b/x.pl]"},
        {"--month all -Month=9", "[--month=all][-Month=09]"},
        {"-update -month=all -lang -x", "[-update][-month=all][-lang=-x]"},
        {"-builddate -buildpdf=/bin/x -diricons ''", "[-builddate][-buildpdf=/bin/x][-diricons=]"},
    };
    for (const auto &[words, received] : rows) {
        const Outcome outcome = run(made, "-Config a-http '-dir=out dir//' " + words);
        EXPECT_EQ(outcome.out.substr(0, outcome.out.find('\n')), "[-Config=a-http][-dir=out dir//]" + received);
        EXPECT_EQ(outcome.err, "complained");
        EXPECT_EQ(outcome.status, 0);
    }
}

TEST_F(BuilderAdapter, EndsThatAreFailures)
{
    const std::map<std::string, std::pair<int, std::string>> rows = {
        {said, {1, "/awstats.a-http.html is empty or missing\n"}},
        {made + "exit 3", {3, "complained"}},
        {made + "kill 9, $$", {128 + 9, "complained"}},
        {"exit 0", {1, "the pages of a-http are not made, or not all of them"}},
        {R"(print "Main HTML page is 'awstats.b.html'.\n";)", {1, "the pages of a-http are not made"}},
    };
    for (const auto &[ending, expected] : rows) {
        fs::remove("out dir/awstats.a-http.html");
        const Outcome outcome = run(ending);
        EXPECT_EQ(outcome.status, expected.first) << ending;
        EXPECT_TRUE(contains(outcome.err, expected.second));
    }
    EXPECT_TRUE(contains(run(made, "-dir out").err, "there is no -config\n"));
    EXPECT_TRUE(contains(run(made, "-config").err, "-config has no value\n"));
}

TEST_F(BuilderAdapter, TheAdapterIsNoPageBuilder)
{
    fs::create_symlink(adapter, "link.pl");
    write_file("copy.pl", read_file(adapter));
    for (const char *const path : {"missing.pl", "out dir", "link.pl", "copy.pl"}) {
        use_builder(path);
        expect_outcome(run(made), "",
                       adapter + ": AWSTATS_STOCK_BUILDER names no page builder of AWStats: " + path + "\n", 1);
    }
}

// However awstats.pl is run, the pages are the same. It tells how often it was compiled.
TEST_F(BuilderAdapter, CompilesAwstatsOnceIfThatCanBe)
{
    write_file("builder.pl", R"(#!/usr/bin/perl
my $VERSION="1.2 stand-in";
my ($prog, $pages) = $ARGV[0] =~ /=(.*)/;
sub add { $pages .= $_[0] }
add(`"$prog" -config=a-http -output=$_ 2>&1` . ($? >> 8) . "\n") for 1, 2;
open F, '>', 'out dir/awstats.a-http.html'; print F $pages;
print "Main HTML page is 'awstats.a-http.html'.\n";
)");
    use_builder("builder.pl");
    ::setenv("AWSTATS_STOCK_PROGRAM", (root() + "/awstats").c_str(), 1);
    const std::string known = "#!/usr/bin/perl\n$VERSION = \"7.8 (stand-in)\";\nmy $n = 0; sub count { $n++ }\n"
                              "BEGIN { open F, '>>', 'compiled'; print F 1; close F }\n";
    const std::string page = "count(); print 'out '; print STDERR \"$0 @ARGV $n \"; exit ";
    const struct {
        std::string program;
        std::string status;
        std::string compiled;
    } rows[] = {
        {known + page + "0;", "0", "1"},
        {known + page + "3;", "3", "111"},                        // a page that fails is asked for again
        {known + "exit 0 if caller; " + page + "0;", "0", "111"}, // one that is empty, too
        {replace_all(known, "7.8", "9.0") + page + "0;", "0", "11"},
        {known + page + "0;\n__END__\n}", "0", "11"},
        {known + page + "0;\n=pod\n", "0", "111"}, // no routine can be made of it
        {"#!/bin/sh\nprintf 1 >>compiled; printf '%s ' \"$0\" \"$@\" 1 >&2; printf 'out '", "0", "11"},
    };
    for (const auto &row : rows) {
        for (const std::string &program : {root() + "/awstats", std::string(AWSTATS_ADAPTER)}) {
            fs::remove("compiled");
            write_script("awstats", "");
            write_file("awstats", row.program);
            const Outcome outcome = run_program({adapter, "-awstatsprog=" + program, "-config=a-http", "-dir=out dir"});
            expect_outcome(outcome, "Main HTML page is 'awstats.a-http.html'.\n", "");
            const std::string begin = root() + "/awstats -config=a-http -output=", end = " 1 out " + row.status + "\n";
            EXPECT_EQ(read_file("out dir/awstats.a-http.html"), begin + "1" + end + begin + "2" + end) << row.program;
            EXPECT_EQ(read_file("compiled"), row.compiled) << row.program;
        }
    }
}
