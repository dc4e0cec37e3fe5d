# shellcheck shell=bash disable=SC2317
# The case of a real run, with the stock generators. Sourced by bench/run from the project's
# directory.

: "${build:?}" "${program:=}" "${place:=}"
records=10000
awstats_names=(a{1..8}.example)
webalizer_names=(w{1..8}.example)

lay_out_real() {
    server=$place/real
    . demo/tree.sh
    local domain
    lay_out_server
    install -m 755 "$build/stub" "$panel/admin/sbin/statistics_log_processor"
    for domain in "${awstats_names[@]}"; do
        lay_out_awstats_domain "$domain"
    done
    for domain in "${webalizer_names[@]}"; do
        lay_out_webalizer_domain "$domain"
    done
    for domain in "${awstats_names[@]}" "${webalizer_names[@]}"; do
        bench/write_log "$domain" "$records" >"$copies/$domain/access_log"
    done
    write_configuration "$server/vhosts" "$panel" /usr/bin/webalizer /usr/lib/cgi-bin \
        /usr/share/awstats/tools
}

# Nothing is known of the logs, and the directories for the pages are there.
reset_real() {
    local domain output month
    month=$(date +%Y-%m)
    rm -rf "$awstats_data" "$panel/var/webalizer"
    mkdir -p "$awstats_data" "$panel/var/webalizer"
    for domain in "${awstats_names[@]}" "${webalizer_names[@]}"; do
        output=$domains/$domain/statistics/webstat
        rm -rf "$output"
        mkdir -p "$output"
        cp "$copies/$domain/access_log" "$domains/$domain/logs/access_log.webstat"
    done
    for domain in "${awstats_names[@]}"; do
        output=$domains/$domain/statistics/webstat
        mkdir "$output/$month"
        ln -s "$month" "$output/current"
    done
}

# Puts the generators' commands of a run, as it starts them, into a script.
record_commands() {
    reset_real
    strace -f -qq -s 65536 -e trace=execve -e signal=none -o "$place/started" "$program" \
        >"$place/output.recorded" 2>&1
    bench/generator_commands "$place/started" >"$place/commands.sh"
    [[ $(grep -c . "$place/commands.sh") -eq 2*$((${#awstats_names[@]} + ${#webalizer_names[@]})) ]] ||
        fail 'not every command of the run was recorded'
}

# The pages that the generators have made.
list_pages() {
    find "$domains" -path '*/statistics/*' -type f -size +0 -name '*.html' ! -name nav.html \
        ! -path '*/a?.example/*/webstat/index.html' | sort
}

real_run() { timed "$program"; }
prepare_real_run() { reset_real; }
check_real_run() { list_pages >"$place/pages.real_run"; }
commands_alone() { timed sh "$place/commands.sh"; }
prepare_commands_alone() { reset_real; }
check_commands_alone() {
    list_pages >"$place/pages.commands_alone"
    [[ $(wc -l <"$place/pages.real_run") -gt 100 ]] &&
        cmp "$place/pages.real_run" "$place/pages.commands_alone"
}

measure_real() {
    lay_out_real
    record_commands
    compare real_run commands_alone 9
    add_time_row "a real run: ${#awstats_names[@]} AWStats and ${#webalizer_names[@]} Webalizer domains, $records records each" \
        "the generators' commands in one shell script" 1.02
}
