# shellcheck shell=bash
# Builds log preparation as a release does, as $program, for servers in $place. Sourced by the scripts.

: "${place:?}"
build=$PWD/build/bench_preparation

cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF \
    -DCMAKE_INSTALL_SYSCONFDIR="$build/etc" >"$place/build.log"
cmake --build "$build" --target statistics_log_processor -j "$(nproc)" >>"$place/build.log"
# shellcheck disable=SC2034
program=$build/statistics_log_processor

# Lays out a server without domains.
lay_out_server() {
    rm -rf "$place/vhosts" "$place/panel"
    mkdir -p "$build/etc/zut" "$place/panel/var" "$place/vhosts/system"
    printf 'HTTPD_VHOSTS_D %s\nPRODUCT_ROOT_D %s\n' "$place/vhosts" "$place/panel" \
        >"$build/etc/zut/zut.conf"
}
