#!/usr/bin/perl
# Runs AWStats' awstats.pl: AWSTATS_BIN_D names the directory of this file. An update that ends with 0
# has its data on the disk, so that the log can be emptied; one that cannot get it there, or could not
# put all of it in its place, fails. One that fails leaves no unfinished files behind, which would
# keep a full disk full. All else is as without this file: arguments, environment, streams, exit status
# and signals.
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
    my $done = $is_ours && synced($from) && CORE::rename($from, $to);
    $has_failed ||= !$done;
    return $done;
}

sub remove_unfinished {
    our $DirData;
    opendir my $entries, $DirData // return or return;
    unlink map { "$DirData/$_" } grep { /\.tmp\.$$(?:\.bis)?$/ } readdir $entries;
}

END {
    if ($updater == $$) {
        my $status = $?;
        $has_failed ||= grep { !synced($_) } keys %directories;
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
$updater = $$;
$0 = $program;
$update->();
exit 0;
