# What the checks of the generators' pages have in common.
package PageChecks;
use strict;
use warnings;
use Exporter qw(import);

our @EXPORT = qw(complain expect_file records_by_month verdict);
my $wrong = 0;

sub complain {
    print STDERR "$_[0]\n";
    $wrong = 1;
}

# The exit status that goes with what has been found.
sub verdict { return $wrong }

sub expect_file {
    my ($path) = @_;
    complain("$path is missing") if !-s $path;
}

# The number of records of each month in a log, by "yyyymm".
sub records_by_month {
    my ($path) = @_;
    my %number;
    @number{qw(Jan Feb Mar Apr May Jun Jul Aug Sep Oct Nov Dec)} = 1 .. 12;
    my %records;
    open my $log, '<', $path or die "$path: $!\n";
    while (my $line = <$log>) {
        my ($month, $year) = $line =~ m{\[\d+/(\w+)/(\d+):} ? ($1, $2)
            : $line =~ /^\w+ (\w+) .{11} (\d+) / ? ($1, $2)
            : die "$path: cannot tell the time of line $.\n";
        $records{sprintf '%d%02d', $year, $number{$month}}++;
    }
    return %records;
}

1;
