#!/usr/bin/perl
# Runs the program over trees that mean harm: names that are commands, links that lead outside,
# pipes and devices in place of files, trees of great depth, size and number.
#
# usage: hostile.pl [--short] [--only GROUP] PROGRAM DIRECTORY
#
# The program is one as for the sweep, and the directory is for this alone. The groups are names,
# cuts, periods, links, specials, deep, large and many. The short form leaves out the last two and
# the deepest tree.
use strict;
use warnings;
use Fcntl qw(S_IFCHR S_IFIFO);
use File::Basename qw(basename dirname);
use File::Path ();
use Getopt::Long qw(GetOptions);
use POSIX qw(WNOHANG);
use Time::HiRes qw(sleep time);
use lib dirname(__FILE__);
use Accepted;
use Findings;
use Judge;
use Run;
use Tree;

# System calls without a routine.
use constant {MKNOD => 133, WAIT4 => 61};
use constant {ZERO => 0x0105, FULL => 0x0107, GIB => 1 << 30};

my $usage = "usage: hostile.pl [--short] [--only GROUP] PROGRAM DIRECTORY\n";
my ($short, $only);
GetOptions('short' => \$short, 'only=s' => \$only) or die $usage;
my ($program, $place) = @ARGV;
die $usage if @ARGV != 2 || grep { !m{^/} } @ARGV;
my ($root, $output) = ("$place/server", "$place/output");
my $domains = "$root/vhosts/system";
my ($webalizer, $awstats, $none) = ($Tree::webalizer, $Tree::awstats, $Tree::none);
my $webstat = "$awstats/statistics/webstat";

sub remove_all {
    my (@paths) = @_;
    system('rm', '-rf', '--', @paths) == 0 or die "rm has failed\n";
}

# The command line of what a run waits for that does not end.
sub holder {
    my ($pid) = @_;
    my $children = Tree::read_file("/proc/$pid/task/$pid/children");
    return 'the program itself' if $children !~ /(\d+)/;
    my $command = Tree::read_file("/proc/$1/cmdline") =~ tr/\0/ /r;
    return 'its child sh -c' if $command =~ m{^(/bin/)?sh -c};
    return join ' ', 'its child', map { basename($_) } (split ' ', $command)[0, 1];
}

# Runs a command over the server. The result tells what it waited for if it did not end, and its
# resources.
sub run {
    my (@command) = @_;
    @command = ($program) if !@command;
    my ($held, $usage) = ('', "\0" x 144);
    my $begin = time;
    my $wait = sub {
        my ($pid) = @_;
        my $status = pack 'l', 0;
        while (1) {
            my $ended = syscall(WAIT4, $pid, $status, WNOHANG, $usage);
            return unpack 'l', $status if $ended == $pid;
            last if time - $begin > $Run::time_limit - 0.5;
            sleep 0.005;
        }
        $held = holder($pid);
        die "overtime\n";
    };
    my $result = Run::finish(Run::start(\@command, $root, $output), $output, $wait);
    @$result{qw(held time memory)} = ($held, time - $begin, (unpack 'q*', $usage)[4]);
    return $result;
}

sub ending {
    my ($result) = @_;
    my $held = $result->{held} ? ", and waits for $result->{held}" : '';
    return [map { "$_$held" } Judge::ending($result)];
}

# Of one that is to come to its end.
sub finish {
    my ($result) = @_;
    my @wrong = outcome($result) eq 'finished' ? () : ('the run did not finish');
    return [@{ending($result)}, @wrong];
}

# How a run ended, for the table.
sub outcome {
    my ($result) = @_;
    return "held by $result->{held}" if $result->{overtime};
    return 'finished' if $result->{status} == 0 && $result->{out} =~ /^Finished\.$/m;
    return 'wait status ' . $result->{status};
}

# A server whose logs are prepared, so that only the program itself and generators change it.
sub lay_out {
    Tree::lay_out($root);
    my $result = run(Tree::program($root, 'statistics_log_processor'));
    die "Log preparation has failed\n" if $result->{status} != 0;
}

# A server without domains.
sub lay_out_bare {
    remove_all($root);
    Tree::lay_out_panel($root);
    File::Path::make_path($domains);
}

