# The small server that the faults are tried on, in one directory, the root:
#   etc/zut, panel, vhosts   the configuration, the product root, the virtual hosts
#   bin                      the generators' stand-ins
#   incoming                 records that log preparation has not moved to the prepared logs yet
#   ledger                   the records that the generators took in, a file for each output
#   complaints               what the stand-ins found wrong with their surroundings
#   outside                  what nobody may touch
package Tree;
use strict;
use warnings;
use Fcntl qw(:mode);
use File::Basename qw(dirname);
use File::Path qw(make_path remove_tree);
use Time::HiRes ();

our $time = '2024-05-15 12:00'; # as the tests' clock reads it
our ($this_month, $previous_month, $expired_month) = qw(2024-05 2024-04 2023-04);

our ($webalizer, $awstats, $none, $new) =
    qw(blog.example travel.example unused.example zoo.example);
my %outputs = (
    access_log => 'webstat',
    access_ssl_log => 'webstat-ssl',
    xferlog => 'anon_ftpstat',
    xferlog_regular => 'ftpstat',
);
my %services = (
    access_log => 'http',
    access_ssl_log => 'https',
    xferlog => 'anon_ftp',
    xferlog_regular => 'ftp',
);
my @counted = ([$webalizer, 'access_log'], [$webalizer, 'xferlog'], [$awstats, 'access_log'],
    [$awstats, 'xferlog_regular']);
my @uncounted = ([$webalizer, 'proxy_access_log'], [$awstats, 'proxy_access_log']);
my @dropped = ([$none, 'access_log'], [$none, 'xferlog']);

my $sources = dirname(__FILE__);

sub prepared_log {
    my ($root, $domain, $log) = @_;
    return "$root/vhosts/system/$domain/logs/$log.webstat";
}

# What is known of a log whose records end up in a ledger.
sub describe {
    my ($root, $domain, $log) = @_;
    my $by_webalizer = $domain eq $webalizer;
    my $config = $by_webalizer ? "$domain-$outputs{$log}" : "$domain-$services{$log}";
    return {
        name => "$domain/$log",
        generator => $by_webalizer ? 'webalizer' : 'awstats.pl',
        path => prepared_log($root, $domain, $log),
        ledger => "$root/ledger/$config",
    };
}

sub counted_logs {
    my ($root) = @_;
    return map { describe($root, @$_) } @counted;
}

sub uncounted_logs {
    my ($root) = @_;
    return map { {name => join('/', @$_), path => prepared_log($root, @$_)} } @uncounted;
}

sub write_file {
    my ($path, $content) = @_;
    make_path(dirname($path));
    open my $out, '>', $path or die "$path: $!\n";
    print {$out} $content;
    close $out or die "$path: $!\n";
}

# What a file holds; nothing if there is none.
sub read_file {
    my ($path) = @_;
    open my $in, '<', $path or return '';
    local $/ = undef;
    my $content = <$in>;
    return defined $content ? $content : '';
}

sub write_program {
    my ($path, $content) = @_;
    write_file($path, $content);
    chmod 0755, $path or die "$path: $!\n";
}

# The stand-ins for other programs, by their places.
my %programs = (
    statistics_log_processor => 'panel/admin/sbin',
    map({ $_ => 'bin' } qw(common webalizer awstats.pl awstats_buildstaticpages.pl)),
);

sub program {
    my ($root, $name) = @_;
    return "$root/$programs{$name}/$name";
}

sub install_programs {
    my ($root) = @_;
    write_program(program($root, $_), read_file("$sources/stubs/$_")) for keys %programs;
}

sub link_to {
    my ($target, $path) = @_;
    symlink $target, $path or die "$path: $!\n";
}

# Lets new records of every log arrive. A batch has a number.
sub bring_records {
    my ($root, $batch) = @_;
    for my $log (@counted, @uncounted, @dropped) {
        my $name = join '/', @$log;
        my $path = "$root/incoming/$name";
        write_file($path, read_file($path) . join '', map { "$name $batch.$_\n" } 1 .. 2);
    }
}

