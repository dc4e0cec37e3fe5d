#include "support.h"

class BuilderAdapter : public InTempDir
{
protected:
    const std::string said = R"(print "Main HTML page is 'awstats.a-http.html'.\n";)";
    const std::string made = "my ($d) = map { /^-dir=(.*)/ } @ARGV; for ('urls.', '') {\n"
                             "open F, '>', \"$d/awstats.a-http.${_}html\"; print F 'new </html>'; close F }\n" +
                             said;
    const std::string known_words = "-Config a-http '-dir=out dir//' ";

    BuilderAdapter() { fs::create_directory("out dir"); }

    // Runs the adapter with a stand-in for the page builder, which prints its arguments and ends in the given way.
    static Outcome run(const std::string &words, const std::string &ending, const std::string &builder = "stock.pl",
                       const std::string &tracer = "")
    {
        write_file("stock.pl", R"(print map({ "[$_]" } @ARGV), "\n"; print STDERR 'complained'; )" + ending);
        ::setenv("AWSTATS_STOCK_BUILDER", builder.c_str(), 1);
        return run_script(tracer + BUILDER_ADAPTER " " + words);
    }
};

TEST_F(BuilderAdapter, FormsOfOptions)
{
    const std::pair<const char *, const char *> rows[] = {
        {"-month=2 -year=2026", "[-month=02][-year=2026]"},
        {"-month 12 -awstatsprog '/a b/x.pl'", "[-month=12][-awstatsprog=/a b/x.pl]"},
        {"--month all -Month=9", "[--month=all][-Month=09]"},
        {"-update -month=all -lang -x", "[-update][-month=all][-lang=-x]"},
        {"-builddate -buildpdf=/bin/x -diricons ''", "[-builddate][-buildpdf=/bin/x][-diricons=]"},
    };
    for (const auto &[words, received] : rows) {
        const std::string said_first = std::string("[-Config=a-http]") + received + "[-dir=out dir///.making]\n";
        expect_outcome(run(known_words + words, made), said_first + "Main HTML page is 'awstats.a-http.html'.\n",
                       "complained");
    }
}

TEST_F(BuilderAdapter, EndsThatAreFailures)
{
    fs::create_symlink(BUILDER_ADAPTER, "link.pl");
    write_file("copy.pl", read_file(BUILDER_ADAPTER));
    const std::tuple<std::string, int, const char *, const char *> rows[] = {
        {said, 1, "the new awstats.a-http.html is not complete", "stock.pl"},
        {replace_all(made, "</", "<"), 1, "the new awstats.a-http.html is not complete", "stock.pl"},
        {R"(print "Build main page: x\nBuild hosts page: x\n";)" + made, 1,
         "the new awstats.a-http.hosts.html is not complete", "stock.pl"},
        {made + "exit 3", 3, "complained", "stock.pl"},
        {made + "kill 9, $$", 128 + 9, "complained", "stock.pl"},
        {"exit 0", 1, "the pages of a-http are not made, or not all of them", "stock.pl"},
        {replace_all(made, "a-http", "b"), 1, "the pages of a-http are not made", "stock.pl"},
        {made, 1, "AWSTATS_STOCK_BUILDER names no page builder of AWStats: missing.pl\n", "missing.pl"},
        {made, 1, "AWSTATS_STOCK_BUILDER names no page builder of AWStats: link.pl\n", "link.pl"},
        {made, 1, "AWSTATS_STOCK_BUILDER names no page builder of AWStats: copy.pl\n", "copy.pl"},
    };
    for (const auto &[ending, status, told, builder] : rows) {
        write_file("out dir/awstats.a-http.html", "old");
        write_file("kept/page", "");
        fs::create_symlink("../kept", "out dir/.making");
        const Outcome outcome = run(known_words, ending, builder);
        EXPECT_EQ(outcome.status, status) << ending;
        EXPECT_TRUE(contains(outcome.err, told));
        EXPECT_EQ(run_script("rm -f 'out dir/.making'; cat 'out dir/'*; ls -A 'out dir' kept").out,
                  "oldkept:\npage\n\nout dir:\nawstats.a-http.html\n")
            << ending;
    }
    EXPECT_TRUE(contains(run("-dir out", made).err, "there is no -config\n"));
    EXPECT_TRUE(contains(run("-config", made).err, "-config has no value\n"));
}

