#!/bin/sh
# AWStats' update: as its last act takes in the records of a log, with one write to the ledger.
#
# usage: awstats.pl -update -configdir=DIRECTORY -config=NAME -LogFile=LOG
set -eu
root=${0%/bin/*}
# shellcheck source-path=SCRIPTDIR source=common
. "$root/bin/common"
for word; do
    case $word in
    -config=*) config=${word#*=} ;;
    -LogFile=*) log=${word#*=} ;;
    esac
done

records=
while IFS= read -r record; do
    records="$records$record
"
done <"$log"
work

printf '%5000s\n' 'Much output'
printf 'Warning\n' >&2
printf '%s' "$records" >>"$root/ledger/$config"
