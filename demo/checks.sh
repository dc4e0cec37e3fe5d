# shellcheck shell=bash
# Checks of what a run has left. Sourced by demo.sh, with the directories of demo/tree.sh set.

: "${domains:?}" "${panel:?}" "${copies:?}" "${awstats_data:?}"
failures=0

complain() {
    printf 'demo.sh: %s\n' "$1" >&2
    failures=$((failures + 1))
}

check_empty() {
    [[ -f $1 && ! -s $1 ]] || complain "$1 is missing or not empty"
}

# The log was worked off: the pages show every record once, and nothing is left to do.
check_webalizer_log() {
    local domain=$1 log=$2 output=$domains/$1/statistics/$3
    demo/check_webalizer_pages "$copies/$domain/$log" "$output" ||
        complain "the pages of $domain for $log are not right"
    check_empty "$domains/$domain/logs/$log.webstat"
}

# The same for AWStats. A fifth argument, "previous", calls for pages of the previous month.
check_awstats_log() {
    local domain=$1 log=$2 output=$domains/$1/statistics/$3 config=$1-$4
    demo/check_awstats_pages "$copies/$domain/$log" "$output" "$awstats_data" "$config" \
        "${@:5}" || complain "the pages of $domain for $log are not right"
    check_empty "$domains/$domain/logs/$log.webstat"
}

# The pages of the previous month were made again.
check_removed_marker() {
    local marker=$domains/$1/conf/prev_month.found
    [[ ! -e $marker ]] || complain "$marker is still there"
}

# The prepared log holds the newest records.
check_proxy_log() {
    local copy=$copies/$1/$2 prepared=$domains/$1/logs/$2.webstat
    tail -c "$(stat -c %s "$prepared")" "$copy" | cmp - "$prepared" ||
        complain "the prepared copy of $2 of $1 is not right"
}

# The raw log was prepared, and its prepared copy is gone.
check_removed_log() {
    local raw=$domains/$1/logs/$2
    [[ -s $panel/var/log_positions/$1/$2 ]] || complain "$raw was not prepared"
    [[ ! -e $raw.webstat ]] || complain "$raw.webstat is still there"
}
