# shellcheck shell=bash disable=SC2317
# Cases of single routines of the program and of its start. Sourced by bench/run.

: "${build:?}" "${program:=}"

# What a child writes

captured_mebibytes=1024
captured_bytes=$((captured_mebibytes << 20))
read_size=4096 # both ways of a run read in such pieces

capture_runner() { timed "$build/capture" runner "$captured_bytes" "$build/writer" "$captured_mebibytes"; }
capture_shell() { timed "$build/capture" shell "$captured_bytes" "$build/writer" "$captured_mebibytes"; }
bare_capture() {
    timed "$build/bare_capture" "$read_size" "$captured_bytes" "$build/writer" "$captured_mebibytes"
}

add_capture_rows() {
    local name=$1 share
    add_time_row "1 GiB of a child's output through $name" \
        "a bare loop of read ($read_size bytes a call), into memory that doubles" 1.5
    read -r _ _ share < <(summarize "\$2 * 1024 / $captured_bytes")
    add_row "1 GiB through $name: peak memory" 'the size of the data' \
        "$(awk -v s="$share" 'BEGIN { printf "%.2f GiB", s }')" '1 GiB' \
        "$(printf '**%.3f**' "$share")" 'at most 2.2 times' "$(verdict "$share" 2.2)"
}

measure_capture() {
    compare capture_runner bare_capture 5
    add_capture_rows 'korvo::ExecCmd'
    compare capture_shell bare_capture 5
    add_capture_rows 'popen_exec_output'
}

# The start of a child, with descriptor tables of two sizes

started_children=1000

# The largest that may be set: the kernel's bound, or else the hard limit.
largest_table() {
    local bound
    bound=$(</proc/sys/fs/nr_open)
    if prlimit --nofile="$bound:$bound" true 2>/dev/null; then
        printf '%s\n' "$bound"
    else
        ulimit -Hn
    fi
}

start_children() {
    timed prlimit --nofile="$1" "$build/child_starts" "$2" "$started_children" "$build/stub"
}
runner_large_table() { start_children "$large_table:$large_table" runner; }
runner_small_table() { start_children 1024 runner; }
shell_large_table() { start_children "$large_table:$large_table" shell; }
shell_small_table() { start_children 1024 shell; }

measure_child_starts() {
    large_table=$(largest_table)
    compare runner_large_table runner_small_table 9
    add_time_row "a child start through korvo::ExecCmd, $large_table descriptors allowed" \
        'itself, 1,024 allowed' 1.05 "$started_children"
    compare shell_large_table shell_small_table 9
    add_time_row "a child start through popen_exec, $large_table descriptors allowed" \
        'itself, 1,024 allowed' 1.05 "$started_children"
}

# The start of the program

help_runs=200

show_help() { timed_times "$help_runs" "$program" --help; }
smallest() { timed_times "$help_runs" "$build/smallest"; }

loaded_libraries() { ldd "$1" | awk '{ print $1 }' | sort; }

measure_help() {
    cmp <(loaded_libraries "$program") <(loaded_libraries "$build/smallest") ||
        fail 'the smallest program is not linked with the same libraries'
    compare show_help smallest 11
    add_time_row 'statistics_run --help' \
        'the smallest C++ program linked with the same libraries' 1.5 "$help_runs"
}
