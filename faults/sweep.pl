#!/usr/bin/perl
# Tries faults: runs the program over a small server again and again, lets another of its system
# calls fail each time, and judges what it leaves.
#
# usage: sweep.pl [--sample COUNT] [--only FAULT] PROGRAM DIRECTORY, both with their whole paths
#
# The program reads its configuration from etc/zut/zut.conf below its working directory and the time
# from TEST_TIME, as statistics_run_under_test of the tests does. The directory is the sweep's own.
# With a sample, COUNT faults are tried, the same ones each time. --only tries one, named as in the
# list of violations, and leaves the server, the output and the trace in the directory.
use strict;
use warnings;
use Errno;
use Getopt::Long qw(GetOptions);
use File::Basename qw(basename dirname);
use lib dirname(__FILE__);
use Accepted;
use Calls;
use ChildFault;
use Findings;
use Run;
use Traces;
use Trial;
use Tree;

my $usage = "usage: sweep.pl [--sample COUNT] [--only FAULT] PROGRAM DIRECTORY\n";
my ($sample, $only);
GetOptions('sample=i' => \$sample, 'only=s' => \$only) or die $usage;
my ($program, $place) = @ARGV;
die $usage if @ARGV != 2 || grep { !m{^/} } @ARGV;
my $trace = "$place/trace";
my %tried; # by the calls' names: occurrences, faults, violations
my %totals = map { $_ => 0 } qw(faults violations accepted records lost doubled);
my @missed;

sub strace {
    my ($trial, @options) = @_;
    my $command = ['strace', '-qq', '-y', '-s', '4096', '-o', $trace, @options, $trial->{program}];
    return Run::run($command, $trial->{root}, $trial->{output});
}

# All calls that may be made to fail.
sub calls_to_fail {
    my ($trial) = @_;
    my @calls;
    for my $options ([], ['-f']) {
        Tree::lay_out($trial->{root});
        my $result = strace($trial, @$options);
        die "A traced run has failed: $result->{err}\n" if $result->{status} != 0;
        my $text = Tree::read_file($trace);
        push @calls, @$options ? Traces::calls_of_children($text) : Traces::calls_of_program($text);
    }
    return @calls;
}

sub faults_of {
    my ($call) = @_;
    my $place = $call->{child} ? "child$call->{child}/" : '';
    return map {
        {%$call, error => $_, number => Errno->can($_)->(),
            id => "$place$call->{name}:$call->{occurrence}:$_"}
    } Calls::errors_of($call);
}

# Every so manyth fault, which takes from all calls and errors.
sub choose {
    my (@faults) = @_;
    return grep { $_->{id} eq $only } @faults if defined $only;
    return @faults if !defined $sample || $sample >= @faults;
    return map { $faults[int($_ * @faults / $sample)] } 0 .. $sample - 1;
}

# Lets the program's own call fail. Returns the result and the call that failed: how many reads it
# takes to empty a pipe differs from run to run, and the number may have been that of another call.
# If that can't fail in this way, nothing is returned for it.
sub disturb_program {
    my ($trial, $fault) = @_;
    my $result = strace($trial,
        '-e', "inject=$fault->{name}:error=$fault->{error}:when=$fault->{occurrence}");
    $result->{calls} = [Traces::calls_of_program(Tree::read_file($trace))];
    my @made = grep { $_->{result} =~ /\(INJECTED\)/ } @{$result->{calls}};
    return ($result, grep { is_possible($_, $fault->{error}) } @made);
}

sub is_possible {
    my ($call, $error) = @_;
    return grep { $_ eq $error } Calls::errors_of($call);
}

sub disturb_child {
    my ($trial, $fault) = @_;
    my ($result, $hit) =
        ChildFault::run([$trial->{program}], $trial->{root}, $trial->{output}, $fault);
    return ($result, $hit ? $fault : ());
}

sub describe {
    my ($fault) = @_;
    my $then = defined $fault->{becomes} ? " before $fault->{becomes}" : '';
    return "$fault->{name}($fault->{arguments}) $fault->{error}$then";
}

