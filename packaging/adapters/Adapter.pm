# What the adapters have in common. It needs no more than Debian's perl-base.
package Adapter;
use strict;
use warnings;
use Errno qw(EINTR EINVAL ENOENT);
use Exporter qw(import);
use Fcntl qw(:flock);
use File::Basename qw(dirname);
use IO::Handle;
our @EXPORT = qw(awstats_program compiled complain exit_status fail is_adapter is_given_to_owner
    is_kept_absent keep locked opened_private put_back_all run_program settle stock_program synced);

my $name = $0;
my $absent = 'no file before';
my %signal_numbers = (HUP => 1, INT => 2, TERM => 15);

sub complain { print STDERR "$name: $_[0]\n" }

sub fail {
    complain($_[0]);
    exit 1;
}

# Whether the file is an adapter, be it by a link or as a copy.
sub is_adapter {
    my ($path) = @_;
    open my $file, '<', $path or return 0;
    read $file, my $text, 8192;
    return ($text // '') =~ /^use Adapter;/m;
}

# The program that is adapted: the one that the environment names in the variable, unless that is
# empty, or else the first one that there is of the usual places. An adapter that is started with
# --find-stock alone does no more than to look for it, and fails where there is none.
sub stock_program {
    my ($what, $variable, @usual_places) = @_;
    my $named = $ENV{$variable} // '';
    for my $path ($named ne '' ? $named : @usual_places) {
        next if !-f $path || !-r _ || is_adapter($path);
        exit 0 if "@ARGV" eq '--find-stock';
        return $path;
    }
    fail("$variable names no $what: $named") if $named ne '';
    fail("there is no $what at @usual_places; name it in $variable");
}

sub awstats_program {
    return stock_program('awstats.pl', 'AWSTATS_STOCK_PROGRAM',
        map { "$_/awstats.pl" } qw(/usr/lib/cgi-bin /usr/share/awstats/wwwroot/cgi-bin
            /usr/local/awstats/wwwroot/cgi-bin /usr/lib/awstats /srv/www/cgi-bin/awstats));
}

# The Perl program as a routine of the package, or nothing if it is none, cannot be compiled, or is not
# of a version that is known to work in this way. It finds its words in @ARGV and its name in $0, and
# can be called once in a process.
sub compiled {
    my ($path, $version, $package) = @_;
    open my $file, '<', $path or return;
    my $text = do { local $/; <$file> };
    return if $file->error || $text !~ /\A#!\S*perl\s*\n/ || $text !~ $version;
    return if $text =~ /^__(?:DATA|END)__$/m;
    # A routine without a name would not share its variables with the routines in it. The text comes as
    # a file, which is compiled much faster than a long string.
    my $routine = "package $package; sub whole_program {\n#line 1 \"$path\"\n$text\n}; 1";
    open my $source, '<', \$routine or return;
    local @INC = (sub { $_[1] eq "whole_program" ? $source : undef }, @INC);
    return do("whole_program") && $package->can('whole_program');
}

# The exit status that a shell makes of a wait status.
sub exit_status {
    my ($wait_status) = @_;
    return $wait_status & 127 ? 128 + ($wait_status & 127) : $wait_status >> 8;
}

# Runs a program and returns its exit status. A signal to this process waits for the program's end, and
# counts as if it had ended the program.
sub run_program {
    my @command = @_;
    my $caught;
    my @heeded = grep { ($SIG{$_} // '') ne 'IGNORE' } keys %signal_numbers;
    local @SIG{@heeded} = (sub { $caught = $signal_numbers{$_[0]} }) x @heeded;
    my $child = fork // fail("cannot start $command[0]: $!");
    if ($child == 0) {
        exec {$command[0]} @command or fail("cannot start $command[0]: $!");
    }
    while (waitpid($child, 0) < 0) {
        $!{EINTR} or fail("cannot wait for $command[0]: $!");
    }
    return $caught ? 128 + $caught : exit_status($?);
}

# Whether what is in the file or directory has reached the disk, as far as the file system can sync a
# directory. If not, says why.
sub synced {
    my ($path) = @_;
    my $opened = open my $file, '<', $path;
    return 1 if $opened && ($file->sync || $!{EINVAL} && -d $file);
    complain("cannot sync $path: $!");
    return 0;
}

# Gives the file the owner and the mode of the original. Returns whether it has succeeded, with the
# reason in errno if not.
sub is_given_to_owner {
    my ($file, $original) = @_;
    my ($mode, @owner) = (stat $original)[2, 4, 5];
    return chown(@owner, $file) && chmod($mode & 07777, $file);
}

# The opened file, or nothing, with the reason in errno. If it is a new one, it is the owner's only.
sub opened_private {
    my ($mode, $path) = @_;
    my $umask = umask 077;
    my $opened = open(my $file, $mode, $path);
    umask $umask;
    return $opened && $file;
}

# The file, locked after the end of those that hold it, or nothing, with the reason in errno. Nobody but
# its owner can open it, and so hold it.
sub locked {
    my ($path, $turn) = @_;
    my $lock = opened_private('>>', $path);
    return $lock && flock($lock, $turn // LOCK_EX) && $lock;
}

# Several files are replaced as one: each is kept as FILE.before, or a link without a target in its place
# if there is none. settle() makes the new ones count, put_back_all() the old ones, be it at the next
# start after a kill. The first file is kept first; while it is, the old ones count.

# Returns whether it has succeeded, with the reason in errno if not. put_back_all() undoes it after any
# step.
sub keep {
    my ($file) = @_;
    return link $file, "$file.before" if lstat $file;
    return $!{ENOENT} && symlink $absent, "$file.before";
}

sub is_kept_absent {
    my ($file) = @_;
    return (readlink "$file.before" // '') eq $absent;
}

sub put_back {
    my ($file) = @_;
    my $before = "$file.before";
    lstat $before or return $!{ENOENT};
    my $done = is_kept_absent($file) ? unlink($file) || $!{ENOENT} : rename $before, $file;
    # Two names of one file stay two when one is renamed to the other.
    return $done && (unlink($before) || $!{ENOENT});
}

sub put_back_all {
    my ($first, @others) = @_;
    if (!lstat("$first.before") && $!{ENOENT}) {
        unlink map { "$_.before" } @others;
        return;
    }
    for my $file (@others, $first) {
        put_back($file) or fail("cannot put back $file: $!");
    }
}

# For files that are on the disk. Returns whether the new ones count, whatever happens to the system. If
# not, says why.
sub settle {
    my ($first, @others) = @_;
    for my $file ($first, @others) {
        unlink "$file.before" or complain("cannot remove $file.before: $!"), return 0;
    }
    my %directories = map { dirname($_) => 1 } $first, @others;
    return !grep { !synced($_) } keys %directories;
}

1;
