# What must hold after a run, whatever happened to it. Each judgement returns texts, one for each
# violation.
package Judge;
use strict;
use warnings;
use Tree;

sub lines_of {
    my ($path) = @_;
    return split /\n/, Tree::read_file($path);
}

# The records of each log: those that are in it, and those that log preparation has still to move.
sub offered_records {
    my ($root) = @_;
    my %offered;
    for my $log (Tree::counted_logs($root), Tree::uncounted_logs($root)) {
        $offered{$log->{name}} = [lines_of($log->{path}), lines_of("$root/incoming/$log->{name}")];
    }
    return \%offered;
}

sub records_of_log {
    my ($root, $log, $offered) = @_;
    return ("$log->{path} is gone") if !-f $log->{path};
    my %kept = map { $_ => 1 } lines_of($log->{path}), lines_of("$root/incoming/$log->{name}");
    my @gone = grep { !$kept{$_} } @$offered;
    my %taken = map { $_ => 1 } defined $log->{ledger} ? lines_of($log->{ledger}) : ();
    my @lost = grep { !$taken{$_} } @gone;
    my @wrong = map { "record '$_' is lost" } @lost;
    my %had = map { $_ => 1 } @$offered;
    my @strange = grep { !$had{$_} } keys %kept;
    push @wrong, "$log->{path} has a record '$_' that nobody wrote" for @strange;
    push @wrong, "$log->{path} lost only a part of its records" if @gone && -s $log->{path};
    return @wrong;
}

# Every record is in its log, or the generator that took it in has come to its end.
sub records {
    my ($root, $offered) = @_;
    return map { records_of_log($root, $_, $offered->{$_->{name}}) }
        Tree::counted_logs($root), Tree::uncounted_logs($root);
}

# The logs are whole, as their generator has not ended well.
sub kept {
    my ($root, $offered, @logs) = @_;
    my @wrong;
    for my $log (@logs) {
        my %has = map { $_ => 1 } lines_of($log->{path}), lines_of("$root/incoming/$log->{name}");
        push @wrong, "$log->{path} was emptied, though its generator failed"
            if grep { !$has{$_} } @{$offered->{$log->{name}}};
    }
    return @wrong;
}

# The number of records that judgements call lost.
sub lost_records {
    my %lost = map { $_ => 1 } grep { /is lost$/ } map { @$_ } @_;
    return scalar keys %lost;
}

# How often a record was taken in again.
sub doubled_records {
    my ($root) = @_;
    my $doubled = 0;
    for my $log (Tree::counted_logs($root)) {
        my %seen;
        $doubled += grep { $seen{$_}++ } lines_of($log->{ledger});
    }
    return $doubled;
}

# What a run may create, change and remove. Paths are those below the root.
my $domains = 'vhosts/system';
my $months = "$Tree::previous_month|$Tree::this_month|$Tree::expired_month";
my @output = (
    qr{^(ledger|incoming)/}, # the stand-ins'
    qr{^(running|complaints)$},
    qr{^panel/var/webalizer/webalizer\.cache$},
    qr{^$domains/$Tree::webalizer/statistics/(webstat|anon_ftpstat)(/|$)},
    qr{^$domains/$Tree::awstats/statistics/(webstat|ftpstat)/(index\.html|nav\.html|current)$},
    qr{^$domains/$Tree::awstats/statistics/(webstat|ftpstat)/($months)(/|$)},
    qr{^$domains/$Tree::awstats/conf/prev_month\.found$},
);
my @removable = (
    qr{^$domains/$Tree::none/logs/(access_log|xferlog)\.webstat$},
);

sub matches {
    my ($path, @patterns) = @_;
    return grep { $path =~ $_ } @patterns;
}

# Whether an entry is as it was. A prepared log may have other records.
sub unchanged {
    my ($path, $before, $after) = @_;
    return 0 if $before->{inode} != $after->{inode} || $before->{rights} ne $after->{rights};
    return 1 if $path =~ m{^$domains/[^/]+/logs/\w+\.webstat$} || $before->{kind} eq 'directory';
    return $before->{content} eq $after->{content} && $before->{changed} == $after->{changed};
}

# Nothing outside is created, changed or removed.
sub outside {
    my ($root, $before, $after) = @_;
    my @wrong;
    for my $path (sort keys %{{%$before, %$after}}) {
        my $place = substr $path, length $root;
        $place =~ s{^/}{};
        next if matches($place, @output);
        if (!$after->{$path}) {
            push @wrong, "$path is removed" if !matches($place, @removable);
        } elsif (!$before->{$path}) {
            push @wrong, "$path is created";
        } elsif (!unchanged($place, $before->{$path}, $after->{$path})) {
            push @wrong, "$path is changed";
        }
    }
    return @wrong;
}

