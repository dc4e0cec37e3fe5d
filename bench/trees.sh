# shellcheck shell=bash
# The trees of domains that are worked on. Sourced by bench/run, with $build set.

: "${build:?}"

# Makes a temporary directory, in memory if there is a file system for it that programs can be
# started from, so that the speed of a disk does not cover what is measured; prints its path.
make_place() {
    local parent directory
    for parent in /dev/shm "$build"; do
        directory=$(mktemp -d "$parent/bench.XXXXXX") || continue
        install -m 755 "$build/stub" "$directory/stub"
        if "$directory/stub"; then
            printf '%s\n' "$directory"
            return
        fi
        rm -rf "$directory"
    done
    fail 'there is no place for the trees'
}

# Makes the program work on a tree with the generators there.
use_tree() {
    local tree=$1
    write_configuration "$tree/vhosts" "$tree/panel" "$tree/generators/webalizer" \
        "$tree/generators" "$tree/generators"
}

write_configuration() {
    mkdir -p "$build/etc/zut"
    cat >"$build/etc/zut/zut.conf" <<END
HTTPD_VHOSTS_D $1
PRODUCT_ROOT_D $2
WEB_STAT $3
AWSTATS_BIN_D $4
AWSTATS_TOOLS_D $5
END
}

# Lays out domains of one kind with stub generators; again, if they are there, for the same state
# before every case.
lay_out_tree() {
    local tree=$1 kind=$2 count=$3
    rm -rf "$tree"
    bench/domains lay-out "$tree" "$kind" "$count" "$build/stub"
}

refill_tree() {
    bench/domains refill "$1" "$2"
}
