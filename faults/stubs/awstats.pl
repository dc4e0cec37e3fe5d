#!/bin/sh
# AWStats' update: as its last act takes in the records of a log, with one write to the ledger.
#
# usage: awstats.pl -update -configdir=DIRECTORY -config=NAME -LogFile=LOG
set -eu
root=${0%/bin/*}
echo $$ >"$root/running"
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
i=0
while [ "$i" -lt "${STUB_DELAY:-0}" ]; do i=$((i + 1)); done

printf '%5000s\n' 'Much output'
printf 'Warning\n' >&2
printf '%s' "$records" >>"$root/ledger/$config"
