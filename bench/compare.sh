# shellcheck shell=bash disable=SC2016
# Measures two commands in turn and tells how they compare. Sourced by bench/run, with $build set.
#
# A side of a comparison is a function that runs what is timed through `timed`; one that is named
# prepare_<side>, if there is one, is called before each run, and one that is named check_<side> after
# it; neither is timed. What a run has written is in $place/output.<side>.

: "${build:?}" "${place:=}"
results=() # rows of the table of results

# Runs a command some times. Its output goes to a file beside the trees, as it does under cron.
timed_times() {
    local times=$1
    shift
    "$build/measure" "$measured" "$times" "$@" >"$place/output.$side" 2>&1 ||
        fail "failed: $* ($(tail -n 3 "$place/output.$side"))"
}

timed() {
    timed_times 1 "$@"
}

# Runs one side and prints its seconds and its peak memory in KiB.
run_side() {
    side=$1
    measured=$place/measured
    rm -f "$measured"
    if declare -F "prepare_$side" >/dev/null; then
        "prepare_$side"
    fi
    sync -f "$build"
    "$side" || exit
    if declare -F "check_$side" >/dev/null; then
        "check_$side" || fail "$side has not done its work"
    fi
    cat "$measured"
}

# Runs the two sides in turn, after one pair that does not count. Leaves a line a pair in $pairs:
# seconds and KiB of the one, seconds and KiB of the other.
compare() {
    local first=$1 second=$2 count=$3 i one other
    pairs=$place/pairs
    : >"$pairs"
    for ((i = 0; i <= count; ++i)); do
        one=$(run_side "$first")
        other=$(run_side "$second")
        if [[ $i -gt 0 ]]; then
            printf '%s %s\n' "$one" "$other" >>"$pairs"
        fi
    done
}

# The median, the least and the most of what an expression of awk gives for the pairs.
summarize() {
    awk "{ print $1 }" "$pairs" | sort -g |
        awk '{ v[NR] = $1 } END {
            median = NR % 2 ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2
            print median, v[1], v[NR] }'
}

# Prints "reached" or "missed".
verdict() {
    awk -v value="$1" -v limit="$2" 'BEGIN { print value <= limit ? "reached" : "missed" }'
}

# Seconds as a cell of a table.
seconds_cell() {
    awk -v s="$1" -v times="${2:-1}" 'BEGIN { s /= times
        if (s >= 1) printf "%.2f s", s; else if (s >= 0.01) printf "%.0f ms", s * 1e3
        else printf "%.3f ms", s * 1e3 }'
}

add_row() {
    local row
    printf -v row '| %s ' "$@"
    results+=("$row|")
}

# Adds the row of the last comparison, by time. A limit of "-" is none: the figure is shown.
# times: how often a run repeats what the row names.
add_time_row() {
    local name=$1 against=$2 limit=$3 times=${4:-1}
    local ours other ratio least most goal=shown reached=
    read -r ours _ < <(summarize '$1')
    read -r other _ < <(summarize '$3')
    read -r ratio least most < <(summarize '$1 / $3')
    if [[ $limit != - ]]; then
        goal="at most $limit times"
        reached=$(verdict "$ratio" "$limit")
    fi
    add_row "$name" "$against" "$(seconds_cell "$ours" "$times")" \
        "$(seconds_cell "$other" "$times")" \
        "$(printf '**%.3f** (%.3f to %.3f)' "$ratio" "$least" "$most")" "$goal" "$reached"
}

print_results() {
    printf '\n%s\n' "$(describe_machine)"
    if [[ ${#results[@]} -gt 0 ]]; then
        printf '\n| case | against | ours | other | ratio: median (least to most) | goal | |\n'
        printf '|---|---|---|---|---|---|---|\n'
        printf '%s\n' "${results[@]}"
    fi
    print_system_calls
}
