#!/usr/bin/env bash
# Many reporting processes through a transaction pooler: 300 runs of the
# tool's insert, one batch of 50 records each, in waves of 100 at once,
# reach one throwaway PostgreSQL server through a pgbouncer with 20 server
# connections (the server admits 60). Between the waves, read-only readers
# go through the same pool, so that a setting left on a pooled server
# connection would reach the writers after them. Every record must be stored
# exactly once, and reads through the pooler must answer from all of them.
# A sanitizer build gives fewer writers in smaller waves (still twice the
# pool at once): the code paths are the same, each process is slower.
#
#   pooler_test.sh TOOL [WRITERS WAVE]
set -euo pipefail

tool=${1:?usage: pooler_test.sh TOOL [WRITERS WAVE]}
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d /tmp/vexa-pooler-test.XXXXXX)
state=$work/state
trap '"$here/pgbouncer.sh" stop "$state"; "$here/pg_server.sh" stop "$state"; rm -rf "$work"' EXIT

writers=${2:-300}
wave=${3:-100}
records=50

fail() {
  echo "FAIL: $*" >&2
  exit 1
}

"$here/pg_server.sh" start "$state"
server() { psql -X -q -A -t -v ON_ERROR_STOP=1 -h 127.0.0.1 -p "$(cat "$state/port")" -U postgres "$@"; }
server -d postgres -c "CREATE DATABASE vexa_pooled"
"$here/pgbouncer.sh" start "$state" 20
export ODBCSYSINI=$state VEXA_DATASTORE_CONFIG=

# One group document per way of reaching the pooler.
source "$here/odbc_datastore.sh"
write_odbc_datastore "$work" pooled vexa_pooled
write_odbc_datastore "$work" reader "vexa_pooled|read_only=true"
vexa() {
  local name=$1
  shift
  # CSV lines end in CR LF.
  "$tool" --config "$work/$name-datastores.xml" "$@" | tr -d '\r'
}

# Writer w reports host nodeWWW: records r01..r50, one microsecond apart.
mkdir "$work/runs"
for ((w = 1; w <= writers; w++)); do
  for ((r = 1; r <= records; r++)); do
    printf '{"Provider":"load","Hostname":"node%03d","Exit_status":0,"Timestamp":1700000000,"Unique_timestamp":%d,"STDOUT":"w%03d-r%02d"}\n' \
      "$w" $((1700000000000000 + w * 100 + r)) "$w" "$r"
  done >"$work/runs/$w.jsonl"
done

# Runs writers first..last at once; each must store its batch whole.
write_wave() {
  local first=$1 last=$2 w
  for ((w = first; w <= last; w++)); do
    vexa pooled insert "$work/runs/$w.jsonl" >"$work/runs/$w.out" 2>&1 &
  done
  for ((w = first; w <= last; w++)); do
    wait -n || true
  done
  for ((w = first; w <= last; w++)); do
    grep -qx "stored $records records in pooled (odbc PostgreSQL 15\.[0-9]* dsn=vexa_pooled (read-write))" \
      "$work/runs/$w.out" || fail "writer $w: $(cat "$work/runs/$w.out")"
  done
}

# Readers that reach as many pooled server connections as there are.
read_wave() {
  local i
  for ((i = 1; i <= 40; i++)); do
    vexa reader --format csv sql "SELECT count(*) AS n FROM vexa_1" >"$work/reader$i.out" 2>&1 &
  done
  for ((i = 1; i <= 40; i++)); do
    wait -n || true
  done
  for ((i = 1; i <= 40; i++)); do
    grep -q '^reader,[0-9]*$' "$work/reader$i.out" || fail "reader $i: $(cat "$work/reader$i.out")"
  done
}

write_wave 1 "$wave"
read_wave
write_wave $((wave + 1)) $((2 * wave))
read_wave
write_wave $((2 * wave + 1)) "$writers"

stored=$(server -d vexa_pooled -c "SELECT count(*), count(DISTINCT STDOUT), count(DISTINCT Hostname) FROM provider_datastore")
[ "$stored" = "$((writers * records))|$((writers * records))|$writers" ] || fail "stored (records|distinct|hosts): $stored"

# Reads through the pooler, writable and read-only alike.
for name in pooled reader; do
  latest=$(vexa "$name" --format csv latest -p load | cut -d, -f2-)
  [ "$(echo "$latest" | wc -l)" -eq $((writers + 1)) ] || fail "$name latest: $(echo "$latest" | head -5)"
  echo "$latest" | grep -qx "load,node007,0,,0,1700000000,0.0,none,w007-r50,,,0,,1700000000000750,$name" ||
    fail "$name latest of node007: $(echo "$latest" | grep node007)"
  selected=$(vexa "$name" --format csv select -p load | cut -d, -f10 | sort | uniq | wc -l)
  [ "$selected" -eq $((writers * records + 1)) ] || fail "$name select: $selected distinct lines"
done

echo "pooler_test: $writers writers x $records records stored once through 20 pooled connections"
