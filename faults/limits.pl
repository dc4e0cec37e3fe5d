#!/usr/bin/perl
# Runs the program on a full disk, with files limited in size and with few free file descriptors,
# and judges what it leaves.
#
# usage: limits.pl PROGRAM DIRECTORY
#
# The program is one as for the sweep, and the directory is for this alone. The disk is a small one
# in memory that is mounted there, for this process and its children only. Where that is not
# allowed, only the limit of the size of files keeps the program from writing.
use strict;
use warnings;
use Fcntl qw(F_SETFD);
use POSIX ();
use File::Basename qw(dirname);
use File::Path ();
use lib dirname(__FILE__);
use Accepted;
use Findings;
use Run;
use Trial;
use Tree;

use constant {UNSHARE => 272, CLONE_NEWNS => 0x20000};

my ($program, $place) = @ARGV;
die "usage: limits.pl PROGRAM DIRECTORY\n" if @ARGV != 2 || grep { !m{^/} } @ARGV;
my $disk = "$place/disk";
my $output = "$place/output";
my $trial;

# Mounts the disk, which is gone when this process is. Returns why it can't be mounted, or nothing.
sub mount_disk {
    syscall(UNSHARE, CLONE_NEWNS) == 0 or return "unshare: $!\n";
    my $mount = "exec 2>&1; mount --make-rprivate / && "
        . 'mount -t tmpfs -o size=1m,nr_inodes=300,mode=0700 none "$0"';
    open my $said, '-|', '/bin/sh', '-c', $mount, $disk or die "/bin/sh: $!\n";
    my ($line) = <$said>;
    return close $said ? () : $line // "mount has failed\n";
}

# Log preparation would make room, and it is not what is tried.
sub prepare_logs {
    my $utility = Tree::program($trial->{root}, 'statistics_log_processor');
    my $result = Run::run([$utility], $trial->{root}, $output);
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

# Trials of a limit, and of whether it has been met: some runs must have said so, or been killed.
sub try_limit {
    my ($what, $reason, %cases) = @_;
    my $met = 0;
    for my $case (sort keys %cases) {
        my $outcome = Trial::try($trial, sub {
            return ($cases{$case}->(), {reason => qr/\Q$reason\E|code:? -?\d+/});
        });
        my ($result, $wrong) = @$outcome{qw(result wrong)};
        my $hits = () = "$result->{err}$result->{out}" =~ /\Q$reason\E/g;
        my $told = sprintf 'wait status %d, "%s" %d times', $result->{status} // -1, $reason, $hits;
        Findings::add_row("$what: $case", $told, $wrong);
        $met += $hits || ($result->{status} // -1) == POSIX::SIGXFSZ;
    }
    Findings::add_row("$what: the limit is met", "$met times",
        {met => $met ? [] : ['no run has met it']});
}

sub on_full_disk {
    my ($fill, $free) = @_;
    prepare_logs();
    $fill->($free);
    my $result = Trial::undisturbed($trial);
    clear();
    return $result;
}

sub try_disk {
    my $reason = 'No space left on device';
    try_limit('blocks', $reason, map { my $free = 4 * $_;
        (sprintf('%2d KiB left', $free) => sub { on_full_disk(\&fill_blocks, $free) }) } 0 .. 16);
    try_limit('inodes', $reason, map { my $free = $_;
        (sprintf('%2d left', $free) => sub { on_full_disk(\&fill_inodes, $free) }) } 0 .. 8, 16);
}

# Runs the program with a shell's settings.
sub run_after {
    my ($settings, $streams) = @_;
    my $command = ['/bin/sh', '-c', "$settings && exec \"\$0\"", $program];
    return Run::start($command, $trial->{root}, $streams);
}

# Lets the program write files of some bytes at most, but as much output as it wants: that goes
# through pipes. What writes more gets a signal, or an error if that is ignored.
sub run_with_small_files {
    my ($bytes, $ignored) = @_;
    my $pipe = "$place/pipe";
    my @readers;
    for my $stream (qw(out err)) {
        unlink "$pipe.$stream";
        POSIX::mkfifo("$pipe.$stream", 0600) or die "$pipe.$stream: $!\n";
        push @readers, Run::start(['/bin/cat', "$pipe.$stream"], $place, "$place/$stream");
    }
    my $trap = $ignored ? "trap '' XFSZ" : ':';
    my $pid = run_after("$trap && prlimit --pid \$\$ --fsize=$bytes", $pipe);
    my $result = Run::finish($pid, $output, sub {
        my ($status, @others) = map { Run::wait_for($_) } @_, @readers;
        return $status;
    });
    @$result{qw(out err)} = map { Tree::read_file("$place/$_.out") } qw(out err);
    return $result;
}

sub try_sizes {
    my @sizes = (0, 100, 456, 457, 900, 1000, 5000, 1 << 20);
    for my $ignored (0, 1) {
        my $reason = $ignored ? 'File too large' : 'signal 25';
        my $what = 'sizes, SIGXFSZ ' . ($ignored ? 'ignored' : 'deadly');
        try_limit($what, $reason, map { my $bytes = $_;
            (sprintf('%7d bytes', $bytes) => sub {
                prepare_logs();
                return run_with_small_files($bytes, $ignored);
            }) } @sizes);
    }
}

# Runs the program with a limit of the size of the descriptor table. A soft one can be raised.
sub run_limited {
    my ($option, $free) = @_;
    my $limit = 3 + $free;
    return Run::finish(run_after("ulimit $option $limit", $output), $output, \&Run::wait_for);
}

# Runs the program with a table that is full but for some entries. Those who start it have left the
# others open.
sub run_crowded {
    my ($free) = @_;
    my $limit = 256;
    Tree::release_logs();
    my @held;
    while (!@held || fileno $held[-1] < $limit - 1) {
        open my $file, '<', '/dev/null' or die "/dev/null: $!\n";
        push @held, $file;
    }
    for my $file (grep { fileno $_ < $limit - $free } @held) {
        fcntl $file, F_SETFD, 0 or die "fcntl: $!\n";
    }
    return Run::finish(run_after("ulimit -n $limit", $output), $output, \&Run::wait_for);
}

sub try_descriptors {
    my %cases;
    for my $free (2 .. 8, 10, 12, 16, 64) {
        $cases{sprintf 'table ends after %2d', $free} = sub { run_limited('-n', $free) };
        $cases{sprintf 'all but %2d held', $free} = sub { run_crowded($free) };
    }
    for my $free (8, 16, 64) {
        $cases{sprintf 'soft limit leaves %2d', $free} = sub { run_limited('-S -n', $free) };
    }
    try_limit('descriptors', 'Too many open files', %cases);
}

$ENV{LC_ALL} = 'C';
$| = 1;
Run::begin();
Accepted::load('limits');
mkdir $disk or $!{EEXIST} or die "$disk: $!\n";
my $unmounted = mount_disk();
$trial = Trial::prepare($program, $disk);
$trial->{output} = $output;
if (defined $unmounted) {
    print "No disk can be mounted here, and none is filled: $unmounted";
} else {
    try_disk();
}
try_sizes();
try_descriptors();
exit Findings::conclude(!defined $unmounted);
