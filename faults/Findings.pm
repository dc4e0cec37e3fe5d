# What all trials have found: the violations, and how many others are accepted.
package Findings;
use strict;
use warnings;
use Accepted;

my @violations;

# Text that is safe to show, whatever the names in it are.
sub printable {
    my ($text) = @_;
    return $text =~ s/([^ -~])/sprintf '\\x%02x', ord $1/ger;
}

# Takes in what is wrong after some deed: texts by their judgements. A title tells the deed apart
# from others like it. Returns how many of the texts are violations, and how many are accepted.
sub add {
    my ($deed, $wrong, $title) = @_;
    my ($found, $accepted) = (0, 0);
    for my $judgement (sort keys %$wrong) {
        my @texts = @{$wrong->{$judgement}};
        my @left = grep { !Accepted::covers($judgement, $deed, $_) } @texts;
        $accepted += @texts - @left;
        next if !@left;
        $found += @left;
        my $more = @left > 1 ? sprintf ', and %d more', @left - 1 : '';
        my $place = join '  ', grep { defined } $title, substr $deed, 0, 300;
        push @violations, printable("$judgement: $left[0]$more") . "\n    " . printable($place);
    }
    return ($found, $accepted);
}

# Does the same, and shows a row of a table, with what is to be told of the case.
sub add_row {
    my ($case, $result, $wrong) = @_;
    my ($found, $accepted) = add($case, $wrong);
    my @counts = ($found ? "$found violations" : (), $accepted ? "$accepted accepted" : ());
    my $counts = join ', ', @counts ? @counts : 'good', length $result ? $result : ();
    printf "%-46s %s\n", printable($case), $counts;
}

# Tells what is wrong, and returns the exit status. $whole: whether all was tried, so that whatever
# is accepted must have been seen.
sub conclude {
    my ($whole) = @_;
    push @violations, map { "What is accepted has not been seen: $_" } Accepted::unused()
        if $whole;
    print map { "$_\n" } '', @violations if @violations;
    printf "\n%d violations\n", scalar @violations;
    return @violations ? 1 : 0;
}

1;
