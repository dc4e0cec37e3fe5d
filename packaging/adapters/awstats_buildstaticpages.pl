#!/usr/bin/perl
# Lets statistics_run work with AWStats' page builder of the same name: AWSTATS_TOOLS_D names the
# directory of this file. It takes "-option value" as well as "-option=value", which is all that the
# page builder understands, writes months with two digits, and fails where the page builder ends
# without an error but has not made all pages.
#
# The page builder is the file that AWSTATS_STOCK_BUILDER names in the environment, or else the
# first one in the usual places.
use strict;
use warnings;

my $name = 'awstats_buildstaticpages.pl';
my @usual_places = qw(/usr/share/awstats/tools /usr/local/awstats/tools /usr/lib/awstats/tools
    /usr/local/www/awstats/tools /usr/share/doc/awstats/examples);
my %takes_value = map { $_ => 1 } qw(awstatsprog config configdir databasebreak day debug dir
    diricons lang month staticlinksext year);

sub fail {
    print STDERR "$0: $_[0]\n";
    exit 1;
}

# The words with every value joined to its option.
sub join_values {
    my @words = @_;
    my @joined;
    while (@words) {
        my $word = shift @words;
        if ($word =~ /^--?(\w+)$/ && $takes_value{lc $1}) {
            @words or fail("$word has no value");
            $word .= '=' . shift @words;
        }
        $word =~ s/^(--?month=)(\d)$/${1}0$2/i;
        push @joined, $word;
    }
    return @joined;
}

# The value of an option. Of several ones the page builder takes the first, too.
sub value_of {
    my ($option, @words) = @_;
    for my $word (@words) {
        return $1 if $word =~ /^--?$option=(.+)$/i;
    }
    return;
}

sub is_this_file {
    my @this = stat $0;
    my @other = stat $_[0];
    return @this && @other && $this[0] == $other[0] && $this[1] == $other[1];
}

sub is_page_builder { return -f $_[0] && -r $_[0] && !is_this_file($_[0]) }

sub page_builder {
    if (defined(my $path = $ENV{AWSTATS_STOCK_BUILDER})) {
        return $path if is_page_builder($path);
        fail("AWSTATS_STOCK_BUILDER names no page builder of AWStats: $path");
    }
    for my $directory (@usual_places) {
        return "$directory/$name" if is_page_builder("$directory/$name");
    }
    fail("AWStats' page builder is in none of @usual_places; name it in AWSTATS_STOCK_BUILDER");
}

# Runs the page builder, whose output is passed on. Returns its exit status and the main page that
# it says at its end to have made. An awstats.pl that fails makes it end early, with status 0.
sub build_pages {
    my @command = @_;
    my $main_page = '';
    open my $output, '-|', @command or fail("cannot start $command[0]: $!");
    while (my $line = <$output>) {
        print $line;
        $main_page = $1 if $line =~ /^Main HTML page is '(.*)'/;
    }
    close $output;
    return ($? & 127 ? 128 + ($? & 127) : $? >> 8, $main_page);
}

# A copy of this file is not told from the page builder before it runs.
fail('this is not the page builder of AWStats') if $ENV{AWSTATS_BUILDER_ADAPTED};
$ENV{AWSTATS_BUILDER_ADAPTED} = 1;

$| = 1;
my @words = join_values(@ARGV);
my $config = value_of('config', @words) // fail('there is no -config');
my $directory = value_of('dir', @words) // '.';
my $page = "awstats.$config.html";
my ($status, $made) = build_pages($^X, page_builder(), @words);
exit $status if $status != 0;
fail("the pages of $config are not made, or not all of them; see above") if $made ne $page;
fail("$directory/$page is empty or missing") if !-s "$directory/$page";
