#!/usr/bin/perl
# Lets statistics_run work with AWStats' page builder of the same name: AWSTATS_TOOLS_D names the
# directory of this file. It takes "-option value" as well as "-option=value", which is all that the
# page builder understands, writes months with two digits, and fails where the page builder ends
# without an error but has not made all pages, or not all of one. The pages are made in a directory of
# their own, .making, and take the place of the old ones when all are complete, the main page last:
# until then its time tells that the others are old.
#
# The page builder starts awstats.pl once for each page, and most of the time goes into compiling that.
# Here its own code runs with another routine in the place of the backquotes, by which it starts
# awstats.pl: the answer comes from a fork of this process, which has awstats.pl compiled. Where one of
# the two cannot be compiled so, or a page fails, the programs themselves are started.
#
# The page builder is the file that AWSTATS_STOCK_BUILDER names in the environment, or else the
# first one in the usual places.
use strict;
use warnings;
use Cwd qw(realpath);
use Fcntl qw(:seek);
use File::Basename qw(dirname);
use lib dirname(realpath(__FILE__));
use Adapter;

my @usual_places = map { "$_/awstats_buildstaticpages.pl" } qw(/usr/share/awstats/tools
    /usr/local/awstats/tools /usr/lib/awstats/tools /usr/local/www/awstats/tools
    /usr/share/doc/awstats/examples);
my %takes_value = map { $_ => 1 } qw(awstatsprog config configdir databasebreak day debug dir
    diricons lang month staticlinksext year);

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

# The program that the page builder starts, and the routine that it is here, if it can be one.
my $awstats;
my %routines;

sub awstats_routine {
    my ($path) = @_;
    $awstats = is_adapter($path) ? awstats_program() : $path;
    return $routines{$path} //= compiled($awstats, qr/^\$VERSION\s*=\s*"7\./m, 'main') || 0;
}

# What awstats.pl writes on both streams, with its wait status in $?.
sub page {
    my ($routine, @words) = @_;
    my $child = open(my $output, '-|') // return;
    if ($child == 0) {
        open STDERR, '>&', \*STDOUT or exit 1;
        $| = 0;
        $0 = $awstats;
        @ARGV = @words;
        $routine->();
        exit 0;
    }
    my $text = do { local $/; <$output> };
    close $output;
    return $text;
}

# The program and the words of a command that makes a page, if a shell finds nothing but words in it.
sub page_command {
    my ($command) = @_;
    $command =~ m{^("[\w./+-]+")((?: +[\w./+=:,%-]+)+) +2>&1\s*$} or return;
    my ($program, @words) = ($1 =~ tr/"//dr, split ' ', $2);
    return if grep({ /update/i } @words) || !grep({ /^-output/ } @words);
    return ($program, @words);
}

# Answers backquotes.
sub answer {
    my ($command) = @_;
    my ($program, @words) = page_command($command);
    my $routine = @words && awstats_routine($program);
    my $text = $routine && page($routine, @words);
    return $text if $routine && $? == 0 && length $text;
    return CORE::readpipe($command);
}

sub run_builder {
    my ($builder, @words) = @_;
    no warnings 'once';
    *CORE::GLOBAL::readpipe = \&answer;
    my $routine = compiled($builder, qr/^my \$VERSION="1\.2 /m, 'AwstatsPageBuilder');
    exec $^X, $builder, @words if !$routine;
    $| = 0;
    $0 = $builder;
    @ARGV = @words;
    $routine->();
    exit 0;
}

# Runs the page builder, whose output is passed on. Returns its exit status, the main page that it says
# at its end to have made, and the pages that it has begun before. An awstats.pl that fails makes it end
# early, with status 0.
sub build_pages {
    my @command = @_;
    my $main_page = '';
    my @names;
    my $child = open(my $output, '-|') // fail("cannot start $command[0]: $!");
    run_builder(@command) if $child == 0;
    while (my $line = <$output>) {
        print $line;
        push @names, $1 if $line =~ /^Build (\S+) page: /;
        $main_page = $1 if $line =~ /^Main HTML page is '(.*)'/;
    }
    close $output;
    my @pages = map { $main_page =~ s/(\.\w+)$/.$_$1/r } grep { $_ ne 'main' } @names;
    return (exit_status($?), $main_page, @pages);
}

# Whether the page has its end, which it lacks on a full disk. Two, as that of sessions, end with a table.
sub is_complete {
    my ($path) = @_;
    open my $file, '<', $path or return 0;
    my $most = -s $file < 64 ? -s _ : 64;
    seek $file, -$most, SEEK_END or return 0;
    read($file, my $end, $most);
    return $end =~ m{</(?:html|table)>\s*\z}i;
}

# Has a new page on the disk, with the owner and the mode of the old one. Returns whether that is done.
# If not, says why.
sub is_ready {
    my ($new, $old) = @_;
    return 0 if !synced($new);
    return 1 if !lstat($old) || !-f _ || is_given_to_owner($new, $old);
    complain("cannot set the owner of $new: $!");
    return 0;
}

# Replaces the pages of a directory by those that were made in another one. Returns why that can't be,
# or nothing.
sub put_in_place {
    my ($from, $to, $main_page, @pages) = @_;
    for my $page ($main_page, @pages) {
        return "the new $page is not complete; the old pages stay in $to" if !is_complete("$from/$page");
    }
    opendir my $listing, $from or return "cannot read $from: $!";
    my @others = grep { !/^\.\.?$/ && $_ ne $main_page } readdir $listing;
    for my $file (@others, $main_page) {
        is_ready("$from/$file", "$to/$file") or return "the old pages stay in $to";
    }
    for my $file (@others, $main_page) {
        rename "$from/$file", "$to/$file" or return "cannot replace $to/$file: $!";
    }
    return;
}

# Removes a directory, or what is in its place.
sub discard {
    my ($directory) = @_;
    rmdir $directory or !lstat $directory or system 'rm', '-rf', '--', $directory;
}

$| = 1;
my $builder = stock_program('page builder of AWStats', 'AWSTATS_STOCK_BUILDER', @usual_places);
my @words = join_values(@ARGV);
my $config = value_of('config', @words) // fail('there is no -config');
my $directory = value_of('dir', @words) // '.';
my $page = "awstats.$config.html";
my $making = "$directory/.making";
discard($making);
mkdir $making, 0700 or fail("cannot make $making: $!");
my ($status, $made, @pages) = build_pages($builder, (grep { !/^--?dir=/i } @words), "-dir=$making");
my $trouble = "the pages of $config are not made, or not all of them; see above";
$trouble = put_in_place($making, $directory, $page, @pages) if $status == 0 && $made eq $page;
discard($making);
exit $status if $status != 0;
fail($trouble) if $trouble;
