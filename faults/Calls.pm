# The system calls that the program makes itself, and the errors that they can give.
package Calls;
use strict;
use warnings;
use Tree;

# Errors of calls that take a path. That it is not there (ENOENT) is an answer rather than a failure
# where the program looks at something or removes it, and a wrong answer is no fault to be tried.
my @path_errors = qw(EACCES EIO ENOMEM);
my @change_errors = (@path_errors, 'EROFS');
my @create_errors = (@change_errors, qw(ENOENT ENOSPC EDQUOT));

my %errors = (
    brk => \&no_errors, # tells a failure by the value that it returns
    chdir => [@path_errors, 'ENOENT'],
    chmod => [@change_errors, 'ENOENT', 'EPERM'],
    chown => [@change_errors, qw(EDQUOT ENOENT EPERM)],
    clone => ['EAGAIN', 'ENOMEM'],
    clone3 => ['EAGAIN', 'ENOMEM'],
    close => \&close_errors,
    close_range => ['EMFILE', 'ENOMEM', 'ENOSYS'],
    dup2 => ['EBUSY', 'EINTR', 'EMFILE'],
    execve => [@path_errors, qw(EAGAIN EMFILE ENFILE ENOENT ETXTBSY)],
    fchdir => ['EACCES', 'EIO'],
    fcntl => \&fcntl_errors,
    fstat => ['EIO', 'ENOMEM'],
    ftruncate => [qw(EDQUOT EINTR EIO ENOSPC EPERM)],
    getdents64 => ['EIO', 'ENOMEM'],
    lseek => \&no_errors, # of a file or a pipe, with a place that is right
    mkdir => [@create_errors, 'EMLINK'],
    mmap => ['ENOMEM'],
    newfstatat => \&status_errors,
    openat => \&open_errors,
    pipe => ['EMFILE', 'ENFILE'],
    pipe2 => ['EMFILE', 'ENFILE'],
    poll => ['EINTR', 'ENOMEM'],
    ppoll => ['EINTR', 'ENOMEM'],
    read => \&read_errors,
    rmdir => [@change_errors, 'EBUSY', 'ENOTEMPTY'],
    statx => \&status_errors,
    symlink => [@create_errors, 'EEXIST'],
    unlink => [@change_errors, 'EBUSY', 'EPERM'],
    unlinkat => [@change_errors, 'EBUSY', 'EPERM'],
    wait4 => \&wait_errors,
    write => \&write_errors,
    # These do not fail.
    map({ $_ => \&no_errors } qw(exit_group futex getpid gettid munmap prlimit64 rt_sigaction
            rt_sigprocmask set_robust_list sigaltstack)),
    # These are those of an abnormal end.
    map({ $_ => \&no_errors } qw(kill tgkill)),
);
$errors{$_} = $errors{newfstatat} for qw(stat lstat);
$errors{$_} = $errors{clone} for qw(fork vfork);
$errors{lchown} = $errors{fchownat} = $errors{chown};
$errors{fchmodat} = $errors{chmod};
$errors{mkdirat} = $errors{mkdir};
$errors{symlinkat} = $errors{symlink};

sub no_errors { return () }

sub is_pipe {
    my ($arguments) = @_;
    return $arguments =~ /^\d+<pipe:/;
}

sub close_errors {
    my ($arguments) = @_;
    return is_pipe($arguments) ? () : ('EIO', 'EINTR', 'ENOSPC');
}

sub fcntl_errors {
    my ($arguments) = @_;
    return ('EACCES') if $arguments =~ /F_SETFL/;
    return ('EMFILE') if $arguments =~ /F_DUPFD/;
    return ();
}

sub status_errors {
    my ($arguments) = @_;
    return $arguments =~ /, "",/ ? ('EIO', 'ENOMEM') : (@path_errors, 'ELOOP');
}

