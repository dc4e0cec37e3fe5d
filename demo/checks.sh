# shellcheck shell=bash
# Checks of what a run has left. Sourced by demo.sh, with the directories of demo/tree.sh set.

: "${domains:?}" "${copies:?}"
failures=0

complain() {
    printf 'demo.sh: %s\n' "$1" >&2
    failures=$((failures + 1))
}

# The log was worked off: the pages show every record once, and nothing is left to do.
check_webalizer_log() {
    local domain=$1 log=$2 output=$domains/$1/statistics/$3 prepared=$domains/$1/logs/$2.webstat
    demo/check_webalizer_pages "$copies/$domain/$log" "$output" ||
        complain "the pages of $domain for $log are not right"
    [[ -f $prepared && ! -s $prepared ]] || complain "$prepared is missing or not empty"
}

# The prepared log was left alone.
check_untouched_log() {
    local domain=$1 log=$2
    cmp "$copies/$domain/$log" "$domains/$domain/logs/$log.webstat" ||
        complain "the prepared copy of $log of $domain was changed"
}

# The raw log was prepared, and its prepared copy is gone.
check_removed_log() {
    local raw=$domains/$1/logs/$2
    [[ ! -s $raw || -s $raw.taken ]] || complain "$raw was not prepared"
    [[ ! -e $raw.webstat ]] || complain "$raw.webstat is still there"
}