# What the stand-ins found: descriptors that are not theirs, or another working directory.
sub surroundings {
    my ($root) = @_;
    return lines_of("$root/complaints");
}

use constant SIGABRT => 6;

# The run comes to an end of a kind that it knows, and leaves no children.
sub ending {
    my ($result) = @_;
    return ("it did not end within $Run::time_limit seconds") if $result->{overtime};
    my @wrong;
    my ($code, $signal) = ($result->{status} >> 8, $result->{status} & 127);
    push @wrong, "it ended by signal $signal" if $signal != 0 && $signal != SIGABRT;
    push @wrong, "it ended with status $code" if $code > 1;
    push @wrong, 'it ended with 0 and did not finish'
        if $result->{status} == 0 && $result->{out} !~ /^Finished\.$/m;
    push @wrong, "it left $result->{left}" if $result->{left} ne 'nothing';
    return @wrong;
}

sub is_page {
    my ($entry) = @_;
    return $entry->{kind} eq 'file' && $entry->{content} =~ /^\S+ \d+\.\d+$/m;
}

# Whether an entry is as wanted. A page may have more records.
sub as_wanted {
    my ($wanted, $entry) = @_;
    return 0 if $wanted->{rights} ne $entry->{rights};
    return $wanted->{content} eq $entry->{content} if !is_page($wanted);
    my %has = map { $_ => 1 } split /\n/, $entry->{content};
    return !grep { !$has{$_} } split /\n/, $wanted->{content};
}

# The entries that are not as they are in the other snapshot, but for the stand-ins' own and for
# logs, which have judgements of their own.
sub differences {
    my ($root, $wanted, $entries) = @_;
    my @different;
    for my $path (sort keys %{{%$wanted, %$entries}}) {
        next if $path =~ m{^\Q$root\E/(ledger|incoming|running|complaints)};
        my ($want, $entry) = ($wanted->{$path}, $entries->{$path});
        if (!$want) {
            push @different, "$path is left over";
        } elsif (!$entry) {
            push @different, "$path is missing";
        } elsif (!as_wanted($want, $entry)) {
            push @different, "$path is not up to date";
        }
    }
    return @different;
}

# An undisturbed run has done all that was left to do.
sub recovery {
    my ($root, $result, $wanted, $entries) = @_;
    return ("the next run did not end within $Run::time_limit seconds") if $result->{overtime};
    my @wrong = map { "after the next run, $_" } differences($root, $wanted, $entries);
    push @wrong, "the next run ended with wait status $result->{status}" if $result->{status} != 0;
    push @wrong, 'the next run did not finish' if $result->{out} !~ /^Finished\.$/m;
    for my $log (Tree::counted_logs($root)) {
        push @wrong, "after the next run, $log->{path} is not empty" if !-z $log->{path};
    }
    return @wrong;
}

sub output_lines {
    my ($result) = @_;
    return split /\n/, "$result->{out}\n$result->{err}";
}

# The lines that are not in the output of an undisturbed run, each as often as that is so.
sub additional_lines {
    my ($usual, $result) = @_;
    my %left;
    ++$left{$_} for output_lines($usual);
    return grep { --$left{$_} < 0 } output_lines($result);
}

# A failed write costs what was to be written, and nothing of what comes later.
sub silence {
    my ($usual, $result, $unwritten) = @_;
    my @missing = additional_lines($result, $usual);
    my $allowed = () = $unwritten =~ /\\n/g;
    return () if @missing <= $allowed;
    return (sprintf "%d lines of output are missing after %d that could not be written, like '%s'",
        @missing - $allowed, $allowed, $missing[-1]);
}

# A failure is told, with its reason and with the path or the routine: $expected has patterns of
# both. "always" is set in it if that holds even where everything is as after an undisturbed run.
sub visibility {
    my ($usual, $result, $expected, @different) = @_;
    push @different, "wait status $result->{status}" if ($result->{status} || 0) != 0;
    push @different, 'it happened' if $expected->{always};
    return () if !@different;
    my $said = join "\n", additional_lines($usual, $result);
    my @missing;
    push @missing, 'the reason' if $said !~ $expected->{reason};
    push @missing, 'the path or routine' if $said !~ $expected->{place};
    return () if !@missing;
    my $missing = join ' and ', @missing;
    return ("the output does not tell $missing, though $different[0]");
}

1;