TEST_F(BuilderAdapter, PutsTheMainPageInPlaceLast)
{
    const std::pair<const char *, const char *> rows[] = {
        {"fsync:error=EIO:when=2", "old old awstats.a-http.html awstats.a-http.urls.html\n"},
        {"rename:error=EIO:when=1", "old old awstats.a-http.html awstats.a-http.urls.html\n"},
        {"rename:error=EIO:when=2", "old new awstats.a-http.html awstats.a-http.urls.html\n"},
        {"rename:signal=KILL:when=2", "old new .making awstats.a-http.html awstats.a-http.urls.html\n"},
        {"rename:error=EIO:when=3", "new new awstats.a-http.html awstats.a-http.urls.html\n"}};
    for (const auto &[fault, pages] : rows) {
        write_file("out dir/.making/rest", "");
        write_file("out dir/awstats.a-http.html", "old ");
        write_file("out dir/awstats.a-http.urls.html", "old ");
        const std::string owner = "chgrp 7 'out dir'/*http.html; chmod 640 'out dir'/*; umask 077; ";
        const Outcome outcome = run(known_words, made, "stock.pl", owner + "strace -fo trace -e inject=" + fault + " ");
        EXPECT_EQ(outcome.status == 0, contains(pages, "new new")) << fault;
        EXPECT_EQ(run_script("stat -c %a:%g 'out dir'/*").out, "640:7\n640:0\n") << fault;
        EXPECT_EQ(run_script("cd 'out dir'; echo $(sed 's|</html>||' *) $(ls -A)").out, pages) << fault;
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
print $pages; )" + made);
    const std::string known = "#!/usr/bin/perl\n$VERSION = \"7.8 (stand-in)\";\nmy $n = 0; sub count { $n++ }\n"
                              "BEGIN { open F, '>>', 'compiled'; print F 1; close F }\n";
    const std::string page = "count(); print 'out '; print STDERR \"$0 @ARGV $n \"; exit ";
    const std::tuple<std::string, const char *, const char *> rows[] = {
        {known + page + "0;", "0", "1"},
        {known + page + "3;", "3", "111"},                        // a page that fails is asked for again
        {known + "exit 0 if caller; " + page + "0;", "0", "111"}, // one that is empty, too
        {replace_all(known, "7.8", "9.0") + page + "0;", "0", "11"},
        {known + page + "0;\n__END__\n}", "0", "11"},
        {known + page + "0;\n=pod\n", "0", "111"}, // no routine can be made of it
        {"#!/bin/sh\nprintf 1 >>compiled; printf '%s ' \"$0\" \"$@\" 1 >&2; printf 'out '", "0", "11"},
    };
    const std::string pages =
        root() + "/awstats -config=a-http -output=1 1 out STATUS\n" + root() +
        "/awstats -config=a-http -output=2 1 out STATUS\nMain HTML page is 'awstats.a-http.html'.\n";
    write_script("awstats", "");
    ::setenv("AWSTATS_STOCK_BUILDER", "builder.pl", 1);
    ::setenv("AWSTATS_STOCK_PROGRAM", (root() + "/awstats").c_str(), 1);
    for (const auto &[awstats, status, compiled] : rows) {
        for (const std::string &program : {root() + "/awstats", std::string(AWSTATS_ADAPTER)}) {
            SCOPED_TRACE(awstats);
            write_file("awstats", awstats);
            write_file("compiled", "");
            expect_outcome(run_program({BUILDER_ADAPTER, "-awstatsprog=" + program, "-config=a-http", "-dir=out dir"}),
                           replace_all(pages, "STATUS", status), "");
            EXPECT_EQ(read_file("compiled"), compiled);
        }
    }
}
