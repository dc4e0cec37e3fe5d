#!/usr/bin/perl
# Runs AWStats' awstats.pl: AWSTATS_BIN_D names the directory of this file. An update that ends with 0
# has its data on the disk, so that the log can be emptied; one that cannot get it there, or could not
# put all of it in its place, fails. One that fails leaves no unfinished files behind, which would
# keep a full disk full. All else is as without this file: arguments, environment, streams, exit status
# and signals.
#
# AWStats takes the records of a new log that are not later than the last one it knows for known, which
# loses those of the same second. It tells a log that it is given again by its last line; in any other
# one the last second is open again. And where no line is of the configured format, the update fails if
# one holds a request of a web server or a transfer, if there are 50 or more, or if they are the first
# ones ever, also if AWStats is told to skip more of them. Others, as probes for TLS leave them, count.
#
# AWStats writes the new data of each month beside the old and renames one after the other. The update
# therefore runs in this process, where this file's own routines stand in the place of "rename" and
# "opendir": the months are replaced as one, also where the update is killed in between, which the next
# one mends. An awstats.pl that cannot be run so runs by itself, and all file systems are synced
# afterwards.
#
# It is the file that AWSTATS_STOCK_PROGRAM names in the environment, or else the first one in the usual
# places.
use strict;
use warnings;
use Cwd qw(realpath);
use Errno qw(ESRCH);
use File::Basename qw(dirname);
use lib dirname(realpath(__FILE__));
use Symbol qw(qualify_to_ref);
use Adapter;

my $request = qr{\b[A-Z]{3,}\s\S+\s+HTTP/\d};
my $transfer = qr{^\w{3} \w{3} [ \d]\d [\d:]{8} \d{4} \d+ \S+ \d+ |\b(?:RETR|STOR) |OK (?:DOWN|UP)LOAD};
my $updater = 0;
my $has_failed = 0;
my $lock;
my $first_kept;
my @kept;
my $is_ready;

sub files_of_data {
    my ($pattern) = @_;
    our $DirData;
    opendir my $entries, $DirData or return;
    return map { "$DirData/$_" } grep { /$pattern/ } readdir $entries;
}

# Removes what an update leaves that ends before its time, be it this one or one that was killed.
sub remove_unfinished {
    our $PROG;
    for my $path ($lock ? files_of_data(qr/^$PROG\d+.*\.tmp\.\d+(?:\.bis)?$/) : ()) {
        my ($process) = $path =~ /\.tmp\.(\d+)(?:\.bis)?$/;
        unlink $path if $process == $$ || !kill(0, $process) && $!{ESRCH};
    }
}

# Waits for an update of the same data, and puts back what one was replacing that was killed.
sub begin_update {
    our ($DirData, $PROG, $FileSuffix);
    my $data = "$DirData/$PROG$FileSuffix";
    $lock = locked("$data.lock") or fail("cannot lock $data.lock: $!");
    $first_kept = "$data.update";
    put_back_all($first_kept,
        map { s/\.before$//r } files_of_data(qr/^$PROG\d+\Q$FileSuffix\E\.txt\.before$/));
    remove_unfinished();
}

# AWStats opens the directory of its data before it reads any.
sub open_directory(*$) {
    my ($handle, $path) = @_;
    our $DirData;
    begin_update() if !$lock && $path eq ($DirData // '');
    return CORE::opendir(qualify_to_ref($handle, caller), $path);
}

# Has all new data on the disk, and the old data of several months kept, as a month counts only with the
# others. Returns whether that is done. If not, says why.
sub make_ready {
    my @new = grep { -s } files_of_data(qr/\.tmp\.$$\z/);
    return 0 if !is_known_format(50) || grep { !synced($_) } @new;
    return 1 if @new == 1;
    @kept = ($first_kept, map { s/\.tmp\.\d+$/.txt/r } @new);
    for my $file (@kept) {
        keep($file) or complain("cannot keep $file as it is: $!"), return 0;
    }
    return 1;
}

# Whether all that was in its place counts now, or there was nothing new.
sub has_counted {
    our $DirData;
    return is_known_format(1) if !defined $is_ready;
    return synced($DirData) && (!@kept || settle(@kept));
}

# A backup is a second name, so that the data is never without its own.
sub rename_data {
    my ($from, $to) = @_;
    if ($to =~ /\.bak$/) {
        unlink $to;
        return link $from, $to;
    }
    return CORE::rename($from, $to) if $to !~ /\.txt$/ || !$lock;
    my $done = ($is_ready //= make_ready()) && CORE::rename($from, $to);
    $has_failed ||= !$done;
    return $done;
}

# Has AWStats count the last second of the log before, unless it is given that log again.
sub open_last_second_in_new_log {
    our ($LogFile, $LastLine, $LastLineOffset, $LastLineChecksum);
    open my $log, '<', $LogFile or return;
    seek $log, $LastLineOffset, 0;
    my $line = readline($log) // '';
    $line =~ s/\r?\n\z//;
    # It is YYYYMMDDhhmmss, and only compared.
    $LastLine -= 1 if $LastLine > 0 && CheckSum($line) != $LastLineChecksum;
}

# Whether one of the lines that were parsed, which are the last ones of the log, is a record.
sub holds_record {
    our ($LogFile, $NbOfLinesParsed);
    open my $log, '<', $LogFile // '' or return 0;
    my @parsed;
    while (my $line = <$log>) {
        push @parsed, $line;
        shift @parsed if @parsed > $NbOfLinesParsed;
    }
    return grep { /$request|$transfer/ } @parsed;
}

# Whether a line is of the configured format, or there are fewer of another one than that, and none of
# them a record. If not, says so.
sub is_known_format {
    my ($enough) = @_;
    our ($NbOfLinesParsed, $NbOfLinesCorrupted, $NbOfLinesComment, $NbOfLinesBlank);
    return 1 if !$NbOfLinesCorrupted;
    return 1 if $NbOfLinesParsed != $NbOfLinesCorrupted + $NbOfLinesComment + $NbOfLinesBlank;
    return 1 if $NbOfLinesCorrupted < $enough && !holds_record();
    complain('no line of the log is in the format of the configuration');
    return 0;
}

END {
    if ($updater == $$) {
        my $status = $?;
        $status ||= $has_failed || !has_counted() ? 1 : 0;
        remove_unfinished() if $status;
        put_back_all(@kept) if $status && @kept;
        $? = $status;
    }
}

my $program = awstats_program();
my $is_update = grep { /^-*update\b/i } @ARGV;
if (!$is_update) {
    exec {$program} $program, @ARGV or fail("cannot start $program: $!");
}
no warnings 'once';
*CORE::GLOBAL::rename = \&rename_data;
*CORE::GLOBAL::opendir = \&open_directory;
my $update = compiled($program, qr/^\$VERSION\s*=\s*"7\./m, 'main');
if (!$update) {
    my $status = run_program($program, @ARGV);
    exit($status || run_program('/bin/sync'));
}
if (my $define = main->can('DefinePerlParsingFormat')) { # called between reading what is known and the log
    no warnings 'redefine';
    *DefinePerlParsingFormat = sub {
        *DefinePerlParsingFormat = $define;
        open_last_second_in_new_log();
        goto $define;
    };
}
$updater = $$;
$0 = $program;
$update->();
exit 0;
