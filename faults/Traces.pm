# What strace writes about the system calls of processes, and what that tells of them.
package Traces;
use strict;
use warnings;

# A line about one call, after the process id that begins the lines about several.
sub parse {
    my ($line) = @_;
    my ($name, $arguments, $result) = $line =~ /^(\w+)\((.*)\) += (.*)$/ or return;
    return {name => $name, arguments => $arguments, result => $result};
}

# The calls of a process from the beginning of main on, numbered by their names as strace does,
# which counts from the beginning of the process. Of a call through a descriptor it is told whether
# that is a non-blocking pipe, or was opened for writing.
sub calls_of_program {
    my ($trace) = @_;
    my (%count, %non_blocking, %written, @calls);
    for my $line (split /\n/, $trace) {
        my $call = parse($line) or next;
        $call->{occurrence} = ++$count{$call->{name}};
        my ($pipe) = $call->{arguments} =~ /^\d+<(pipe:\[\d+\])>/;
        $non_blocking{$pipe} = 1 if $pipe && $call->{arguments} =~ /F_SETFL.*O_NONBLOCK/;
        $call->{non_blocking} = $pipe && $non_blocking{$pipe};
        my ($descriptor) = "$call->{name} $call->{arguments}" =~ /^\w+ (\d+)</;
        $call->{written} = $written{$descriptor} if defined $descriptor;
        my ($opened) = "$call->{name} $call->{result}" =~ /^open\w* (\d+)/;
        $written{$opened} = is_change($call) if defined $opened;
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
sub calls_of_children {
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

# The paths that a call is about, by their names and by descriptors.
sub paths_of {
    my ($call) = @_;
    return grep { defined } $call->{arguments} =~ m{"((?:[^"\\]|\\.)*)"|(?<=\d)<(/[^>]*)>}g;
}

# What a process had open at the end, besides the standard streams.
sub left_open {
    my (@calls) = @_;
    my %open;
    for my $call (@calls) {
        if ($call->{name} eq 'close') {
            delete $open{$1} if $call->{arguments} =~ /^(\d+)/; # gone even if the call has failed
        } elsif ($call->{name} =~ /^pipe/) {
            @open{$1, $3} = ($2, $4)
                if $call->{arguments} =~ /^\[(\d+)<(.*?)>, (\d+)<(.*?)>\]/;
        } elsif ($call->{result} =~ /^(\d+)<(.*)>/ && $1 > 2) {
            $open{$1} = $2;
        }
    }
    return map { "descriptor $_ of $open{$_} was left open" } sort keys %open;
}

# Where a process worked at the end, if it has changed its directory.
sub last_directory {
    my (@calls) = @_;
    my $last;
    for my $call (grep { $_->{name} =~ /chdir$/ && $_->{result} eq '0' } @calls) {
        $last = $1 if $call->{arguments} =~ m{[<"](/[^>"]*)};
    }
    return $last;
}

my $changing = qr/^(?:creat|mk|rm|unlink|symlink|link|rename|truncate|utime|l?ch(?:own|mod)
    |fch(?:own|mod)at)/x;

sub is_change {
    my ($call) = @_;
    return $call->{arguments} =~ /O_(WRONLY|RDWR|CREAT|TRUNC)/ if $call->{name} =~ /^open/;
    return $call->{name} =~ $changing;
}

# Changes outside the directory. Names tell: the working directory and all descriptors have been
# reached by some.
sub changes_outside {
    my ($root, @calls) = @_;
    my @wrong;
    for my $call (grep { is_change($_) } @calls) {
        my @paths = grep { m{^/} && !m{^(/dev/null$|/proc/self/fd/|\Q$root\E/)} } paths_of($call);
        push @wrong, "$call->{name} changes $paths[0]" if @paths;
    }
    return @wrong;
}

1;
