# shellcheck shell=bash
# Counts the system calls that one more domain costs. Sourced by bench/run.

: "${build:?}" "${program:=}" "${place:=}" "${tree:=}" "${tree_domains:=}"
call_rows=()

trace_calls() {
    local trace=$1
    shift
    refill_tree "$tree" "$tree_domains"
    strace -f -qq -o "$trace" "$@" >"$place/output.traced" 2>&1 ||
        fail "failed: $* ($(tail -n 3 "$place/output.traced"))"
}

# Traces the program and the bare one on a number of domains that a run has worked on before.
trace_both() {
    local kind=$1 count=$2 arguments=()
    [[ $kind == none ]] || arguments=("$count")
    set_tree "$kind" "$count"
    use_tree "$tree"
    "$program" >"$place/output.traced" 2>&1
    trace_calls "$place/trace.program.$count" "$program"
    trace_calls "$place/trace.bare.$count" "$build/bare_$kind" "$tree" "${arguments[@]}"
}

add_call_row() {
    local name=$1 kind=$2 ours bare
    trace_both "$kind" 100
    trace_both "$kind" 200
    ours=$(bench/count_calls 100 "$place/trace.program.100" "$place/trace.program.200")
    bare=$(bench/count_calls 100 "$place/trace.bare.100" "$place/trace.bare.200")
    call_rows+=("| $name | ${ours%|*}| ${bare%|*}|${ours##*|}|")
}

measure_system_calls() {
    add_call_row AWStats awstats
    add_call_row Webalizer webalizer
    add_call_row none none
}

print_system_calls() {
    [[ ${#call_rows[@]} -gt 0 ]] || return 0
    cat <<'END'

System calls a domain: (calls with 200 domains - calls with 100) / 100

| domain | ours: its own process | ours: its children before they are another program | bare: its own process | bare: its children before | ours, its own process, by call |
|---|---|---|---|---|---|
END
    printf '%s\n' "${call_rows[@]}"
}
