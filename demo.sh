#!/bin/bash
# Builds and installs everything under build/demo, sets up a sample server there as an administrator
# does, and makes its statistics. Run again, it makes the statistics of what has come to the logs in
# the meantime.
set -euo pipefail
cd -P "$(dirname "${BASH_SOURCE[0]}")"
. scripts/packages.sh

build=$PWD/build/demo
server=$build/server
domains=$server/vhosts/system
written=$server/written # everything that was ever written to the raw logs
web_logs=(access_log access_ssl_log proxy_access_log proxy_access_ssl_log)
ftp_logs=(xferlog xferlog_regular)
failures=0
[[ $PWD != *[!A-Za-z0-9_./-]* && $PWD != *__*__* ]] ||
    fail "the demo needs a directory with only letters, digits and _ . - in its path: $PWD"

build_programs() {
    install_packages "${build_packages[@]}" awstats
    webalizer=yes
    install_webalizer || webalizer=
    cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF \
        -DCMAKE_INSTALL_PREFIX="$build/usr" -DCMAKE_INSTALL_SYSCONFDIR="$server/etc"
    cmake --build "$build" --parallel "$(nproc)"
    cmake --install "$build" >"$build/install.log"
}

# Shows a command and runs it as root. The limits keep it short where no name server answers.
run() {
    printf '\n# %s\n' "$*"
    as_root env RES_OPTIONS='timeout:1 attempts:1' "$build/usr/sbin/$1" "${@:2}"
}

set_up() {
    as_root install -d "$server/etc/zut"
    sed "s|/srv/www/vhosts|$server/vhosts|; s|/usr/local/zut|$server/panel|" \
        "$build/usr/share/statistics_run/templates/zut.conf" |
        as_root tee "$server/etc/zut/zut.conf" >/dev/null
    run statistics_admin setup
}

# usage: add_domain DOMAIN GENERATOR LOG...
add_domain() {
    as_root test -e "$domains/$1" || run statistics_admin add "$1" --generator "$2" --months 12
    as_root install -d "$written/$1"
    as_root demo/make_logs "$1" "$domains/$1/logs" "$written/$1" "${@:3}"
}

# Every record is counted once, in the pages of its month.
check_pages() {
    local domain=$1 log=$2 output=$domains/$1/statistics/$3
    as_root demo/check_pages "$written/$domain/$log" "$output" "${@:4}" || failures=$((failures + 1))
}

build_programs
set_up
if [[ -n $webalizer ]]; then
    add_domain shop.example webalizer "${web_logs[@]}" "${ftp_logs[@]}"
    add_domain blog.example webalizer access_log
fi
add_domain travel.example awstats "${web_logs[@]}" "${ftp_logs[@]}"
run statistics_run
run statistics_admin rebuild --stale
run statistics_admin list
run statistics_admin check

printf '\nPages:\n'
for place in access_log:webstat:http access_ssl_log:webstat-ssl:https \
    xferlog:anon_ftpstat:anon_ftp xferlog_regular:ftpstat:ftp; do
    IFS=: read -r log directory service <<<"$place"
    [[ -z $webalizer ]] || check_pages shop.example "$log" "$directory"
    check_pages travel.example "$log" "$directory" "$server/panel/var/awstats" "travel.example-$service"
done
[[ $failures -eq 0 ]] || fail "$failures of the checks failed"
