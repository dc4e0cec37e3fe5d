#!/usr/bin/perl
# Runs the program on a full disk and with few free file descriptors, and judges what it leaves.
#
# usage: limits.pl PROGRAM DIRECTORY
#
# The program is one as for the sweep, and the directory is for this alone. The disk is a small one in
# memory that is mounted there, for this process and its children only.
use strict;
use warnings;
use Fcntl qw(F_SETFD);
use File::Basename qw(dirname);
use File::Path ();
use lib dirname(__FILE__);
use Cases;
use Run;
use Trial;
use Tree;

use constant {UNSHARE => 272, CLONE_NEWNS => 0x20000};

my ($program, $place) = @ARGV;
die "usage: limits.pl PROGRAM DIRECTORY\n" if @ARGV != 2 || grep { !m{^/} } @ARGV;
my $disk = "$place/disk";
my $trial;

# Patterns of cases and of violations, and reasons.
my @accepted = (
    [
        '(blocks|inodes): .* left', '^recovery: after the next run, \S+/webstat/(2024-04|nav\.html)',
        'The pages of the previous month are made once, whether that succeeds or not.',
    ],
);

sub command {
    my (@command) = @_;
    system(@command) == 0 or die "'@command' has failed\n";
}

# The mount is gone when this process is.
sub mount_disk {
    syscall(UNSHARE, CLONE_NEWNS) == 0 or die "No mounts of its own: $!\n";
    command(qw(mount --make-rprivate /));
    mkdir $disk or $!{EEXIST} or die "$disk: $!\n";
    command('mount', '-t', 'tmpfs', '-o', 'size=1m,nr_inodes=300,mode=0700', 'none', $disk);
}

# Log preparation would make room: it removes what it has moved.
sub prepare_logs {
    my $utility = "$trial->{root}/panel/admin/sbin/statistics_log_processor";
    my $result = Run::run([$utility], $trial->{root}, $trial->{output});
    die "Log preparation has failed\n" if $result->{status} != 0;
}

# Fills the disk but for some KiB.
sub fill_blocks {
    my ($free) = @_;
    open my $out, '>', "$disk/filler" or die "$disk/filler: $!\n";
    my $size = 0;
    while (my $written = syswrite $out, "\0" x 4096) {
        $size += $written;
    }
    $!{ENOSPC} or die "$disk/filler: $!\n";
    truncate $out, $size - 1024 * $free or die "$disk/filler: $!\n";
}

# Makes files until no more can be made, and takes some away.
sub fill_inodes {
    my ($free) = @_;
    mkdir "$disk/filler" or die "$disk/filler: $!\n";
    my $count = 0;
    while (open my $out, '>', "$disk/filler/$count") {
        ++$count;
    }
    $!{ENOSPC} or die "$disk/filler: $!\n";
    die "There is less room than wanted\n" if $count < $free;
    unlink map { "$disk/filler/$_" } 0 .. $free - 1;
}

sub clear {
    File::Path::remove_tree("$disk/filler", {safe => 1});
}

# Whether a run said what its surroundings lacked.
sub hits {
    my ($result, $reason) = @_;
    my $hits = () = "$result->{err}$result->{out}" =~ /\Q$reason\E/g;
    return $hits;
}

# A trial with a disturbed run, for the table.
sub try_case {
    my ($case, $reason, $disturb) = @_;
    my $outcome = Trial::try($trial, $disturb, $reason);
    my $hits = hits($outcome->{result}, $reason);
    my $result = sprintf 'wait status %d, "%s" %d times', $outcome->{result}{status} // -1, $reason, $hits;
    Cases::add($case, $result, Cases::texts($outcome->{wrong}));
    return $hits;
}

sub try_full_disk {
    my ($what, $unit, $fill, @rooms) = @_;
    my $hits = 0;
    for my $free (@rooms) {
        $hits += try_case("$what: $free$unit left", 'No space left on device', sub {
            prepare_logs();
            $fill->($free);
            my $result = Trial::undisturbed($trial);
            clear();
            return $result;
        });
    }
    Cases::add("$what: the limit is met", "$hits times", $hits ? () : 'no run has met it');
}

# Runs the program with a limit of the size of the descriptor table. A soft one can be raised.
sub run_limited {
    my ($option, $free) = @_;
    my $limit = 3 + $free;
    my $shell = "ulimit $option $limit && exec \"\$0\"";
    return Run::run(['/bin/sh', '-c', $shell, $program], $trial->{root}, $trial->{output});
}

# Runs the program with a table that is full but for some entries. Those who start it have left the
# others open.
sub run_crowded {
    my ($free) = @_;
    my $limit = 256;
    my $shell = 'ulimit -n ' . $limit . ' && exec "$0"';
    my @held;
    while (!@held || fileno $held[-1] < $limit - 1) {
        open my $file, '<', '/dev/null' or die "/dev/null: $!\n";
        push @held, $file;
    }
    for my $file (grep { fileno $_ < $limit - $free } @held) {
        fcntl $file, F_SETFD, 0 or die "fcntl: $!\n";
    }
    return Run::run(['/bin/sh', '-c', $shell, $program], $trial->{root}, $trial->{output});
}

sub try_descriptors {
    my $reason = 'Too many open files';
    my $hits = 0;
    for my $free (2, 3, 4, 5, 6, 7, 8, 10, 12, 16, 64) {
        $hits += try_case("descriptors: table ends after $free", $reason, sub { run_limited('-n', $free) });
        $hits += try_case("descriptors: all but $free held", $reason, sub { run_crowded($free) });
    }
    try_case("descriptors: soft limit leaves $_", $reason, sub { run_limited('-S -n', $_) }) for 8, 16, 64;
    Cases::add('descriptors: the limit is met', "$hits times", $hits ? () : 'no run has met it');
}

$ENV{LC_ALL} = 'C';
$| = 1;
Run::inherit_orphans();
Cases::accept_known(@accepted);
mount_disk();
$trial = Trial::prepare($program, $disk);
$trial->{output} = "$place/output";
try_full_disk('blocks', ' KiB', \&fill_blocks, map { 4 * $_ } 0 .. 16);
try_full_disk('inodes', '', \&fill_inodes, 0 .. 8, 16);
try_descriptors();
exit Cases::conclude();