# All that a snapshot knows of an entry; nothing if it isn't there.
sub description {
    my ($entry) = @_;
    return '' if !$entry;
    return join ' ', map { "$_ $entry->{$_}" } grep { $_ ne 'changed' } sort keys %$entry;
}

# Changes between two snapshots that are not at the patterns.
sub changes {
    my ($before, $after, @patterns) = @_;
    my @changes;
    for my $path (sort keys %{{%$before, %$after}}) {
        my $place = substr $path, length $root;
        next if grep { $place =~ $_ } @patterns;
        my ($was, $is) = map { description($_->{$path}) } $before, $after;
        next if $was eq $is;
        my $deed = !length $was ? 'created' : length $is ? 'changed' : 'removed';
        push @changes, "$place is $deed";
    }
    return @changes;
}

# Names that would do something where a shell, a format or an option parser reads them.
my $half = join '', map { chr } grep { chr ne '/' } 1 .. 128;
my $other_half = join '', map { chr } 129 .. 255;
my @names = ('a b', ' blanks ', "tab\t", "quote'", '"double"', 'semi;touch canary1;',
    '$(touch canary2)', '`touch canary3`', "new\nline", "\ntouch canary4\n",
    "'; touch canary5; '", '"; touch canary6; "', '& touch canary7 &', '| touch canary8',
    '> canary9', "x'>canary10;'", "\\'; touch canary11; \\'", '<x', '(', '-o', '--help', '-',
    '%s%n%d', '\\', '*', '?', '[a]', '~', '#', '!', '{a,b}', '=', '$HOME', '$', '...', '..x',
    "\e[31m", "\x80\xff\xfe", "\xc3\xa9", "'" x 200, $half, $other_half);

sub canaries {
    my ($entries) = @_;
    return map { "a command in a name has made $_" } grep { m{/canary\d+$} } keys %$entries;
}

# Adds a domain with a log, and gives the domain a generator.
sub add_domain {
    my ($name, $kind) = @_;
    my $directory = "$domains/$name";
    File::Path::make_path("$directory/conf", "$directory/statistics", "$directory/logs");
    Tree::write_file("$directory/logs/access_log.webstat", "one\ntwo\n");
    Tree::write_file("$directory/conf/webalizer.conf", "Incremental yes\n") if $kind eq 'Webalizer';
}

# What is wrong with a domain after a run.
sub domain_wrongs {
    my ($name, $kind) = @_;
    my $log = "$domains/$name/logs/access_log.webstat";
    return -e $log ? ('its log is still there') : () if $kind eq 'none';
    my @wrong;
    push @wrong, -s $log ? 'its records are not taken in' : 'its records are lost'
        if Tree::read_file("$root/ledger/$name-webstat") ne "one\ntwo\n";
    push @wrong, 'its log is not empty' if !-e $log || -s $log;
    return @wrong;
}

# What runs over domains of a kind may change.
my $log_path = '^/vhosts/system/[^/]+/logs/access_log\.webstat$';
my %changeable = (
    none => [$log_path, '^/running$'],
    Webalizer => [$log_path, '^/vhosts/system/[^/]+/statistics/webstat', '^/ledger/', '^/running$',
        '^/panel/var/webalizer/webalizer\.cache$'],
);

sub try_names {
    my ($kind) = @_;
    lay_out_bare();
    add_domain($_, $kind) for @names;
    my $before = Tree::snapshot($root);
    my $result = run();
    my $after = Tree::snapshot($root);
    Findings::add_row("names, $kind, all", outcome($result), {
        ending => ending($result),
        commands => [canaries($after)],
        outside => [changes($before, $after, @{$changeable{$kind}})],
    });
    Findings::add_row("names, $kind: $_", '', {records => [domain_wrongs($_, $kind)]}) for @names;
}

# The page command of AWStats is not quoted.
sub try_awstats_name {
    lay_out();
    my $name = 'x;touch canary12;';
    add_domain($name, 'AWStats');
    Tree::write_file("$root/panel/etc/awstats/awstats.$name-http.conf", "http\n");
    my $result = run();
    Findings::add_row("names, AWStats: $name", outcome($result),
        {ending => ending($result), commands => [canaries(Tree::snapshot($root))]});
}

sub test_names {
    try_names($_) for 'none', 'Webalizer';
    try_awstats_name();
}

