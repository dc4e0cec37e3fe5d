# One trial: a disturbed run over a fresh server, an undisturbed one after it, and what is to be
# said about both.
package Trial;
use strict;
use warnings;
use Judge;
use Run;
use Tree;

# A place for trials of a program: the server, and the outcome of undisturbed runs. There must be
# nothing where the program would go without its configuration.
sub prepare {
    my ($program, $place) = @_;
    for my $default (qw(/srv/www/vhosts /usr/local/zut)) {
        die "$default exists: no faults are tried on a real server\n" if -e $default;
    }
    my $self = {program => $program, root => "$place/server", output => "$place/output"};
    Tree::lay_out($self->{root});
    my $before = Tree::snapshot($self->{root});
    $self->{offered} = Judge::offered_records($self->{root});
    $self->{usual} = undisturbed($self);
    $self->{first} = Tree::snapshot($self->{root});
    Tree::bring_records($self->{root}, 2);
    $self->{all} = with_arrived($self);
    my $next = undisturbed($self);
    $self->{second} = Tree::snapshot($self->{root});
    check_reference($self, $_) for $self->{usual}, $next;
    my @wrong = Judge::outside($self->{root}, $before, $self->{second});
    push @wrong, Judge::surroundings($self->{root});
    die map { "An undisturbed run is wrong: $_\n" } @wrong if @wrong;
    return $self;
}

# The offered records, and those that have arrived after them.
sub with_arrived {
    my ($self) = @_;
    my %all;
    for my $name (keys %{$self->{offered}}) {
        $all{$name} = [@{$self->{offered}{$name}},
            Judge::lines_of("$self->{root}/incoming/$name")];
    }
    return \%all;
}

# The output of a run after a disturbed one goes to files of its own.
sub undisturbed {
    my ($self, $suffix) = @_;
    return Run::run([$self->{program}], $self->{root}, $self->{output} . ($suffix // ''));
}

# Without a fault there must be nothing to complain about.
sub check_reference {
    my ($self, $result) = @_;
    my $root = $self->{root};
    my @wrong = (Judge::ending($result), Judge::recovery($root, $result, $self->{second},
            $self->{second}));
    for my $log (Tree::counted_logs($root)) {
        my $count = () = Judge::lines_of($log->{ledger});
        push @wrong, "$log->{ledger} has $count records" if $count != 5;
    }
    die map { "An undisturbed run is wrong: $_\n" } @wrong if @wrong;
}

# The number of records that a trial offers to the generators.
sub offered {
    my ($self) = @_;
    my $records = 0;
    $records += @{$self->{all}{$_->{name}}} for Tree::counted_logs($self->{root});
    return $records;
}

my $routine = qr{/\w|\w\(|\w+_exec|\w+ToString|(entry|dir) \S};

# Lays out a server, disturbs a run over it and judges. $disturb starts the run. It returns the
# run's result, and what its output must say if anything went wrong, as for the judgement of
# visibility; without that, the output and the way in which the run ended are not looked at.
sub try {
    my ($self, $disturb) = @_;
    my $root = $self->{root};
    Tree::lay_out($root);
    my $before = Tree::snapshot($root);
    my ($result, $expected) = $disturb->();
    my $after = Tree::snapshot($root);
    my %wrong = (
        records => [Judge::records($root, $self->{offered})],
        outside => [Judge::outside($root, $before, $after)],
        surroundings => [Judge::surroundings($root)],
    );
    if (defined $expected) {
        my @different = Judge::differences($root, $self->{first}, $after);
        $wrong{ending} = [Judge::ending($result)];
        $wrong{visibility} = [Judge::visibility($self->{usual}, $result,
                {place => $routine, %$expected}, @different)];
    }
    Tree::bring_records($root, 2);
    my $next = undisturbed($self, '.next');
    $wrong{recovery} = [Judge::recovery($root, $next, $self->{second}, Tree::snapshot($root)),
        Judge::records($root, $self->{all})];
    my %counts = (
        records => offered($self),
        lost => Judge::lost_records(@wrong{qw(records recovery)}),
        doubled => Judge::doubled_records($root),
    );
    return {result => $result, wrong => \%wrong, counts => \%counts};
}

1;
