#!/usr/bin/perl
# Runs the program over trees that mean harm: names that are commands, links that lead outside, pipes
# and devices in place of files, trees of great depth, size and number.
#
# usage: hostile.pl [--only GROUP] PROGRAM DIRECTORY
#
# The program is one as for the sweep, and the directory is for this alone. The groups are names,
# cuts, periods, links, specials, deep, large and many.
use strict;
use warnings;
use Fcntl qw(S_IFCHR S_IFIFO);
use File::Basename qw(basename dirname);
use File::Path ();
use Getopt::Long qw(GetOptions);
use POSIX qw(WNOHANG);
use Time::HiRes qw(sleep time);
use lib dirname(__FILE__);
use Cases;
use Judge;
use Run;
use Tree;

# System calls without a routine.
use constant {MKNOD => 133, WAIT4 => 61};
use constant {ZERO => 0x0105, FULL => 0x0107, GIB => 1 << 30};

my $usage = "usage: hostile.pl [--only GROUP] PROGRAM DIRECTORY\n";
my $only;
GetOptions('only=s' => \$only) or die $usage;
my ($program, $place) = @ARGV;
die $usage if @ARGV != 2 || grep { !m{^/} } @ARGV;
my ($root, $output) = ("$place/server", "$place/output");
my $domains = "$root/vhosts/system";
my ($webalizer, $awstats, $none) = ($Tree::webalizer, $Tree::awstats, $Tree::none);
my $webstat = "$awstats/statistics/webstat";

# Patterns of cases and of violations, and reasons.
my @accepted = (
    [
        'names, AWStats: .*', '^a command in a name',
        'The command for pages is not quoted. Only administrators may make both a directory with such '
            . 'a name and a configuration for it.',
    ],
    [
        "links: (system|$webalizer|$awstats|$none)", '^outside/far/',
        'A linked directory of the domains or of one is followed.',
    ],
    [
        "links: $none/logs", '^outside/far/\\w+\\.webstat is removed',
        'The prepared logs of a domain without a generator are removed from linked directories too.',
    ],
    [
        "links: ($webalizer|$awstats)/statistics|links: $webstat(/\\d{4}-\\d\\d)?", '^outside/far/',
        'Pages go to linked directories of statistics and of months, and expired months are removed there.',
    ],
    [
        "links: $awstats/conf", '^outside/far/prev_month\\.found is removed',
        'The marker of the previous month is removed from a linked directory too.',
    ],
    [
        'links: .*\\.webstat', '^outside/far is changed',
        'A linked prepared log is emptied, once its generator has succeeded.',
    ],
    [
        "(dangling )?links: $webalizer/statistics/webstat/index\\.html", '^outside/far is (changed|created)',
        'Webalizer writes its pages itself, and what links it follows is its own concern.',
    ],
    [
        "dangling links: $webalizer/conf(/webalizer\\.conf)?", '\\.webstat is (gone|removed)$',
        'Where a configuration can\'t be found, the domain has no generator, and its prepared logs are removed.',
    ],
    [
        "specials: .* at $awstats/logs/access_log\\.webstat", 'waits for its child sh awstats\\.pl$',
        'Whatever is in the place of a log is handed to AWStats, and the run waits for that. A pipe '
            . 'without a writer and an endless device keep AWStats from coming to an end.',
    ],
    [
        'deep: 3000 levels, limits 1024 and 4096', '^the (month is left over|run did not finish)$',
        'The removal takes two descriptors for each level. Where they do not suffice, the run ends with a message.',
    ],
);

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
    return 'its child ' . ($command =~ m{/bin/sh -c|^sh -c} ? 'sh -c' : join ' ', map { basename($_) }
            (split ' ', $command)[0, 1]);
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
    return map { $result->{held} ? "$_, and waits for $result->{held}" : $_ } Judge::ending($result);
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
    my $result = run("$root/panel/admin/sbin/statistics_log_processor");
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
    return $entry ? join ' ', map { "$_ $entry->{$_}" } grep { $_ ne 'changed' } sort keys %$entry : '';
}

# Changes between two snapshots that are not at the patterns.
sub changes {
    my ($before, $after, @patterns) = @_;
    my @changes;
    for my $path (sort keys %{{%$before, %$after}}) {
        my $place = substr $path, length $root;
        next if grep { $place =~ $_ } @patterns;
        my ($was, $is) = map { description($_->{$path}) } $before, $after;
        push @changes, "$place is " . (!length $was ? 'created' : length $is ? 'changed' : 'removed')
            if $was ne $is;
    }
    return @changes;
}