sub quote {
    my ($text) = @_;
    return q(') . ($text =~ s/'/'\\''/gr) . q(');
}

# A command for the shell that is too long is cut. The product root gets slashes until the cut is at
# the wanted place, counted from the end of the part before " - < LOG".
sub try_cut {
    my ($name, $cut) = @_;
    lay_out_bare();
    add_domain($name, 'Webalizer');
    my $start = "$root/bin/webalizer -c " . quote("$domains/$name/conf/webalizer.conf") . ' -n ' .
        quote($name) . " -D $root/panel/var/webalizer/webalizer.cache -p -N 0 -o " .
        quote("$domains/$name/statistics/webstat") . ' -F clf';
    my $missing = 4095 - $cut - length $start;
    die "$place has too long a name\n" if $missing < 0;
    my $slashes = '/' x $missing;
    my $config = "$root/etc/zut/zut.conf";
    Tree::write_file($config, Tree::read_file($config) =~ s{/panel$}{/panel$slashes}mr);
    my $result = run();
    my @lost = grep { /lost/ } domain_wrongs($name, 'Webalizer');
    Findings::add_row("cuts: command cut at $cut", outcome($result),
        {ending => ending($result), records => \@lost});
}

sub test_cuts {
    my $name = "'" x 200;
    my $log = ' - < ' . quote("$domains/$name/logs/access_log.webstat");
    try_cut($name, $_) for -4 .. 8, length($log) - 10 .. length($log) + 6;
}

# Entries of a statistics directory: directories are listed as they are called.
sub test_periods {
    lay_out();
    mkdir "$domains/$webstat/$_" or die "$_: $!\n" for @names;
    Tree::write_file("$domains/$webstat/file", '');
    Tree::link_to($names[0], "$domains/$webstat/link");
    my $result = run();
    my @periods = sort @names, '2024-03', $Tree::previous_month, $Tree::this_month;
    my $wanted = join '', map { "<option value='$_'>$_</option>\n" } @periods;
    my $page = Tree::read_file("$domains/$webstat/nav.html");
    my ($list) = $page =~ m{>Current</option>\n(.*)</select>\n}s;
    my $right = defined $list && $list eq $wanted;
    Findings::add_row('periods', outcome($result), {
        ending => ending($result),
        commands => [canaries(Tree::snapshot($root))],
        pages => $right ? [] : ['nav.html does not list the entries as they are'],
    });
}

# Puts a link that leads outside in the place of an entry, which is moved there; one that is missing
# is made. A dangling link leads to nothing.
sub replace_by_link {
    my ($path, $kind, $dangling) = @_;
    my $far = "$root/outside/far";
    File::Path::make_path(dirname($path));
    if ($dangling) {
        remove_all($path);
    } elsif (lstat $path and !-l $path) {
        rename $path, $far or die "$path: $!\n";
    } elsif ($kind eq 'directory') {
        unlink $path;
        Tree::write_file("$far/$_", "Outside\n") for qw(index.html nav.html keep);
    } else {
        unlink $path;
        Tree::write_file($far, "Outside\n");
    }
    Tree::link_to($far, $path);
}

# The places of the layout: directories and files. They are those below the domains', which is the
# first, or begin at the root.
my %layout = (
    directory => ['', $webalizer, $awstats, $none,
        map({ ("$webalizer/$_", "$awstats/$_", "$none/$_") } qw(logs conf statistics)),
        "$webalizer/statistics/webstat", "$webalizer/statistics/anon_ftpstat", $webstat,
        "$awstats/statistics/ftpstat", '/panel/etc/awstats', '/panel/var/webalizer',
        map { "$webstat/$_" } 'current', $Tree::this_month, $Tree::previous_month,
        $Tree::expired_month, "$Tree::expired_month/icons", '2024-03'],
    file => [map({ "$_/logs/access_log.webstat" } $webalizer, $awstats, $none),
        map({ "$_/logs/proxy_access_log.webstat" } $webalizer, $awstats),
        map({ "$_/logs/xferlog.webstat" } $webalizer, $none),
        "$awstats/logs/xferlog_regular.webstat", "$webalizer/logs/access_log",
        "$webalizer/conf/webalizer.conf", "$webalizer/statistics/webstat/index.html",
        "$awstats/conf/stat_ttl.conf", "$awstats/conf/prev_month.found",
        "/panel/etc/awstats/awstats.$awstats-http.conf", '/panel/var/webalizer/webalizer.cache',
        map { "$webstat/$_" } 'index.html', 'nav.html', "$Tree::this_month/index.html",
        "$Tree::previous_month/index.html", "$Tree::expired_month/awstats.html"],
);

