#!/usr/bin/perl
# Runs AWStats' awstats.pl: AWSTATS_BIN_D names the directory of this file. An update that ends with 0
# has its data on the disk, so that the log can be emptied; one that cannot get it there, or could not
# put all of it in its place, fails. One that fails leaves no unfinished files behind, which would
# keep a full disk full. All else is as without this file: arguments, environment, streams, exit status
# and signals.
#
# AWStats takes the records of a new log that are not later than the last one it knows for known, which
# loses those of the same second. It tells a log that it is given again by its last line, and only then
# need it go by the time. And where not one of 50 lines or more, or of the first lines ever, is of the
# configured format, the update fails, also if AWStats is told to skip more of them.
#
# AWStats writes new data beside the old and renames it. The update therefore runs in this process, where
# this file's own routine stands in the place of "rename". An awstats.pl that cannot be run so runs by
# itself, and all file systems are synced afterwards.
#
# It is the file that AWSTATS_STOCK_PROGRAM names in the environment, or else the first one in the usual
# places.
use strict;
use warnings;
use Cwd qw(realpath);
use File::Basename qw(dirname);
use lib dirname(realpath(__FILE__));
use Adapter;

my $updater = 0;
my $has_failed = 0;
my %directories;

# The data of a month is complete and synced before it takes the place of the old one. A backup is a
# second name, so that the data is never without its own.
sub rename_data {
    my ($from, $to) = @_;
    if ($to =~ /\.bak$/) {
        unlink $to;
        return link $from, $to;
    }
    return CORE::rename($from, $to) if $to !~ /\.txt$/;
    $directories{dirname($to)} = 1;
    my $is_ours = ((stat $from)[9] // 0) >= $^T;
    complain("$from was left by an update that was killed") if !$is_ours;
    my $done = $is_ours && is_known_format(50) && synced($from) && CORE::rename($from, $to);
    $has_failed ||= !$done;
    return $done;
}

sub remove_unfinished {
    our $DirData;
    opendir my $entries, $DirData // return or return;
    unlink map { "$DirData/$_" } grep { /\.tmp\.$$(?:\.bis)?$/ } readdir $entries;
}

# Has AWStats go by the time only in a log that it is given again.
sub forget_time_in_new_log {
    our ($LogFile, $LastLine, $LastLineOffset, $LastLineChecksum);
    open my $log, '<', $LogFile or return;
    seek $log, $LastLineOffset, 0;
    my $line = readline($log) // '';
    $line =~ s/\r?\n\z//;
    $LastLine = 0 if CheckSum($line) != $LastLineChecksum;
}

# Whether there are fewer lines of another format than that, or others between them. If not, says so.
sub is_known_format {
    my ($enough) = @_;
    our ($NbOfLinesParsed, $NbOfLinesCorrupted, $NbOfLinesComment, $NbOfLinesBlank);
    return 1 if ($NbOfLinesCorrupted // 0) < $enough;
    return 1 if $NbOfLinesParsed != $NbOfLinesCorrupted + $NbOfLinesComment + $NbOfLinesBlank;
    complain('no line of the log is in the format of the configuration');
    return 0;
}

END {
    if ($updater == $$) {
        my $status = $?;
        $has_failed ||= grep { !synced($_) } keys %directories;
        $has_failed ||= !%directories && !is_known_format(1);
        $? = $status || ($has_failed ? 1 : 0);
        remove_unfinished() if $?;
    }
}

my $program = awstats_program();
my $is_update = grep { /^-*update\b/i } @ARGV;
if (!$is_update) {
    exec {$program} $program, @ARGV or fail("cannot start $program: $!");
}
no warnings 'once';
*CORE::GLOBAL::rename = \&rename_data;
my $update = compiled($program, qr/^\$VERSION\s*=\s*"7\./m, 'main');
if (!$update) {
    my $status = run_program($program, @ARGV);
    exit($status || run_program('/bin/sync'));
}
if (my $define = main->can('DefinePerlParsingFormat')) { # called between reading what is known and the log
    no warnings 'redefine';
    *DefinePerlParsingFormat = sub {
        *DefinePerlParsingFormat = $define;
        forget_time_in_new_log();
        goto $define;
    };
}
$updater = $$;
$0 = $program;
$update->();
exit 0;