# Names that would do something where a shell, a format or an option parser reads them.
my $half = join '', map { chr } grep { chr ne '/' } 1 .. 128;
my $other_half = join '', map { chr } 129 .. 255;
my @names = ('a b', ' blanks ', "tab\t", "quote'", '"double"', 'semi;touch canary1;',
    '$(touch canary2)', '`touch canary3`', "new\nline", "\ntouch canary4\n", "'; touch canary5; '",
    '"; touch canary6; "', '& touch canary7 &', '| touch canary8', '> canary9', "x'>canary10;'",
    "\\'; touch canary11; \\'", '<x', '(', '-o', '--help', '-', '%s%n%d', '\\', '*', '?', '[a]', '~',
    '#', '!', '{a,b}', '=', '$HOME', '$', '...', '..x', "\e[31m", "\x80\xff\xfe", "\xc3\xa9",
    "'" x 200, $half, $other_half);

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
    my $taken = Tree::read_file("$root/ledger/$name-webstat");
    my @wrong = $taken eq "one\ntwo\n" ? () : (-s $log ? 'its records are not taken in' : 'its records are lost');
    push @wrong, 'its log is not empty' if !-e $log || -s $log;
    return @wrong;
}

sub try_names {
    my ($kind) = @_;
    lay_out_bare();
    add_domain($_, $kind) for @names;
    my $before = Tree::snapshot($root);
    my $result = run();
    my $after = Tree::snapshot($root);
    my $allowed = $kind eq 'none' ? qr{^/vhosts/system/[^/]+/logs/access_log\.webstat$}
        : qr{^/vhosts/system/[^/]+/(statistics/webstat|logs/access_log\.webstat$)|^/ledger/|^/running$|^/panel/var/webalizer/webalizer\.cache$};
    Cases::add("names, $kind, all", outcome($result), ending($result), canaries($after),
        changes($before, $after, $allowed));
    Cases::add("names, $kind: $_", '', domain_wrongs($_, $kind)) for @names;
}