# The patterns that tell a path: by its last part at least, or as the directory that a run works in.
sub names_of {
    my ($fault) = @_;
    return if $fault->{child} || $fault->{arguments} =~ m{/proc/};
    my @names = map { basename($_) } Traces::paths_of($fault);
    push @names, 'current dir' if $fault->{name} =~ /^(close|fchdir)$/ || grep { $_ eq '.' } @names;
    return map { /\w/ ? quotemeta : "entry \Q$_\E:" } @names;
}

# What the output must say about a fault.
sub expected {
    my ($fault) = @_;
    my $reason = do { local $! = $fault->{number}; "$!" };
    my $names = join '|', names_of($fault);
    return {
        reason => qr/\Q$reason\E/,
        length $names ? (place => qr/$names/) : (),
        always => Calls::is_failure($fault),
    };
}

# What the trace tells.
sub judge_trace {
    my ($root, $result, $wrong) = @_;
    my @calls = @{$result->{calls} || []};
    push @{$wrong->{outside}}, Traces::changes_outside($root, @calls);
    return if $result->{out} !~ /^Finished\.$/m;
    push @{$wrong->{surroundings}}, Traces::left_open(@calls);
    my $directory = Traces::last_directory(@calls);
    push @{$wrong->{surroundings}}, "the run ended in $directory"
        if defined $directory && $directory ne $root;
}

sub judge {
    my ($trial, $fault, $outcome) = @_;
    my ($result, $wrong) = @$outcome{qw(result wrong)};
    $wrong->{surroundings} = [] if $fault->{name} eq 'close'; # nothing is closed then
    judge_trace($trial->{root}, $result, $wrong);
    push @{$wrong->{visibility}}, Judge::silence($trial->{usual}, $result, $1)
        if "$fault->{name} $fault->{arguments}" =~ /^write [12]<[^>]*>, "(.*)"/;
    my ($found, $accepted) = Findings::add(describe($fault), $wrong, $fault->{id});
    my %counts = (%{$outcome->{counts}}, faults => 1, violations => $found, accepted => $accepted);
    $totals{$_} += $counts{$_} for keys %counts;
    $tried{$fault->{name}}{$_} += $counts{$_} for qw(faults violations);
}

sub try_fault {
    my ($trial, $fault) = @_;
    for (1 .. 5) {
        my $made; # the fault, as it was made
        my $outcome = Trial::try($trial, sub {
            my ($result, $failed) =
                $fault->{child} ? disturb_child($trial, $fault) : disturb_program($trial, $fault);
            return $result if !$failed;
            $made = {%$fault, %$failed};
            return ($result, expected($made));
        });
        return judge($trial, $made, $outcome) if $made;
    }
    push @missed, $fault->{id};
}

sub print_table {
    my $format = "%-14s %11s %7s %10s\n";
    printf $format, 'call', 'occurrences', 'faults', 'violations';
    printf $format, $_, map { $_ || 0 } @{$tried{$_}}{qw(occurrences faults violations)}
        for sort keys %tried;
    printf "\n%d faults tried, %d whose call was not made: @missed\n", $totals{faults},
        scalar @missed;
    printf "%d records offered, %d lost, %d taken in again\n", @totals{qw(records lost doubled)};
    printf "%d violations, and %d accepted ones\n", @totals{qw(violations accepted)};
}

$ENV{LC_ALL} = 'C';
Run::begin();
Accepted::load('sweep');
my $trial = Trial::prepare($program, $place);
my @calls = calls_to_fail($trial);
++$tried{$_->{name}}{occurrences} for @calls;
my @faults = choose(map { faults_of($_) } @calls);
die "There is no such fault\n" if !@faults;
try_fault($trial, $_) for @faults;
print_table();
Findings::add('the sweep', {missed => [@missed]}) if 20 * @missed > @faults;
exit Findings::conclude(!defined $sample && !defined $only);
