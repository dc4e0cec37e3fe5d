#!/usr/bin/perl
# Kills the program and what it starts at random moments, over a small server, lets generators fail,
# and judges what is left.
#
# usage: kills.pl [--runs COUNT] [--generators COUNT] [--seed NUMBER] PROGRAM DIRECTORY
#
# Program and directory, with their whole paths, are such as for the sweep. A run is killed by
# itself, or with all that it has started, as by a power failure.
use strict;
use warnings;
use Getopt::Long qw(GetOptions);
use Time::HiRes qw(sleep time);
use File::Basename qw(dirname);
use lib dirname(__FILE__);
use Accepted;
use Findings;
use Judge;
use Run;
use Trial;
use Tree;

my $usage =
    "usage: kills.pl [--runs COUNT] [--generators COUNT] [--seed NUMBER] PROGRAM DIRECTORY\n";
my ($runs, $generators, $seed) = (200, 200, 1);
GetOptions('runs=i' => \$runs, 'generators=i' => \$generators, 'seed=i' => \$seed) or die $usage;
my ($program, $place) = @ARGV;
die $usage if @ARGV != 2 || grep { !m{^/} } @ARGV;
my $work = 4000; # rounds that a stand-in loops, some milliseconds
my $expected = {reason => qr/code:? -?\d+|signal \d+|execution failed/, always => 1};
my ($trial, $run_time, %totals);

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
    return ({status => $status}, ($status & 127) == 9 ? 'the run' : undef);
}

# The command line of the program that the run has started last; nothing if that has ended.
sub running_program {
    my ($pid) = Tree::read_file("$trial->{root}/running") =~ /^(\d+)$/ or return;
    my $command = Tree::read_file("/proc/$pid/cmdline") =~ tr/\0/ /r;
    return $command =~ m{^\S+ (\Q$trial->{root}\E/(?:bin|panel)/.*)} ? ($pid, $1) : ();
}

sub has_ended {
    my ($pid) = @_;
    return Tree::read_file("/proc/$pid/stat") =~ /^\d+ \(.*\) [ZX]|^$/;
}

# Kills the program that runs after a random time, or the next one. Returns its command line.
sub kill_program {
    my ($run, $signal) = @_;
    sleep rand $run_time;
    while (!has_ended($run)) {
        my ($pid, $command) = running_program();
        return $command if defined $pid && kill $signal, $pid;
        sleep 0.0005;
    }
    return;
}

sub disturb_program {
    my ($signal) = @_;
    my $pid = start();
    my $command = kill_program($pid, $signal);
    my $result = Run::finish($pid, $trial->{output}, \&Run::wait_for);
    # A signal may come too late to make a difference.
    return ($result, $command, {%$expected, always => 0});
}

# One trial. $disturb returns the run's result, what was killed (nothing if it was too late) and
# what is expected of the output.
sub try_kill {
    my ($deed, $disturb) = @_;
    my $killed;
    my $outcome = Trial::try($trial, sub {
        (my ($result), $killed, my $expected) = $disturb->();
        return ($result, $expected);
    });
    ++$totals{$killed ? 'killed' : 'missed'};
    $outcome->{counts} = {} if !$killed; # judged, but not counted
    take_in($outcome, "$deed " . ($killed || ''));
}

sub take_in {
    my ($outcome, $deed) = @_;
    my ($found, $accepted) = Findings::add($deed, $outcome->{wrong});
    my %counts = (%{$outcome->{counts}}, accepted => $accepted);
    $totals{$_} += $counts{$_} for keys %counts;
}

sub begin_group {
    %totals = map { $_ => 0 } qw(killed missed accepted records lost doubled);
}

sub end_group {
    my ($title) = @_;
    printf "%s, %d others ended before\n", $title, $totals{missed};
    printf "    %d records offered, %d lost, %d taken in again, %d violations accepted\n",
        @totals{qw(records lost doubled accepted)};
}

# Makes trials until as many have come in time as are wanted.
sub repeat {
    my ($title, $wanted, $deed, $disturb) = @_;
    begin_group();
    while ($totals{killed} < $wanted) {
        die "Too many of the runs end before they are killed\n" if $totals{missed} > $wanted + 10;
        try_kill($deed->(), $disturb);
    }
    end_group("$title: $wanted killed");
}

# Ways to fail: what a program does in place of its work, or after it.
my %failures = (
    'ends with 1 at once' => 'exit 1',
    'ends with 3 after its work' => '"$0.real" "$@"; exit 3',
    'ends with 255 after its work' => '"$0.real" "$@"; exit 255',
    'is killed after its work' => '"$0.real" "$@"; kill -KILL $$',
);

# Lets all runs of a program fail. Whatever it has done, it is not done.
sub try_failure {
    my ($name, $way) = @_;
    my $path = Tree::program($trial->{root}, $name);
    my @kept;
    my $outcome = Trial::try($trial, sub {
        rename $path, "$path.real" or die "$path: $!\n";
        Tree::write_program($path, "#!/bin/sh\n$failures{$way}\n");
        my $result = Trial::undisturbed($trial);
        rename "$path.real", $path or die "$path: $!\n";
        @kept = Judge::kept($trial->{root}, $trial->{offered},
            grep { $_->{generator} eq $name } Tree::counted_logs($trial->{root}));
        return ($result, $expected);
    });
    push @{$outcome->{wrong}{records}}, @kept;
    take_in($outcome, "$name $way");
    ++$totals{killed};
}

sub try_failures {
    begin_group();
    for my $name (qw(statistics_log_processor webalizer awstats.pl awstats_buildstaticpages.pl)) {
        try_failure($name, $_) for sort keys %failures;
    }
    end_group("Programs that fail: $totals{killed}");
}

$ENV{LC_ALL} = 'C';
srand $seed;
Run::begin();
Accepted::load('kills');
$trial = Trial::prepare($program, $place);
$run_time = measure();
printf "A run takes %.0f ms. Seed %d\n", 1000 * $run_time, $seed;
try_failures();
repeat('Runs', int($runs / 2), sub { 'SIGKILL for' }, sub { kill_run(0) });
repeat('Runs with all that they have started', $runs - int($runs / 2),
    sub { 'SIGKILL for all of' }, sub { kill_run(1) });
my $signal;
repeat('Started programs', $generators,
    sub { $signal = $totals{killed} % 2 ? 'KILL' : 'TERM'; "SIG$signal for" },
    sub { disturb_program($signal) });
exit Findings::conclude(0);