sub open_errors {
    my ($arguments) = @_;
    my @errors = (@path_errors, qw(EMFILE ENFILE ENOENT));
    push @errors, 'ENOSPC', 'EDQUOT' if $arguments =~ /O_CREAT/;
    push @errors, 'EROFS' if $arguments =~ /O_RDWR|O_WRONLY/ && $arguments !~ m{/dev/null};
    return @errors;
}

sub read_errors {
    my ($arguments, $non_blocking) = @_;
    return ('EIO') if !is_pipe($arguments);
    return $non_blocking ? ('EAGAIN', 'EINTR') : ('EINTR');
}

# Only a call that waits can be interrupted.
sub wait_errors {
    my ($arguments) = @_;
    return $arguments =~ /WNOHANG/ ? () : ('EINTR');
}

sub write_errors { return qw(EIO ENOSPC EDQUOT) }

sub errors_of {
    my ($call) = @_;
    my $errors = $errors{$call->{name}};
    die "The errors of $call->{name} are not known\n" if !defined $errors;
    return ref $errors eq 'ARRAY' ? @$errors : $errors->(@$call{qw(arguments non_blocking)});
}

# What strace writes about one call, after the process id that begins the lines about several.
sub parse {
    my ($line) = @_;
    my ($name, $arguments, $result) = $line =~ /^(\w+)\((.*)\) += (.*)$/ or return;
    return {name => $name, arguments => $arguments, result => $result};
}

# The calls of a run from the beginning of main on, numbered by their names as strace does, which
# counts from the beginning of the process.
sub of_program {
    my ($trace) = @_;
    my (%count, %non_blocking, @calls);
    for my $line (split /\n/, $trace) {
        my $call = parse($line) or next;
        $call->{occurrence} = ++$count{$call->{name}};
        my ($pipe) = $call->{arguments} =~ /^\d+<(pipe:\[\d+\])>/;
        $non_blocking{$pipe} = 1 if $pipe && $call->{arguments} =~ /F_SETFL.*O_NONBLOCK/;
        $call->{non_blocking} = $pipe && $non_blocking{$pipe};
        push @calls, $call if @calls || $call->{arguments} =~ m{"/dev/null", O_RDWR};
    }
    die "Nothing is known of what the program does\n" if !@calls;
    return @calls;
}

# The whole lines of a trace of several processes: strace breaks off the line of a call during which
# another process does something.
sub whole_lines {
    my ($trace) = @_;
    my (%begun, @lines);
    for my $line (split /\n/, $trace) {
        my ($pid, $text) = $line =~ /^(\d+) +(.*)$/ or next;
        if ($text =~ /^(.*) <unfinished \.\.\.>$/) {
            $begun{$pid} = $1;
        } elsif ($text =~ /^<\.\.\. \w+ resumed>(.*)$/) {
            push @lines, [$pid, "$begun{$pid}$1"];
        } else {
            push @lines, [$pid, $text];
        }
    }
    return @lines;
}

# The calls that the program's children make until they become other programs. The children are
# numbered in their order, and the calls of each by their names.
sub of_children {
    my ($trace) = @_;
    my @lines = whole_lines($trace);
    my $program = $lines[0][0];
    my (%calls, %count, @children);
    for (@lines) {
        my ($pid, $text) = @$_;
        my $call = parse($text) or next;
        if ($pid == $program) {
            push @children, $1 if $call->{name} =~ /clone|fork/ && $call->{result} =~ /^(\d+)/;
            next;
        }
        my $known = $calls{$pid} ||= [];
        next if @$known && $known->[-1]{name} eq 'execve';
        $call->{occurrence} = ++$count{$pid}{$call->{name}};
        push @$known, $call;
    }
    for my $number (1 .. @children) {
        my $calls = $calls{$children[$number - 1]};
        my ($program) = $calls->[-1]{arguments} =~ /^("[^"]*")/;
        @$_{qw(child becomes)} = ($number, $program) for @$calls;
    }
    return map { @{$calls{$_}} } @children;
}

1;
