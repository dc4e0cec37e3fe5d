#!/bin/bash
# Gives records to the real generators, through their adapters, with less and less room on the disk.
# A failed pass is repeated with room. In the end each record is counted once.
# usage: full_disk_test.sh ADAPTERS; the exit status is 77 if neither generator is installed
set -euo pipefail
[[ ${2-} == mounted ]] || exec unshare --mount --propagation private "$0" "$1" mounted
adapters=$1
disk=$(mktemp -d)
trap 'cd /; ! mountpoint -q "$disk" || umount "$disk"; rmdir "$disk"' EXIT
export AWSTATS_ENABLE_CONFIG_DIR=yes
ended=0 failed=0

# Records of as many visitors, the first one in the second of the last one of the log before.
write_log() { # LOG FIRST COUNT
    local i
    for ((i = $2; i < $2 + $3; i++)); do
        printf '10.0.%d.%d - - [%s] "GET /page%d HTTP/1.1" 200 100 "-" "Browser/1"\n' $((i / 250)) $((i % 250)) \
            "$(printf '20/Nov/2026:10:%02d:%02d +0000' $(((i - i / 300) / 60)) $(((i - i / 300) % 60)))" "$i"
    done >"$disk/$1"
}

give_webalizer() {
    : >"$disk/conf"
    "$adapters/webalizer" -c "$disk/conf" -n a.example -p -N 0 -o "$disk/data" - <"$disk/$1" 2>&1
}
sum_webalizer() { awk 'NR == 3 { print $1 }' "$disk/data/webalizer.current"; }

give_awstats() {
    printf '%s\n' LogFormat=1 SiteDomain=a.example HostAliases=a.example DNSLookup=0 ShowSessionsStats=1 "DirData=$disk/data" \
        "LogFile=$disk/none" >"$disk/awstats.a.conf"
    "$adapters/awstats.pl" -update "-configdir=$disk" -config=a "-LogFile=$disk/$1" 2>&1
}
sum_awstats() { awk '/^BEGIN_TIME/ { t = 1; next } /^END_TIME/ { t = 0 } t { n += $3 } END { print n }' "$disk"/data/*.txt; }

give_builder() {
    [[ $1 != first ]] || { give_awstats first && return; }
    mkdir -p "$disk/pages"
    "$adapters/awstats_buildstaticpages.pl" "-awstatsprog=$adapters/awstats.pl" "-configdir=$disk" -config=a \
        -month=11 -year=2026 "-dir=$disk/pages"
}
sum_builder() {
    grep -q '</html>' "$disk/pages/awstats.a.html" && grep -q '</table>' "$disk/pages/awstats.a.session.html" && echo 600
}

trial() { # GENERATOR KIB-OF-ROOM
    local before status=0
    mount -t tmpfs -o size=2m tmpfs "$disk"
    mkdir "$disk/data"
    write_log first 0 300
    write_log second 300 300
    sed -i "1i $(head -n 1 "$disk/first")" "$disk/second" # a record that is given again
    "give_$1" first >/dev/null
    before=$(cksum "$disk"/data/*.{current,hist,txt} 2>/dev/null || true)
    dd if=/dev/zero of="$disk/filler" bs=1k status=none 2>/dev/null || true
    truncate -s "-${2}k" "$disk/filler"
    "give_$1" second >/dev/null || status=1
    ended=$((ended + 1 - status)) failed=$((failed + status))
    [[ $status -eq 0 || $before == "$(cksum "$disk"/data/*.{current,hist,txt} 2>/dev/null || true)" ]] ||
        { echo "$1 with $2 KiB: the state has changed" && exit 1; }
    rm "$disk/filler"
    [[ $status -eq 0 ]] || "give_$1" second >/dev/null
    [[ $("sum_$1") -eq 600 ]] || { echo "$1 with $2 KiB: $("sum_$1") of 600 records" && exit 1; }
    umount "$disk"
}

installed=()
[[ ! -x /usr/bin/webalizer ]] || installed+=(webalizer)
[[ ! -x /usr/lib/cgi-bin/awstats.pl ]] || installed+=(awstats builder)
for generator in "${installed[@]}"; do
    ended=0 failed=0
    for room in 0 40 60 68 200 900; do
        trial "$generator" "$room"
    done
    echo "$generator: $failed updates failed on the full disk, $ended did not; each record was counted once"
    [[ $ended -gt 0 && $failed -gt 0 ]] || { echo 'the disk was not full enough, or too full' && exit 1; }
done
[[ ${#installed[@]} -gt 0 ]] || { echo 'neither Webalizer nor AWStats is installed' && exit 77; }