# Whether a path is the other one or lies below it.
sub is_below {
    my ($path, $other) = @_;
    return index("$path/", "$other/") == 0;
}

# The logs of the server, but for those at a path.
sub logs {
    my ($except) = @_;
    my @logs = (Tree::counted_logs($root), Tree::uncounted_logs($root));
    return defined $except ? grep { !is_below($_->{path}, $except) } @logs : @logs;
}

# Runs the program over the server as it is now, and judges what becomes of all but what is at a
# path.
sub try_server {
    my ($case, $except) = @_;
    my $before = Tree::snapshot($root);
    my @logs = logs($except);
    my %offered = map { $_->{name} => [Judge::lines_of($_->{path})] } @logs;
    my $result = run();
    my @changes = Judge::outside($root, $before, Tree::snapshot($root));
    Findings::add_row($case, outcome($result), {
        ending => ending($result),
        records => [map { Judge::records_of_log($root, $_, $offered{$_->{name}}) } @logs],
        outside => [map { s{\Q$root\E/}{}r } @changes],
    });
}

sub try_link {
    my ($place, $kind, $dangling) = @_;
    lay_out();
    my $path = $place =~ m{^/} ? "$root$place" : length $place ? "$domains/$place" : $domains;
    replace_by_link($path, $kind, $dangling);
    try_server(($dangling ? 'dangling links: ' : 'links: ') . ($place || 'system'),
        $dangling ? $path : undef);
}

sub test_links {
    for my $kind (sort keys %layout) {
        for my $place (@{$layout{$kind}}) {
            try_link($place, $kind, $_) for 0, 1;
        }
    }
}

# Pipes and devices in place of files.
sub try_special {
    my ($what, $place, $mode, $device) = @_;
    lay_out();
    my $path = "$domains/$place";
    remove_all($path);
    File::Path::make_path(dirname($path));
    syscall(MKNOD, $path, $mode | 0644, $device) == 0 or die "$path: $!\n";
    try_server("specials: $what at $place", $path);
}

sub test_specials {
    local $Run::time_limit = 3;
    my @places = (map({ "$_/logs/access_log.webstat" } $webalizer, $awstats, $none),
        "$webalizer/logs/proxy_access_log.webstat", "$awstats/conf/stat_ttl.conf",
        "$awstats/conf/prev_month.found", "$webalizer/conf/webalizer.conf",
        map { "$webstat/$_" } 'index.html', 'nav.html', 'current', $Tree::this_month,
        "$Tree::this_month/index.html", $Tree::expired_month, "$Tree::expired_month/entry");
    for my $place (@places) {
        try_special('pipe', $place, S_IFIFO, 0);
        try_special('/dev/zero', $place, S_IFCHR, ZERO);
        try_special('/dev/full', $place, S_IFCHR, FULL);
    }
}

# Makes directories one below the other. A path to the last one may be too long.
sub dig {
    my ($path, $depth) = @_;
    my $pid = fork;
    die "fork: $!\n" if !defined $pid;
    if ($pid == 0) {
        my $done = chdir $path;
        $done &&= mkdir('d') && chdir('d') for 1 .. $depth;
        POSIX::_exit($done && open(my $out, '>', 'file') ? 0 : 1);
    }
    Run::wait_for($pid) == 0 or die "$path can't be made as deep as that\n";
}

# Lets a month of so many levels expire where the program may open some files, and have some KiB of
# stack.
sub try_deep {
    my ($case, $depth, $limit, $stack) = @_;
    local $Run::time_limit = 60;
    lay_out();
    my $expired = "$domains/$webstat/$Tree::expired_month";
    dig($expired, $depth);
    my @logs = logs();
    my %offered = map { $_->{name} => [Judge::lines_of($_->{path})] } @logs;
    my $soft = $limit < 1024 ? $limit : 1024;
    my $shell = "ulimit -S -n $soft && ulimit -H -n $limit && ulimit -s $stack && exec \"\$0\"";
    my $result = run('/bin/sh', '-c', $shell, $program);
    my ($said) = $result->{err} =~ /^(Unable to [^\n]{0,80}.*?)$/m;
    $said = defined $said ? ", '$said'" : '';
    Findings::add_row("deep: $depth levels $case $limit descriptors, $stack KiB",
        sprintf('%s, %.1f s%s', outcome($result), $result->{time}, $said), {
            ending => finish($result),
            records => [map { Judge::records_of_log($root, $_, $offered{$_->{name}}) } @logs],
            pages => -e $expired ? ['the month is left over'] : [],
        });
    remove_all($expired);
}

