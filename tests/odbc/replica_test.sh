#!/usr/bin/env bash
# The tool against a read replica: a throwaway primary and its streaming hot
# standby. Read-only against the standby, the tool answers the rows the
# primary answers once the standby has replayed them; a writable instance on
# the standby fails its insert with the server's reason and a non-zero exit.
#
#   replica_test.sh TOOL
set -euo pipefail

tool=${1:?usage: replica_test.sh TOOL}
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d /tmp/vexa-replica-test.XXXXXX)
state=$work/state
trap '"$here/pg_standby.sh" stop "$state"; "$here/pg_server.sh" stop "$state"; rm -rf "$work"' EXIT

fail() {
  echo "FAIL: $*" >&2
  exit 1
}

"$here/pg_server.sh" start "$state"
on() {
  local port=$1
  shift
  psql -X -q -A -t -v ON_ERROR_STOP=1 -h 127.0.0.1 -p "$port" -U postgres -d vexa_replica "$@"
}
psql -X -q -h 127.0.0.1 -p "$(cat "$state/port")" -U postgres -d postgres \
  -c "CREATE DATABASE vexa_replica"
"$here/pg_standby.sh" start "$state"
export ODBCSYSINI=$state VEXA_DATASTORE_CONFIG=

source "$here/odbc_datastore.sh"
write_odbc_datastore "$work" primary "DSN=vexa_pg;Database=vexa_replica"
write_odbc_datastore "$work" replica "DSN=vexa_standby;Database=vexa_replica|read_only=true"
write_odbc_datastore "$work" misdirected "DSN=vexa_standby;Database=vexa_replica"
vexa() {
  local name=$1
  shift
  # CSV lines end in CR LF.
  "$tool" --config "$work/$name-datastores.xml" "$@" | tr -d '\r'
}

for ((i = 1; i <= 200; i++)); do
  printf '{"Provider":"%s","Hostname":"node%03d","Exit_status":%d,"Timestamp":%d,"STDOUT":"run %d"}\n' \
    "$([ $((i % 2)) -eq 0 ] && echo cpu || echo disk)" $((i % 40)) $((i % 3)) $((1700000000 + i)) "$i"
done >"$work/runs.jsonl"
stored=$(vexa primary insert "$work/runs.jsonl")
echo "$stored" | grep -qx "stored 200 records in primary (odbc PostgreSQL 15\.[0-9]* connection=DSN=vexa_pg;Database=vexa_replica (read-write))" ||
  fail "insert on the primary: $stored"
[ "$(on "$(cat "$state/port")" -c "SELECT count(*) FROM provider_datastore")" = 200 ] ||
  fail "the primary holds $(on "$(cat "$state/port")" -c "SELECT count(*) FROM provider_datastore") records"

# Replayed once the standby's replay position reaches the primary's end of WAL.
lsn=$(on "$(cat "$state/port")" -c "SELECT pg_current_wal_lsn()")
for ((tries = 0; ; tries++)); do
  replayed=$(on "$(cat "$state/standby_port")" -c "SELECT pg_last_wal_replay_lsn() >= '$lsn'::pg_lsn")
  [ "$replayed" = t ] && break
  [ "$tries" -lt 300 ] || fail "the standby did not replay up to $lsn in 30 s"
  sleep 0.1
done

# The same rows, but for the datastore's name in the last column.
for command in "select" "latest" "latest -p cpu" "hosts"; do
  # shellcheck disable=SC2086
  from_primary=$(vexa primary --format csv $command | sed 's/,primary$//')
  # shellcheck disable=SC2086
  from_replica=$(vexa replica --format csv $command | sed 's/,replica$//')
  [ "$from_primary" = "$from_replica" ] || fail "$command differs: $(diff <(echo "$from_primary") <(echo "$from_replica") | head)"
done
[ "$(vexa replica --format csv select | wc -l)" -eq 201 ] || fail "the replica's select: not 200 rows"
[ "$(vexa replica --format csv latest | wc -l)" -eq 41 ] || fail "the replica's latest: not 40 rows"
vexa replica datastores | grep -q "odbc PostgreSQL 15\.[0-9]* connection=DSN=vexa_standby;Database=vexa_replica (read-only)" ||
  fail "the replica's description: $(vexa replica datastores)"

# A write configured against the standby.
status=0
refused=$(echo '{"Provider":"cpu","Hostname":"node001","Timestamp":1800000000}' |
  "$tool" --config "$work/misdirected-datastores.xml" insert 2>&1) || status=$?
[ "$status" -eq 1 ] || fail "an insert on the standby exited with $status: $refused"
echo "$refused" | grep -q "SQLExecute: \[25006\] (1) ERROR: cannot execute INSERT in a read-only transaction" ||
  fail "an insert on the standby, without the server's reason: $refused"
[ "$(on "$(cat "$state/port")" -c "SELECT count(*) FROM provider_datastore")" = 200 ] ||
  fail "the primary changed"

echo "replica_test: the standby answers as the primary and refuses writes"
