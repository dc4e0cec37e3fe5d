# The violations that are known and accepted, from the file "accepted". It has a section for each
# program that makes trials, begun by "[name]". An entry is a line of three parts with tabs between
# them: the judgement, a pattern of what was done to the run, and a pattern of the violation. The
# lines before it that begin with "#" say why.
package Accepted;
use strict;
use warnings;
use File::Basename qw(dirname);
use Tree;

my $path = dirname(__FILE__) . '/accepted';
my @entries;

sub parse {
    my ($line) = @_;
    my ($judgement, $deed, $text) = split /\t+/, $line;
    die "$path: '$line' is no entry\n" if !defined $text;
    return {line => $line, judgement => $judgement, deed => qr/$deed/, text => qr/$text/};
}

# Takes the entries of a section.
sub load {
    my ($name) = @_;
    my ($lines) = Tree::read_file($path) =~ /^\[\Q$name\E\]\n(.*?)(?=^\[|\z)/ms;
    die "$path has no section '$name'\n" if !defined $lines;
    push @entries, map { parse($_) } grep { !/^#|^\s*$/ } split /\n/, $lines;
}

# Whether a violation is accepted.
sub covers {
    my ($judgement, $deed, $text) = @_;
    my @covering = grep { $_->{judgement} eq $judgement && $deed =~ $_->{deed}
            && $text =~ $_->{text} } @entries;
    $_->{used} = 1 for @covering;
    return scalar @covering;
}

# The entries that have covered nothing.
sub unused {
    return map { $_->{line} } grep { !$_->{used} } @entries;
}

1;
