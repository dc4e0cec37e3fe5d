# Starts the program under test and waits for it, in bounded time, with an eye on what it leaves.
package Run;
use strict;
use warnings;
use POSIX qw(WNOHANG);
use Time::HiRes qw(sleep);
use Tree;

our $time_limit = 20; # seconds
my $mark = "FAULTS_RUN=$$"; # in the environment of all that is started here

# System calls without a routine, and arguments of them.
use constant {PRCTL => 157, PR_SET_CHILD_SUBREAPER => 36};

# Makes this process the one that gets the children that others leave, and closes the descriptors
# that it has been given, which would go on to the runs.
sub begin {
    my $machine = (POSIX::uname())[4];
    die "The numbers of the system calls are not known here for $machine\n" if $machine ne 'x86_64';
    syscall(PRCTL, PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) == 0 or die "prctl: $!\n";
    opendir my $listing, '/proc/self/fd' or die "/proc/self/fd: $!\n";
    my @given = grep { /^\d+$/ && $_ > 2 && $_ != fileno $listing } readdir $listing;
    POSIX::close($_) for @given;
}

sub redirect {
    my ($stream, $mode, $path) = @_;
    open $stream, $mode, $path or die "$path: $!\n";
}

# Becomes the command, in the directory, with its output in <output>.out and <output>.err.
sub become {
    my ($command, $directory, $output) = @_;
    my ($name, $value) = split /=/, $mark;
    $ENV{$name} = $value;
    $ENV{LC_ALL} = 'C';
    $ENV{TEST_TIME} = $Tree::time;
    chdir $directory or die "$directory: $!\n";
    redirect(*STDIN, '<', '/dev/null');
    redirect(*STDOUT, '>', "$output.out");
    redirect(*STDERR, '>', "$output.err");
    exec @$command;
    die "$command->[0]: $!\n";
}

sub start {
    my ($command, $directory, $output) = @_;
    my $pid = fork;
    die "fork: $!\n" if !defined $pid;
    return $pid if $pid != 0;
    eval { become($command, $directory, $output) };
    print STDERR $@;
    POSIX::_exit(127);
}

sub is_ours {
    my ($pid) = @_;
    open my $in, '<', "/proc/$pid/environ" or return 0;
    local $/ = undef;
    my $environment = <$in>;
    return defined $environment && "\0$environment" =~ /\0\Q$mark\E\0/;
}

# Ends all that was started here and is still there.
sub end_all {
    opendir my $listing, '/proc' or die "/proc: $!\n";
    for my $pid (grep { /^\d+$/ && is_ours($_) } readdir $listing) {
        kill 'KILL', $pid;
    }
    1 while waitpid(-1, 0) > 0;
}

# Waits until nothing is left of what was started here. Returns false if that takes too long.
sub wait_for_all {
    my $done = eval {
        local $SIG{ALRM} = sub { die "overtime\n" };
        alarm $time_limit;
        1 while waitpid(-1, 0) > 0;
        alarm 0;
        1;
    };
    alarm 0;
    end_all() if !$done;
    return $done;
}

# What has become of the children that an ended run has left.
sub leftovers {
    my $pid = waitpid(-1, WNOHANG);
    return 'nothing' if $pid == -1;
    end_all();
    return $pid == 0 ? 'a running child' : 'a child that it did not wait for';
}

# The result of a run: status, overtime, what it has left, and its output.
sub finish {
    my ($pid, $output, $wait) = @_;
    my $status = eval {
        local $SIG{ALRM} = sub { die "overtime\n" };
        alarm $time_limit;
        my $status = $wait->($pid);
        alarm 0;
        $status;
    };
    my $error = $@;
    alarm 0;
    die $error if !defined $status && $error ne "overtime\n";
    end_all() if !defined $status;
    return {
        status => $status,
        overtime => !defined $status,
        left => leftovers(),
        out => Tree::read_file("$output.out"),
        err => Tree::read_file("$output.err"),
    };
}

sub wait_for {
    my ($pid) = @_;
    waitpid($pid, 0) == $pid or die "waitpid: $!\n";
    return $?;
}

sub run {
    my ($command, $directory, $output) = @_;
    return finish(start($command, $directory, $output), $output, \&wait_for);
}

1;