# A level takes two descriptors, and the run a few.
sub test_deep {
    my ($most) = `/bin/sh -c 'ulimit -H -n'` =~ /^(\d+)$/;
    for my $wanted ($short ? 1000 : (1000, 5000)) {
        my $limit = 4 * $wanted;
        $limit = $most if defined $most && $most < $limit;
        my $depth = $limit < 3 * $wanted ? int($limit / 3) : $wanted;
        print "No more than $limit files can be open here: $depth levels instead of $wanted\n"
            if $depth < $wanted;
        try_deep('fit', $depth, $limit, 8192);
    }
    my $limit = defined $most && $most < 4096 ? $most : 4096;
    try_deep('do not fit', 3000, $limit, 8192);
    try_deep('do not fit', 2000, $limit, 1024);
}

# Lets a generator do nothing but write down the size of its log, if that is to be counted.
sub install_measure {
    my ($name, $condition, $size) = @_;
    Tree::write_program("$root/bin/$name", <<"PROGRAM");
#!/usr/bin/perl
exit if !($condition);
open my \$out, '>>', '$root/ledger/sizes' or die;
print {\$out} $size, "\\n";
PROGRAM
}

sub resources {
    my ($result) = @_;
    return sprintf '%s, %.1f s, %d KiB', outcome($result), @$result{qw(time memory)};
}

# Logs of some GiB without any block.
sub test_large {
    lay_out();
    install_measure('webalizer', 'grep { $_ eq "-o" } @ARGV', '-s STDIN');
    install_measure('awstats.pl', '1', '-s +(map { /^-LogFile=(.*)/ ? $1 : () } @ARGV)[0]');
    my @logs = map { "$domains/$_/logs/access_log.webstat" } $webalizer, $awstats;
    truncate $_, 3 * GIB or die "$_: $!\n" for @logs;
    my $result = run();
    my $sizes = () = Tree::read_file("$root/ledger/sizes") =~ /^@{[3 * GIB]}$/mg;
    Findings::add_row('large: logs of 3 GiB', resources($result), {
        ending => finish($result),
        records => [map({ "$_ is not empty" } grep { !-e $_ || -s $_ } @logs),
            $sizes == 2 ? () : "$sizes of 2 logs were handed over whole"],
    });
}

# Many domains without a generator, each with a log.
sub test_many {
    my $count = 100_000;
    local $Run::time_limit = 300;
    lay_out_bare();
    for my $number (1 .. $count) {
        my $directory = "$domains/site$number.example";
        mkdir $directory and mkdir "$directory/logs" or die "$directory: $!\n";
        open my $out, '>', "$directory/logs/access_log.webstat" or die "$directory: $!\n";
    }
    my $result = run();
    my $left = grep { -e "$domains/site$_.example/logs/access_log.webstat" } 1 .. $count;
    Findings::add_row("many: $count domains", resources($result), {
        ending => finish($result),
        records => $left ? ["$left logs are left"] : [],
        memory => $result->{memory} > 200 * 1024 ? ['it takes more than 200 MiB'] : [],
    });
    remove_all($root);
}

$ENV{LC_ALL} = 'C';
$| = 1;
umask 022;
Run::begin();
Accepted::load('hostile');
my @groups = ([names => \&test_names], [cuts => \&test_cuts], [periods => \&test_periods],
    [links => \&test_links], [specials => \&test_specials], [deep => \&test_deep],
    [large => \&test_large], [many => \&test_many]);
@groups = grep { $_->[0] !~ /^(large|many)$/ } @groups if $short;
@groups = grep { $_->[0] eq $only } @groups if defined $only;
die $usage if !@groups;
$_->[1]->() for @groups;
exit Findings::conclude(!defined $only);
