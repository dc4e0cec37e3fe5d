#!/bin/bash
# Builds statistics_run, lays out a sample server under build/demo and makes its statistics.
# Run again, it makes the statistics of what has come to the logs in the meantime.
set -euo pipefail
cd -P "$(dirname "${BASH_SOURCE[0]}")"
. scripts/packages.sh

build=$PWD/build/demo
server=$build/server
log_processor=$build/statistics_log_processor
[[ $PWD != *[!A-Za-z0-9_./-]* && $PWD != *__*__* ]] ||
    fail "the demo needs a directory with only letters, digits and _ . - in its path: $PWD"
. demo/tree.sh
. demo/checks.sh

web_logs=(access_log access_ssl_log)
proxy_logs=(proxy_access_log proxy_access_ssl_log)
ftp_logs=(xferlog xferlog_regular)

build_program() {
    install_packages "${build_packages[@]}" awstats
    webalizer=yes
    install_webalizer || webalizer=
    cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF \
        -DCMAKE_INSTALL_SYSCONFDIR="$server/etc"
    cmake --build "$build" --target statistics_run statistics_log_processor \
        --parallel "$(nproc)"
}

lay_out() {
    lay_out_server
    if [[ -n $webalizer ]]; then
        lay_out_webalizer_domain shop.example
        write_logs shop.example "${web_logs[@]}" "${proxy_logs[@]}" "${ftp_logs[@]}"
        lay_out_webalizer_domain blog.example
        write_logs blog.example access_log
    fi
    lay_out_awstats_domain travel.example
    write_logs travel.example "${web_logs[@]}" "${proxy_logs[@]}" "${ftp_logs[@]}"
    lay_out_domain parked.example
    write_logs parked.example access_log xferlog
    mkdir -p "$domains/new.example/conf" # has no logs yet
}

# Every address in the logs is looked up. The limits keep this short where no name server answers.
run_program() {
    as_root env RES_OPTIONS='timeout:1 attempts:1' "$build/statistics_run"
}

check() {
    local log
    printf '\nPages:\n'
    if [[ -n $webalizer ]]; then
        check_webalizer_log shop.example access_log webstat
        check_webalizer_log shop.example access_ssl_log webstat-ssl
        check_webalizer_log shop.example xferlog anon_ftpstat
        check_webalizer_log shop.example xferlog_regular ftpstat
        check_webalizer_log blog.example access_log webstat
        for log in "${proxy_logs[@]}"; do
            check_proxy_log shop.example "$log"
        done
    fi
    check_awstats_log travel.example access_log webstat http previous
    check_awstats_log travel.example access_ssl_log webstat-ssl https
    check_awstats_log travel.example xferlog anon_ftpstat anon_ftp
    check_awstats_log travel.example xferlog_regular ftpstat ftp
    check_removed_marker travel.example

    for log in "${proxy_logs[@]}"; do
        check_proxy_log travel.example "$log"
    done
    for log in access_log xferlog; do
        check_removed_log parked.example "$log"
    done
    [[ $failures -eq 0 ]] || fail "$failures of the checks failed"
}

build_program
lay_out
run_program
check
