# The table of what was tried, and the count of what went wrong.
package Cases;
use strict;
use warnings;

my (@accepted, @violations);

# What is known and accepted: a pattern of cases, one of violations, and the reason.
sub accept_known {
    my (@entries) = @_;
    push @accepted, map { {case => qr/^(?:$_->[0])$/s, text => qr/$_->[1]/s, reason => $_->[2]} } @entries;
}

# Text that is safe to show, whatever the names in it are.
sub printable {
    my ($text) = @_;
    return $text =~ s/([^ -~])/sprintf '\\x%02x', ord $1/ger;
}

sub excuse {
    my ($case, $text) = @_;
    my ($entry) = grep { $case =~ $_->{case} && $text =~ $_->{text} } @accepted;
    return 0 if !$entry;
    push @{$entry->{used}}, "$case: $text";
    return 1;
}

# Adds a case to the table: its name, what is to be told of it, and the violations.
sub add {
    my ($case, $result, @texts) = @_;
    my @wrong = grep { !excuse($case, $_) } @texts;
    push @violations, map { "$case: $_" } @wrong;
    my @counts = (@wrong ? @wrong . ' violations' : (), @texts > @wrong ? @texts - @wrong . ' accepted' : ());
    printf "%-46s %s\n", printable($case), join ', ', grep { length } @counts ? @counts : 'good', $result;
}

# Violations as one list, each with the judgement that it belongs to.
sub texts {
    my ($wrong) = @_;
    return map { my $judgement = $_; map { "$judgement: $_" } @{$wrong->{$judgement}} } sort keys %$wrong;
}

sub show {
    my ($title, @texts) = @_;
    print "\n$title\n", map { join('', map { printable($_) . "\n" } split /\n(?=    )/) } @texts if @texts;
}

# A reason, and the first of what it excuses.
sub summary {
    my ($entry) = @_;
    my ($first, @others) = @{$entry->{used}};
    return sprintf "%s\n    %s%s", $entry->{reason}, $first, @others ? sprintf ', and %d more', scalar @others : '';
}

# Tells what is accepted and what is wrong, and returns the exit status.
sub conclude {
    my ($partial) = @_;
    push @violations, map { "what is accepted has not been seen: $_->{reason}" } grep { !$_->{used} } @accepted
        if !$partial;
    show('Accepted:', map { summary($_) } grep { $_->{used} } @accepted);
    show('Violations:', @violations);
    printf "\n%d violations\n", scalar @violations;
    return @violations ? 1 : 0;
}

1;
