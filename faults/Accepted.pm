# The violations that are known and accepted, from the file "accepted". An entry there is a line of
# three parts with tabs between them: the judgement, a pattern of what was done to the run, and a
# pattern that each of the violations matches. The lines before it that begin with "#" say why.
package Accepted;
use strict;
use warnings;
use File::Basename qw(dirname);
use Tree;

my @entries = load(dirname(__FILE__) . '/accepted');

sub load {
    my ($path) = @_;
    my @entries;
    for my $line (grep { !/^#|^\s*$/ } split /\n/, Tree::read_file($path)) {
        my ($judgement, $deed, $text) = split /\t+/, $line;
        die "$path: '$line' is no entry\n" if !defined $text;
        push @entries,
            {line => $line, judgement => $judgement, deed => qr/$deed/, text => qr/$text/};
    }
    return @entries;
}

# Whether an entry covers all violations of a judgement.
sub covers {
    my ($judgement, $deed, @texts) = @_;
    for my $entry (grep { $_->{judgement} eq $judgement && $deed =~ $_->{deed} } @entries) {
        next if grep { $_ !~ $entry->{text} } @texts;
        $entry->{used} = 1;
        return 1;
    }
    return 0;
}

# The entries about failed calls that have covered nothing.
sub unused {
    return map { $_->{line} } grep { !$_->{used} && $_->{line} !~ /\^SIG/ } @entries;
}

1;
