#!/usr/bin/env bash
# Figures of many nodes reporting at once through a transaction pooler:
# PROCESSES runs of the tool's insert (RECORDS records each, one batch) start
# together against a throwaway PostgreSQL server behind a throwaway pgbouncer
# with POOL server connections (or, with "direct", straight to the server,
# which admits 60 connections). Prints the wall time, the most client
# connections the server had at once (sampled every 0.1 s from
# pg_stat_activity) and the records stored.
#
#   bench/pooler_figures.sh BUILD_DIR [PROCESSES [RECORDS [POOL [pooled|direct]]]]
set -euo pipefail

build=${1:?usage: pooler_figures.sh BUILD_DIR [PROCESSES [RECORDS [POOL [pooled|direct]]]]}
processes=${2:-1000}
records=${3:-50}
pool=${4:-20}
route=${5:-pooled}
tool=$(cd "$build" && pwd)/bin/vexa-datastore
scripts=$(cd "$(dirname "$0")/../tests/odbc" && pwd)
work=$(mktemp -d /tmp/vexa-pooler-figures.XXXXXX)
state=$work/state
trap '"$scripts/pgbouncer.sh" stop "$state"; "$scripts/pg_server.sh" stop "$state"; rm -rf "$work"' EXIT

"$scripts/pg_server.sh" start "$state" >/dev/null
server() { psql -X -q -A -t -h 127.0.0.1 -p "$(cat "$state/port")" -U postgres "$@"; }
server -d postgres -c "CREATE DATABASE vexa_pooled"
"$scripts/pgbouncer.sh" start "$state" "$pool" >/dev/null
export ODBCSYSINI=$state VEXA_DATASTORE_CONFIG=

source=vexa_pooled
[ "$route" = pooled ] || source="DSN=vexa_pg;Database=vexa_pooled"
source "$scripts/odbc_datastore.sh"
write_odbc_datastore "$work" central "$source"
# The schema exists before the nodes report, as on a running cluster.
echo '{"Provider":"setup","Hostname":"head"}' | "$tool" --config "$work/central-datastores.xml" insert >/dev/null

mkdir "$work/runs"
for ((p = 1; p <= processes; p++)); do
  for ((r = 1; r <= records; r++)); do
    printf '{"Provider":"load","Hostname":"node%04d","Exit_status":0,"Timestamp":%d,"STDOUT":"p%d r%d"}\n' \
      "$p" $((1700000000 + r)) "$p" "$r"
  done >"$work/runs/$p.jsonl"
done

# Client connections of the server, not its own background processes: one
# psql session, counted among them, asks again every 0.1 s until
# interrupted.
echo "SELECT count(*) FROM pg_stat_activity WHERE backend_type = 'client backend' \\watch 0.1" |
  psql -X -q -A -t -h 127.0.0.1 -p "$(cat "$state/port")" -U postgres -d postgres \
    >"$work/connections" 2>/dev/null &
sampler=$!

start=$(date +%s.%N)
for ((p = 1; p <= processes; p++)); do
  "$tool" --config "$work/central-datastores.xml" insert "$work/runs/$p.jsonl" >"$work/runs/$p.out" 2>&1 &
done
failed=0
for ((p = 1; p <= processes; p++)); do
  wait -n || failed=$((failed + 1))
done
end=$(date +%s.%N)
kill -INT "$sampler"
wait "$sampler" || true

stored=$(server -d vexa_pooled -c "SELECT count(*), count(DISTINCT STDOUT) FROM provider_datastore WHERE Provider = 'load'")
# The sampler's own connection is one of those counted.
most=$(($(grep -E '^[0-9]+$' "$work/connections" | sort -n | tail -1) - 1))
printf 'processes          %d (%d records each, %s, pool of %d)\n' "$processes" "$records" "$route" "$pool"
printf 'failed processes   %d\n' "$failed"
printf 'wall time          %.1f s\n' "$(echo "$end - $start" | bc)"
printf 'server connections %d at most (%d samples)\n' "$most" "$(grep -cE '^[0-9]+$' "$work/connections")"
printf 'records stored     %s (expected %d)\n' "${stored%%|*}" $((processes * records))
printf 'distinct records   %s\n' "${stored##*|}"
