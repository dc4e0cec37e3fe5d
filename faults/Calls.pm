# The errors that system calls can give.
package Calls;
use strict;
use warnings;

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
    pipe => [qw(EMFILE ENFILE ENOMEM)],
    pipe2 => [qw(EMFILE ENFILE ENOMEM)],
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
    return is_pipe($arguments) ? () : qw(EIO EINTR ENOSPC EDQUOT);
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

# The streams may be somebody else's pipe or terminal.
sub write_errors {
    my ($arguments) = @_;
    return (qw(EIO ENOSPC EDQUOT EFBIG), $arguments =~ /^[12]</ ? qw(EAGAIN EINTR) : ());
}

sub errors_of {
    my ($call) = @_;
    my $errors = $errors{$call->{name}};
    die "The errors of $call->{name} are not known\n" if !defined $errors;
    return ref $errors eq 'ARRAY' ? @$errors : $errors->(@$call{qw(arguments non_blocking)});
}

# Calls that only look, or for which others are made.
my %harmless = map { $_ => 1 } qw(close_range fstat lstat newfstatat stat statx);

# Whether an error must be told even if the run does all that it would do without: not if the call
# is harmless, can be made again, or ends reading. Lines that can't be written can't tell.
sub is_failure {
    my ($call) = @_;
    my ($name, $arguments) = @$call{qw(name arguments)};
    return 0 if $harmless{$name} || $name eq 'write' && $arguments =~ /^[12]</;
    return 0 if $call->{error} =~ /^(EINTR|EAGAIN)$/ && $name =~ /^(poll|ppoll|read|wait4)$/;
    return $name ne 'close' || $call->{written};
}

1;