sub lay_out_panel {
    my ($root) = @_;
    write_file("$root/etc/zut/zut.conf", <<"CONF");
HTTPD_VHOSTS_D $root/vhosts
PRODUCT_ROOT_D $root/panel
WEB_STAT $root/bin/webalizer
AWSTATS_BIN_D $root/bin
AWSTATS_TOOLS_D $root/bin
CONF
    install_programs($root);
    write_file("$root/panel/etc/awstats/awstats.$awstats-$_.conf", "$_\n") for qw(http ftp);
    make_path("$root/panel/var/webalizer", "$root/ledger", "$root/incoming");
}

sub lay_out_domains {
    my ($root) = @_;
    my $domains = "$root/vhosts/system";
    for my $domain ($webalizer, $awstats, $none) {
        write_file("$domains/$domain/logs/$_", "A raw log\n") for qw(access_log error_log);
        make_path("$domains/$domain/conf", "$domains/$domain/statistics");
    }
    make_path("$domains/$new/conf", "$domains/$webalizer/statistics/anon_ftpstat");
    write_file("$domains/notes.txt", "Not a domain\n");
    write_file("$domains/$webalizer/conf/webalizer.conf", "Incremental yes\n");
    write_file("$domains/$webalizer/statistics/robots.txt", "Not by a run\n");
    write_file("$domains/$awstats/conf/stat_ttl.conf", "12\n");
    write_file(prepared_log($root, @$_), "@{[join '/', @$_]} 0.1\n")
        for @counted, @uncounted, @dropped;
}

# The months of the AWStats domain: an expired one with entries, and one that stays.
sub lay_out_months {
    my ($root) = @_;
    my $statistics = "$root/vhosts/system/$awstats/statistics";
    make_path("$statistics/$_") for values %outputs;
    my $expired = "$statistics/webstat/$expired_month";
    write_file("$expired/awstats.html", "Old page\n");
    write_file("$expired/icons/browser/lynx.png", "Icon\n");
    link_to('awstats.html', "$expired/index.html");
    link_to("$root/outside/directory", "$expired/outside");
    link_to("$root/outside/file", "$expired/icons/file");
    write_file("$statistics/webstat/2024-03/awstats.html", "March\n");
    link_to('2024-03', "$statistics/webstat/current");
}

my @held;

# Holds the logs: while they are open, files in their place can't get their inode numbers.
sub hold_logs {
    my ($root) = @_;
    release_logs();
    for my $path (map { prepared_log($root, @$_) } @counted, @uncounted) {
        open my $in, '<', $path or die "$path: $!\n";
        push @held, $in;
    }
}

sub release_logs {
    @held = ();
}

sub lay_out {
    my ($root) = @_;
    remove_tree($root, {safe => 1});
    lay_out_panel($root);
    lay_out_domains($root);
    lay_out_months($root);
    write_file("$root/outside/file", "Outside\n");
    write_file("$root/outside/directory/$_", "Outside\n") for qw(access_log.webstat index.html);
    bring_records($root, 1);
    write_file("$root/incoming/$awstats/prev_month.found", "Waiting\n");
    hold_logs($root);
}

sub kind {
    my ($mode) = @_;
    return 'link' if S_ISLNK($mode);
    return 'directory' if S_ISDIR($mode);
    return S_ISREG($mode) ? 'file' : 'other';
}

sub look_at {
    my ($path) = @_;
    my ($inode, $mode, $owner, $group, $changed) = (Time::HiRes::lstat($path))[1, 2, 4, 5, 9];
    my $kind = kind($mode);
    my $content = $kind eq 'link' ? readlink $path : $kind eq 'file' ? read_file($path) : '';
    my $rights = sprintf '%s %o %d:%d', $kind, S_IMODE($mode), $owner, $group;
    return {
        kind => $kind,
        rights => $rights,
        content => $content,
        inode => $inode,
        changed => $changed,
    };
}

sub visit {
    my ($path, $entries) = @_;
    my $entry = $entries->{$path} = look_at($path);
    return if $entry->{kind} ne 'directory';
    opendir my $listing, $path or die "$path: $!\n";
    visit("$path/$_", $entries) for grep { !/^\.\.?$/ } readdir $listing;
}

# All entries of the tree by their paths.
sub snapshot {
    my ($root) = @_;
    my %entries;
    visit($root, \%entries);
    return \%entries;
}

1;
