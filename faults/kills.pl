#!/usr/bin/perl
# Kills the program and its generators at random moments, over a small server, and judges what is
# left.
#
# usage: kills.pl [--runs COUNT] [--generators COUNT] [--seed NUMBER] PROGRAM DIRECTORY
#
# Program and directory, with their whole paths, are such as for the sweep. A run is killed by
# itself, or with all that it has started, as by a power failure.
use strict;
use warnings;
use Getopt::Long qw(GetOptions);
use POSIX ();
use Time::HiRes qw(sleep time);
use File::Basename qw(dirname);
use lib dirname(__FILE__);
use Accepted;
use Judge;
use Run;
use Trial;
use Tree;

my $usage = "usage: kills.pl [--runs COUNT] [--generators COUNT] [--seed NUMBER] PROGRAM DIRECTORY\n";
my ($runs, $generators, $seed) = (200, 200, 1);
GetOptions('runs=i' => \$runs, 'generators=i' => \$generators, 'seed=i' => \$seed) or die $usage;
my ($program, $place) = @ARGV;
die $usage if @ARGV != 2 || grep { !m{^/} } @ARGV;
my $work = 4000; # rounds that a stand-in loops, some milliseconds
my ($trial, $run_time);
my @violations;
my %totals = map { $_ => 0 } qw(killed missed accepted records lost doubled);

sub start {
    local $ENV{STUB_DELAY} = $work;
    return Run::start([$program], $trial->{root}, $trial->{output});
}

# How long an undisturbed run takes: the longest of some.
sub measure {
    my $longest = 0;
    for (1 .. 5) {
        Tree::lay_out($trial->{root});
        my $begin = time;
        Run::wait_for(start());
        my $duration = time - $begin;
        $longest = $duration if $duration > $longest;
    }
    return $longest;
}

# Kills the run after a random time. What it has started goes on, or ends with it.
sub kill_run {
    my ($everything) = @_;
    my $pid = start();
    sleep rand $run_time;
    kill 'KILL', $pid;
    my $status = Run::wait_for($pid);
    Run::end_all() if $everything;
    Run::wait_for_all() or die "A stand-in does not end\n";
    return ({status => $status}, ($status & 127) == 9 ? 'itself' : undef);
}

# The command line of the generator that was started last; nothing if it has ended.
sub running_generator {
    my ($pid) = Tree::read_file("$trial->{root}/running") =~ /^(\d+)$/ or return;
    my $command = Tree::read_file("/proc/$pid/cmdline") =~ tr/\0/ /r;
    return $command =~ m{^\S+ (\Q$trial->{root}\E/bin/.*)} ? ($pid, $1) : ();
}

sub has_ended {
    my ($pid) = @_;
    return Tree::read_file("/proc/$pid/stat") =~ /^\d+ \(.*\) [ZX]|^$/;
}

# Kills the generator that runs after a random time, or the next one. Returns its command line.
sub kill_generator {
    my ($run, $signal) = @_;
    sleep rand $run_time;
    while (!has_ended($run)) {
        my ($pid, $command) = running_generator();
        return $command if defined $pid && kill $signal, $pid;
        sleep 0.0005;
    }
    return;
}

sub disturb_generator {
    my ($signal) = @_;
    my $pid = start();
    my $command = kill_generator($pid, $signal);
    return (Run::finish($pid, $trial->{output}, \&Run::wait_for), $command);
}

sub take_note {
    my ($deed, $judgement, @texts) = @_;
    if (Accepted::covers($judgement, $deed, @texts)) {
        ++$totals{accepted};
        return;
    }
    my $more = @texts > 1 ? sprintf ', and %d more', @texts - 1 : '';
    push @violations, "$judgement: $texts[0]$more\n    $deed";
}

# One trial. $disturb returns the run's result and what was killed, nothing if it was too late.
sub try_kill {
    my ($disturb, $reason, $deed) = @_;
    my $killed;
    my $outcome = Trial::try($trial, sub {
        my $result;
        ($result, $killed) = $disturb->();
        return $result;
    }, $reason);
    ++$totals{$killed ? 'killed' : 'missed'};
    $totals{records} += Trial::offered($trial);
    $totals{doubled} += $outcome->{doubled};
    my $wrong = $outcome->{wrong};
    $totals{lost} += Judge::lost_records(@$wrong{qw(records recovery)});
    for my $judgement (sort keys %$wrong) {
        my @texts = @{$wrong->{$judgement}};
        take_note("$deed " . ($killed || ''), $judgement, @texts) if @texts;
    }
}

# Makes trials until as many have come in time as are wanted.
sub repeat {
    my ($title, $wanted, $try) = @_;
    while ($totals{killed} < $wanted) {
        die "Too many of the runs end before they are killed\n" if $totals{missed} > $wanted + 10;
        $try->();
    }
    printf "%s: %d killed, %d others ended before\n", $title, @totals{qw(killed missed)};
    printf "    %d records offered, %d lost, %d taken in again, %d violations accepted\n",
        @totals{qw(records lost doubled accepted)};
    %totals = map { $_ => 0 } keys %totals;
}

$ENV{LC_ALL} = 'C';
srand $seed;
Run::inherit_orphans();
$trial = Trial::prepare($program, $place);
$run_time = measure();
printf "A run takes %.0f ms. Seed %d\n", 1000 * $run_time, $seed;
repeat('Runs', int($runs / 2), sub {
    try_kill(sub { kill_run(0) }, undef, 'SIGKILL for the run');
});
repeat('Runs with all that they have started', $runs - int($runs / 2), sub {
    try_kill(sub { kill_run(1) }, undef, 'SIGKILL for all of the run');
});
repeat('Generators', $generators, sub {
    my $signal = $totals{killed} % 2 ? 'KILL' : 'TERM';
    try_kill(sub { disturb_generator($signal) }, 'signal', "SIG$signal for");
});
print map { "$_\n" } @violations;
exit(@violations ? 1 : 0);