# The page command of AWStats is not quoted.
sub try_awstats_name {
    lay_out();
    my $name = 'x;touch canary12;';
    add_domain($name, 'AWStats');
    Tree::write_file("$root/panel/etc/awstats/awstats.$name-http.conf", "http\n");
    my $result = run();
    Cases::add("names, AWStats: $name", outcome($result), ending($result), canaries(Tree::snapshot($root)));
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
    my @wrong = domain_wrongs($name, 'Webalizer');
    Cases::add("cuts: command cut at $cut", outcome($result), ending($result),
        grep { /lost/ } @wrong);
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
    my ($list) = Tree::read_file("$domains/$webstat/nav.html") =~ m{>Current</option>\n(.*)</select>\n}s;
    Cases::add('periods', outcome($result), ending($result), canaries(Tree::snapshot($root)),
        defined $list && $list eq $wanted ? () : 'nav.html does not list the entries as they are');
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

# The places of the layout, and the kind of what is there.
sub layout {
    my @layout = (['', 'directory']);
    for my $domain ($webalizer, $awstats, $none) {
        push @layout, map { [$_ ? "$domain/$_" : $domain, 'directory'] } '', qw(logs conf statistics);
    }
    push @layout, map { ["$_.webstat", 'file'] } map({ "$_/logs/access_log" } $webalizer, $awstats, $none),
        map({ "$_/logs/proxy_access_log" } $webalizer, $awstats),
        map({ "$_/logs/xferlog" } $webalizer, $none), "$awstats/logs/xferlog_regular";
    push @layout, map { [$_, 'directory'] } "$webalizer/statistics/webstat", $webstat,
        map { "$webstat/$_" } 'current', $Tree::this_month, $Tree::previous_month,
        $Tree::expired_month, "$Tree::expired_month/icons", '2024-03';
    push @layout, map { [$_, 'file'] } "$webalizer/logs/access_log", "$webalizer/conf/webalizer.conf",
        "$webalizer/statistics/webstat/index.html", "$awstats/conf/stat_ttl.conf",
        "$awstats/conf/prev_month.found",
        map { "$webstat/$_" } 'index.html', 'nav.html', "$Tree::this_month/index.html",
        "$Tree::previous_month/index.html", "$Tree::expired_month/awstats.html";
    return @layout;
}

# The records that are offered, but for the log at some path, which can't be read.
sub offered_records {
    my ($except) = @_;
    my %offered;
    for my $log (grep { $_->{path} ne $except } Tree::counted_logs($root), Tree::uncounted_logs($root)) {
        $offered{$log->{name}} = [Judge::lines_of($log->{path})];
    }
    return \%offered;
}

# The judgement of records, but for the logs at some path.
sub records {
    my ($offered, $except) = @_;
    my @logs = grep { index("$_->{path}/", "$except/") != 0 } Tree::counted_logs($root), Tree::uncounted_logs($root);
    return map { Judge::records_of_log($root, $_, $offered->{$_->{name}}) } @logs;
}

sub try_link {
    my ($place, $kind, $dangling) = @_;
    lay_out();
    my $path = length $place ? "$domains/$place" : "$root/vhosts/system";
    replace_by_link($path, $kind, $dangling);
    my $before = Tree::snapshot($root);
    my $offered = Judge::offered_records($root);
    my $result = run();
    Cases::add(($dangling ? 'dangling links: ' : 'links: ') . ($place || 'system'), outcome($result),
        map({ "ending: $_" } ending($result)), map({ "records: $_" } records($offered, $dangling ? $path : "/\0")),
        map({ s{\Q$root\E/}{}r } Judge::outside($root, $before, Tree::snapshot($root))));
}

sub test_links {
    for my $entry (layout()) {
        try_link(@$entry, $_) for 0, 1;
    }
}

sub make_special {
    my ($path, $mode, $device) = @_;
    remove_all($path);
    File::Path::make_path(dirname($path));
    syscall(MKNOD, $path, $mode | 0644, $device) == 0 or die "$path: $!\n";
}

# Pipes and devices in place of files.
sub try_special {
    my ($what, $place, $mode, $device) = @_;
    lay_out();
    make_special("$domains/$place", $mode, $device);
    my $before = Tree::snapshot($root);
    my $offered = offered_records("$domains/$place");
    my $result = run();
    Cases::add("specials: $what at $place", outcome($result), map({ "ending: $_" } ending($result)),
        map({ "records: $_" } records($offered, "$domains/$place")),
        map({ s{\Q$root\E/}{}r } Judge::outside($root, $before, Tree::snapshot($root))));
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

sub try_deep {
    my ($depth, $soft, $hard) = @_;
    local $Run::time_limit = 60;
    lay_out();
    my $expired = "$domains/$webstat/$Tree::expired_month";
    dig($expired, $depth);
    my $offered = Judge::offered_records($root);
    my $result = run('/bin/sh', '-c', "ulimit -S -n $soft && ulimit -H -n $hard && exec \"\$0\"", $program);
    my @wrong = (map({ "ending: $_" } ending($result)), map({ "records: $_" } records($offered, "/\0")));
    push @wrong, 'the month is left over' if -e $expired;
    push @wrong, 'the run did not finish' if outcome($result) ne 'finished';
    my ($said) = $result->{err} =~ /^(Unable to [^\n]{0,80}.*?)$/m;
    Cases::add("deep: $depth levels, limits $soft and $hard",
        sprintf('%s, %.1f s%s', outcome($result), $result->{time}, defined $said ? ", '$said'" : ''), @wrong);
    remove_all($expired);
}

sub test_deep {
    try_deep(1000, 1024, 4096);
    try_deep(5000, 1024, 20000);
    try_deep(3000, 1024, 4096);
}

sub write_generator {
    my ($name, $take) = @_;
    Tree::write_file("$root/bin/$name", "#!/usr/bin/perl\n$take\n");
    chmod 0755, "$root/bin/$name" or die "$name: $!\n";
}

# Logs of some GiB without any block. The generators take in only the sizes.
sub test_large {
    lay_out();
    my $append = "open my \$out, '>>', '$root/ledger/sizes' or die; print {\$out} ";
    write_generator('webalizer', "$append \"\@{[-s STDIN]}\\n\" if grep { \$_ eq '-o' } \@ARGV; 0;");
    write_generator('awstats.pl', "my (\$log) = map { /^-LogFile=(.*)/ ? \$1 : () } \@ARGV; $append -s \$log, \"\\n\";");
    my @logs = map { "$domains/$_/logs/access_log.webstat" } $webalizer, $awstats;
    truncate $_, 3 * GIB or die "$_: $!\n" for @logs;
    my $result = run();
    my $sizes = () = Tree::read_file("$root/ledger/sizes") =~ /^@{[3 * GIB]}$/mg;
    Cases::add('large: logs of 3 GiB', sprintf('%s, %.1f s, %d KiB', outcome($result), @$result{qw(time memory)}),
        ending($result), map({ "$_ is not empty" } grep { !-e $_ || -s $_ } @logs),
        $sizes == 2 ? () : "$sizes of 2 logs were handed over whole",
        outcome($result) eq 'finished' ? () : 'the run did not finish');
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
    Cases::add("many: $count domains", sprintf('%s, %.1f s, %d KiB', outcome($result), @$result{qw(time memory)}),
        ending($result), $left ? "$left logs are left" : (),
        outcome($result) eq 'finished' ? () : 'the run did not finish',
        $result->{memory} > 200 * 1024 ? 'it takes more than 200 MiB' : ());
    remove_all($root);
}

$ENV{LC_ALL} = 'C';
$| = 1;
umask 022;
Run::inherit_orphans();
Cases::accept_known(@accepted);
my @groups = ([names => \&test_names], [cuts => \&test_cuts], [periods => \&test_periods],
    [links => \&test_links], [specials => \&test_specials], [deep => \&test_deep],
    [large => \&test_large], [many => \&test_many]);
my @chosen = grep { !defined $only || $_->[0] eq $only } @groups;
die $usage if !@chosen;
$_->[1]->() for @chosen;
exit Cases::conclude(defined $only);
