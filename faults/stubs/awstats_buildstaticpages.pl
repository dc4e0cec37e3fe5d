#!/bin/sh
# AWStats' page builder: writes a page with all records of the ledger.
#
# usage: awstats_buildstaticpages.pl -config NAME -dir DIRECTORY ..., or with "=" for blanks
set -eu
root=${0%/bin/*}
# shellcheck source-path=SCRIPTDIR source=common
. "$root/bin/common"
while [ $# -gt 0 ]; do
    case $1 in
    -config=*) config=${1#*=} ;;
    -dir=*) directory=${1#*=} ;;
    -config) config=$2 ;;
    -dir) directory=$2 ;;
    esac
    shift
done
work

printf 'Build main page\n'
ledger=$root/ledger/$config
: >>"$ledger"
while IFS= read -r record; do
    printf '%s\n' "$record"
done <"$ledger" >"$directory/awstats.$config.html"
