# Lets one system call fail that a child of the program makes before it becomes another program. All
# children but one are let go at once: strace can't tell one child from another.
package ChildFault;
use strict;
use warnings;
use POSIX qw(SIGTRAP);
use Run;

# System calls, requests and events of ptrace, places of registers.
use constant {
    PTRACE => 101,
    TRACEME => 0,
    PEEKUSER => 3,
    POKEUSER => 6,
    CONT => 7,
    DETACH => 17,
    SYSCALL => 24,
    SETOPTIONS => 0x4200,
    GETEVENTMSG => 0x4201,
    FOLLOW_CHILDREN => 0x02 | 0x04 | 0x08,
    MARK_SYSCALLS => 0x01,
    RESULT => 8 * 10,
    NUMBER => 8 * 15,
    WAIT4 => 61,
    WALL => 0x40000000,
};

my %numbers = (close => 3, dup2 => 33, fcntl => 72, execve => 59, close_range => 436);

sub ptrace {
    my ($request, $pid, $address, $data) = @_;
    my $result = syscall(PTRACE, $request, $pid, $address, $data);
    die "ptrace request $request: $!\n" if $result == -1;
}

# Makes a request that returns a number.
sub ask {
    my ($request, $pid, $address) = @_;
    my $value = pack 'q', 0;
    my $result = syscall(PTRACE, $request, $pid, $address, $value);
    die "ptrace request $request: $!\n" if $result == -1;
    return unpack 'q', $value;
}

# Starts a program that is stopped at its beginning.
sub start {
    my ($command, $directory, $output) = @_;
    my $pid = fork;
    die "fork: $!\n" if !defined $pid;
    return $pid if $pid != 0;
    eval {
        ptrace(TRACEME, 0, 0, 0);
        Run::become($command, $directory, $output);
    };
    print STDERR $@;
    POSIX::_exit(127);
}

# The next stop or end of a process; the number is 0 for an end.
sub next_stop {
    my ($pid) = @_;
    my $status = pack 'l', 0;
    syscall(WAIT4, $pid, $status, WALL, 0) > 0 or die "wait4: $!\n";
    $status = unpack 'l', $status;
    return ($status & 0xff) == 0x7f ? $status >> 8 : 0;
}

# Runs on to the process's next fork, and returns the child; nothing if the process ends before.
sub next_child {
    my ($pid) = @_;
    my $signal = 0;
    while (1) {
        ptrace(CONT, $pid, 0, $signal);
        my $stop = next_stop($pid) or return;
        return ask(GETEVENTMSG, $pid, 0) if $stop >> 8;
        $signal = $stop == SIGTRAP ? 0 : $stop;
    }
}

# Lets the call fail that a child is about to make, and the child go.
sub fail_now {
    my ($child, $error) = @_;
    ptrace(POKEUSER, $child, NUMBER, -1);
    ptrace(SYSCALL, $child, 0, 0);
    next_stop($child);
    ptrace(POKEUSER, $child, RESULT, -$error);
    ptrace(DETACH, $child, 0, 0);
    return 1;
}

# Lets the wanted one of the calls fail that a stopped child makes, and the child go. Returns
# whether there was such a call.
sub fail_call {
    my ($child, $fault) = @_;
    my $count = 0;
    while (1) {
        ptrace(SYSCALL, $child, 0, 0);
        my $stop = next_stop($child) or return 0;
        last if !($stop & 0x80);
        ++$count if ask(PEEKUSER, $child, NUMBER) == $numbers{$fault->{name}};
        return fail_now($child, $fault->{number}) if $count == $fault->{occurrence};
        ptrace(SYSCALL, $child, 0, 0);
        next_stop($child) or return 0;
    }
    ptrace(DETACH, $child, 0, 0); # it has become the program
    return 0;
}

# Lets the children pass up to the wanted one, and the call of that one fail.
sub disturb {
    my ($pid, $fault) = @_;
    next_stop($pid);
    ptrace(SETOPTIONS, $pid, 0, FOLLOW_CHILDREN | MARK_SYSCALLS);
    for my $number (1 .. $fault->{child}) {
        my $child = next_child($pid) or return 0;
        next_stop($child);
        if ($number < $fault->{child}) {
            ptrace(DETACH, $child, 0, 0);
        } else {
            my $hit = fail_call($child, $fault);
            ptrace(DETACH, $pid, 0, 0);
            return $hit;
        }
    }
}

# Runs a command with the fault. Returns the result and whether the call was made.
sub run {
    my ($command, $directory, $output, $fault) = @_;
    die "The number of $fault->{name} is not known\n" if !defined $numbers{$fault->{name}};
    my $hit = 0;
    my $wait = sub {
        my ($pid) = @_;
        $hit = disturb($pid, $fault);
        return Run::wait_for($pid);
    };
    return (Run::finish(start($command, $directory, $output), $output, $wait), $hit);
}

1;
