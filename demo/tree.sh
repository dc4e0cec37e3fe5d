# shellcheck shell=bash
# Lays out the sample server. Sourced by demo.sh, which sets $server, the server's directory.

# Directories of the sample server.
: "${server:?}"
panel=$server/panel
domains=$server/vhosts/system
copies=$server/written # everything that was ever written to the raw logs

lay_out_server() {
    mkdir -p "$server/etc/zut" "$panel/admin/sbin" "$panel/var/webalizer" "$domains"
    cat >"$server/etc/zut/zut.conf" <<END
# The sample server.
HTTPD_VHOSTS_D $server/vhosts
PRODUCT_ROOT_D $panel
WEB_STAT /usr/bin/webalizer
END
    install -m 755 demo/statistics_log_processor "$panel/admin/sbin/"
    printf 'Not a domain.\n' >"$domains/notes.txt"
}

lay_out_domain() {
    mkdir -p "$domains/$1/logs" "$domains/$1/conf" "$domains/$1/statistics" "$copies/$1"
}

# CacheIPs keeps the addresses that have no name from being asked for again for every log.
lay_out_webalizer_domain() {
    lay_out_domain "$1"
    cat >"$domains/$1/conf/webalizer.conf" <<END
OutputDir $domains/$1/statistics
ReportTitle Usage statistics for
Incremental yes
IncrementalName webalizer.current
HistoryName webalizer.hist
CacheIPs yes
PageType htm*
PageType php
HideURL *.css
HideURL *.js
HideURL *.jpg
HideURL *.png
SearchEngine search.example q=
END
}

# Writes records to the named logs of a domain.
write_logs() {
    local domain=$1
    shift
    demo/make_logs "$domain" "$domains/$domain/logs" "$copies/$domain" "$@"
}
