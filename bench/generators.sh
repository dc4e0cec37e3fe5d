# shellcheck shell=bash disable=SC2016,SC2317
# Cases with many domains whose generators are stubs: what a run itself costs. Sourced by bench/run.

: "${build:?}" "${program:=}" "${place:=}" "${side:=}"
stub_domains=500

run_program() { timed "$program"; }
prepare_run_program() {
    use_tree "$tree"
    refill_tree "$tree" "$tree_domains"
}

# Every log was taken in, or removed.
check_run_program() {
    local output=$place/output.run_program
    [[ $(tail -n 1 "$output") == Finished. ]] && ! grep -qE 'Error|Unable|failed' "$output" &&
        [[ -z $(find "$tree/vhosts/system" -name '*.webstat' -size +0) ]]
}

set_tree() {
    tree=$place/$1
    tree_domains=$2
    lay_out_tree "$tree" "$1" "$2"
}

# AWStats

bare_awstats() { timed "$build/bare_awstats" "$tree" "$tree_domains"; }

prepare_bare_awstats() { refill_tree "$tree" "$tree_domains"; }

measure_awstats() {
    set_tree awstats "$stub_domains"
    compare run_program bare_awstats 11
    add_time_row "$stub_domains AWStats domains, one log each" \
        'a bare C program that starts the same programs' 1.15
}

measure_awstats_disk() {
    tree=$build/disk/awstats
    tree_domains=$stub_domains
    lay_out_tree "$tree" awstats "$stub_domains"
    compare run_program bare_awstats 5
    add_time_row "$stub_domains AWStats domains on a disk ($(file_system_of "$build"))" \
        'a bare C program that starts the same programs' -
    rm -rf "$build/disk"
}

# The package's scripts have fixed paths. What they find there is laid over those in a mount
# namespace of their own.
awstats_tools() {
    timed unshare --mount sh -e -c '
        mount --bind "$1/panel/etc/awstats" /etc/awstats
        mount --bind "$1/cache" /var/cache/awstats
        mount --bind "$1/generators/awstats.pl" /usr/lib/cgi-bin/awstats.pl
        mount --bind "$1/generators/awstats_buildstaticpages.pl" \
            /usr/share/awstats/tools/awstats_buildstaticpages.pl
        mount --bind "$1/defaults" /etc/default/awstats
        /usr/share/awstats/tools/update.sh
        /usr/share/awstats/tools/buildstatic.sh' sh "$tree"
}
prepare_awstats_tools() {
    rm -rf "$tree/cache"
    mkdir "$tree/cache"
    sed 's/^\(AWSTATS_NICE\)=.*/\1=0/' /etc/default/awstats >"$tree/defaults"
}

# Nothing was reported, and a link to every main page was made.
check_awstats_tools() {
    [[ ! -s $place/output.awstats_tools ]] &&
        [[ $(find "$tree/cache" -name 'index.*' | wc -l) -eq $tree_domains ]]
}

measure_awstats_tools() {
    set_tree awstats "$stub_domains"
    compare run_program awstats_tools 7
    add_time_row "$stub_domains AWStats domains, one log each" \
        "update.sh and buildstatic.sh of Debian's awstats, the same stubs" 0.55
}

awstats_updateall() {
    timed perl /usr/share/doc/awstats/examples/awstats_updateall.pl now \
        -awstatsprog="$tree/generators/awstats.pl" -configdir="$tree/panel/etc/awstats"
}

check_awstats_updateall() {
    [[ $(grep -c '^Running' "$place/output.awstats_updateall") -eq $tree_domains ]]
}

measure_awstats_updateall() {
    set_tree awstats "$stub_domains"
    compare run_program awstats_updateall 7
    add_time_row "$stub_domains AWStats domains, updates and pages" \
        'awstats_updateall.pl of that package, the same stub, updates only' -
}

# Webalizer

bare_webalizer() { timed "$build/bare_webalizer" "$tree" "$tree_domains"; }
prepare_bare_webalizer() { refill_tree "$tree" "$tree_domains"; }

measure_webalizer() {
    set_tree webalizer "$stub_domains"
    compare run_program bare_webalizer 11
    add_time_row "$stub_domains Webalizer domains, one log each, two passes" \
        'a bare C program that starts the same shell commands' 1.10
}

# None

bare_none() { timed "$build/bare_none" "$tree"; }
prepare_bare_none() { refill_tree "$tree" "$tree_domains"; }
check_bare_none() {
    cmp "$place/output.run_program" "$place/output.bare_none" &&
        [[ -z $(find "$tree/vhosts/system" -name '*.webstat') ]]
}

measure_none() {
    set_tree none 20000
    compare run_program bare_none 7
    add_time_row '20,000 domains without a generator, one log each' \
        'a bare C program with the same file-system calls and lines' 1.3
}

# The same program on ten times as many domains.

# The run came to its end, and the logs are gone.
is_done() {
    [[ $(tail -n 1 "$place/output.$side") == Finished. ]] &&
        [[ -z $(find "$1/vhosts/system" -name '*.webstat' -print -quit) ]]
}

many_domains() { timed "$program"; }
check_many_domains() { is_done "$place/many"; }
prepare_many_domains() {
    use_tree "$place/many"
    refill_tree "$place/many" 100000
}
few_domains() { timed "$program"; }
check_few_domains() { is_done "$place/few"; }
prepare_few_domains() {
    use_tree "$place/few"
    refill_tree "$place/few" 10000
}

measure_growth() {
    local peak
    lay_out_tree "$place/many" none 100000
    lay_out_tree "$place/few" none 10000
    compare many_domains few_domains 5
    add_time_row '100,000 domains without a generator' '10,000 of them' 11
    read -r _ _ peak < <(summarize '$2 / 1024')
    add_row '100,000 domains without a generator: peak memory' '' \
        "$(printf '**%.1f MiB**' "$peak")" '' '' 'at most 25 MiB' "$(verdict "$peak" 25)"
    rm -rf "$place/many" "$place/few"
}
