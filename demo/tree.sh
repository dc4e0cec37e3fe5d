# shellcheck shell=bash
# Lays out the sample server. Sourced by demo.sh, which sets $server, the server's directory, and
# $log_processor, the program that prepares the logs.

# Directories of the sample server.
: "${server:?}" "${log_processor:?}"
panel=$server/panel
domains=$server/vhosts/system
copies=$server/written # everything that was ever written to the raw logs
awstats_data=$panel/var/awstats

lay_out_server() {
    mkdir -p "$server/etc/zut" "$panel/admin/sbin" "$panel/var/webalizer" "$awstats_data" \
        "$panel/etc/awstats" "$domains"
    cat >"$server/etc/zut/zut.conf" <<END
# The sample server.
HTTPD_VHOSTS_D $server/vhosts
PRODUCT_ROOT_D $panel
WEB_STAT $PWD/packaging/adapters/webalizer
AWSTATS_BIN_D $PWD/packaging/adapters
AWSTATS_TOOLS_D $PWD/packaging/adapters
END
    ln -sf "$log_processor" "$panel/admin/sbin/statistics_log_processor"
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

# Writes AWStats' configuration of the service that writes a log; the kind is web or ftp.
write_awstats_conf() {
    local domain=$1 service=$2 log=$3 kind=$4
    cat demo/awstats/common.conf "demo/awstats/$kind.conf" - \
        >"$panel/etc/awstats/awstats.$domain-$service.conf" <<END
SiteDomain="$domain"
LogFile="$domains/$domain/logs/$log.webstat"
DirData="$awstats_data"
END
}

# AWStats makes no directories for its pages. They look for their icons beside those.
lay_out_awstats_domain() {
    local domain=$1 statistics=$domains/$1/statistics
    lay_out_domain "$domain"
    mkdir -p "$statistics"/{webstat,webstat-ssl,anon_ftpstat,ftpstat}
    ln -sfn /usr/share/awstats/icon "$statistics/icon"
    printf '12\n' >"$domains/$domain/conf/stat_ttl.conf" # months
    write_awstats_conf "$domain" http access_log web
    write_awstats_conf "$domain" https access_ssl_log web
    write_awstats_conf "$domain" anon_ftp xferlog ftp
    write_awstats_conf "$domain" ftp xferlog_regular ftp
}

# Writes records to the named logs of a domain.
write_logs() {
    local domain=$1
    shift
    demo/make_logs "$domain" "$domains/$domain/logs" "$copies/$domain" "$@"
}
