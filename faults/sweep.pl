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
use File::Basename qw(dirname);
use lib dirname(__FILE__);
use Accepted;
use Calls;
use ChildFault;
use Run;
use Trial;
use Tree;

my $usage = "usage: sweep.pl [--sample COUNT] [--only FAULT] PROGRAM DIRECTORY\n";
my ($sample, $only);
GetOptions('sample=i' => \$sample, 'only=s' => \$only) or die $usage;
my ($program, $place) = @ARGV;
die $usage if @ARGV != 2 || grep { !m{^/} } @ARGV;
my $trace = "$place/trace";
my %tried;      # by the calls' names: occurrences, faults, violations
my @violations; # not accepted ones
my %totals = map { $_ => 0 } qw(faults missed accepted records lost doubled);

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
        push @calls, @$options ? Calls::of_children($text) : Calls::of_program($text);
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
    my @made = grep { $_->{result} =~ /\(INJECTED\)/ } Calls::of_program(Tree::read_file($trace));
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

sub take_note {
    my ($fault, $judgement, @texts) = @_;
    if (Accepted::covers($judgement, describe($fault), @texts)) {
        ++$totals{accepted};
        return;
    }
    ++$tried{$fault->{name}}{violations};
    my $more = @texts > 1 ? sprintf ', and %d more', @texts - 1 : '';
    my $what = substr describe($fault), 0, 300;
    push @violations, "$judgement: $texts[0]$more\n    $fault->{id}  $what";
}

# A trial of a fault. Returns its outcome and the call that failed.
sub trial_of {
    my ($trial, $fault) = @_;
    my $failed;
    my $disturb = sub {
        my $result;
        ($result, $failed) =
            $fault->{child} ? disturb_child($trial, $fault) : disturb_program($trial, $fault);
        return $result;
    };
    my $reason = do { local $! = $fault->{number}; "$!" };
    return (Trial::try($trial, $disturb, $reason), $failed);
}

sub judge {
    my ($trial, $fault, $outcome) = @_;
    ++$totals{faults};
    ++$tried{$fault->{name}}{faults};
    $totals{records} += Trial::offered($trial);
    $totals{doubled} += $outcome->{doubled};
    my $wrong = $outcome->{wrong};
    $totals{lost} += Judge::lost_records(@$wrong{qw(records recovery)});
    push @{$wrong->{visibility}}, Judge::silence($trial->{usual}, $outcome->{result}, $1)
        if "$fault->{name} $fault->{arguments}" =~ /^write [12]<[^>]*>, "(.*)"/;
    for my $judgement (sort keys %$wrong) {
        my @texts = @{$wrong->{$judgement}};
        take_note($fault, $judgement, @texts) if @texts;
    }
}

sub try_fault {
    my ($trial, $fault) = @_;
    for (1 .. 5) {
        my ($outcome, $failed) = trial_of($trial, $fault);
        next if !$failed;
        return judge($trial, {%$fault, arguments => $failed->{arguments}}, $outcome);
    }
    ++$totals{missed};
}

sub print_table {
    my $format = "%-14s %11s %7s %10s\n";
    printf $format, 'call', 'occurrences', 'faults', 'violations';
    printf $format, $_, map { $_ || 0 } @{$tried{$_}}{qw(occurrences faults violations)}
        for sort keys %tried;
    printf "\n%d faults tried, %d whose call was not made\n", @totals{qw(faults missed)};
    printf "%d records offered, %d lost, %d taken in again\n", @totals{qw(records lost doubled)};
    printf "%d violations, and %d accepted ones\n", scalar @violations, $totals{accepted};
}

$ENV{LC_ALL} = 'C';
Run::inherit_orphans();
my $trial = Trial::prepare($program, $place);
my @calls = calls_to_fail($trial);
++$tried{$_->{name}}{occurrences} for @calls;
my @faults = choose(map { faults_of($_) } @calls);
die "There is no such fault\n" if !@faults;
try_fault($trial, $_) for @faults;
push @violations, map { "The accepted violation is not there: $_" } Accepted::unused()
    if !defined $sample && !defined $only;
print_table();
print "\n", map { "$_\n" } @violations if @violations;
exit(@violations ? 1 : 0);
