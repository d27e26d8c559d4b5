#!/bin/bash
# Times `vexa-datastore check` on a datastore holding HOSTS x PROVIDERS
# pairs with 500 runs of history against the same pairs with 10 runs: with
# the latest-row state the check reads one row per pair, so the long history
# should cost at most 1.5 x the short one.
#
#   bench/check_timing.sh [--postgresql] BUILD_DIR [HOSTS [PROVIDERS [LONG_RUNS]]]
#
# Defaults: 999 hosts, 9 providers, 500 runs, on the default SQLite file;
# with --postgresql, on a throwaway PostgreSQL server of its own reached
# through the ODBC plug-in (tests/odbc/pg_server.sh). Prints the median of
# five checks of each store, with and without naming the providers (-p).
set -euo pipefail
backend=sqlite
if [ "${1:-}" = --postgresql ]; then
    backend=postgresql
    shift
fi
usage="usage: check_timing.sh [--postgresql] BUILD_DIR [HOSTS [PROVIDERS [LONG_RUNS]]]"
build=${1:?$usage}
hosts=${2:-999}
providers=${3:-9}
long_runs=${4:-500}
tool=$build/bin/vexa-datastore
here=$(cd "$(dirname "$0")/.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The rows of a store of $1 runs per pair, run after run, the newest a minute
# ago, as one INSERT ... SELECT over the numbers i of `numbers`; every
# seventh run of a pair failed, each pair at a phase of its own, so that a
# seventh of the pairs is failing at the end and the check looks up since
# when. $2 formats a host name from its number, $3 concatenates.
history_insert() {
    local runs=$1 host=$2 cat=$3 pairs=$((hosts * providers))
    local run="(i / $pairs)" stamp="($now - ($runs - i / $pairs) * 60)"
    cat <<SQL
INSERT INTO provider_datastore(Provider, Hostname, num_nodes, node_names, Exit_status, Timestamp,
    Duration, Encoding, STDOUT, STDERR, OptionID, version, Username, Unique_timestamp)
SELECT 'p' $cat (i % $providers), $host, 1, '',
    CASE WHEN ($run + i % $pairs) % 7 = 0 THEN 1 ELSE 0 END, $stamp, 0.5, 0,
    'ok', '', 'o', 1, 'u', CAST($stamp AS BIGINT) * 1000000 + i % $pairs
FROM numbers;
SQL
}

now=$(date +%s)
if [ "$backend" = sqlite ]; then
    # The default datastore of HOME=$work/RUNS.
    make_store() {
        local home=$work/$1
        mkdir -p "$home"
        printf '{"Provider": "seed", "Hostname": "seed"}\n' | HOME=$home "$tool" insert >/dev/null
        {
            echo "DELETE FROM provider_datastore;"
            echo "WITH RECURSIVE numbers(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM numbers"
            echo "    WHERE i < $hosts * $providers * $1 - 1)"
            history_insert "$1" "printf('node%04d', (i / $providers) % $hosts)" "||"
        } | sqlite3 "$home/.vexa/2021.4.0/vexa.db"
    }
    run_tool() {
        local runs=$1
        shift
        HOME=$work/$runs "$tool" "$@"
    }
else
    # Database checkRUNS of the server, its state dropped before the history
    # goes in (a row trigger per row would take longer than the rest) and
    # filled again by the tool's next writable open.
    source "$here/tests/odbc/odbc_datastore.sh"
    "$here/tests/odbc/pg_server.sh" start "$work/server" >/dev/null
    trap '"$here/tests/odbc/pg_server.sh" stop "$work/server" >/dev/null; rm -rf "$work"' EXIT
    export ODBCSYSINI=$work/server
    server() {
        psql -X -q -v ON_ERROR_STOP=1 -h 127.0.0.1 -p "$(cat "$work/server/port")" -U postgres "$@"
    }
    make_store() {
        local runs=$1
        server -d postgres -c "CREATE DATABASE check$runs"
        write_odbc_datastore "$work" "check$runs" "DSN=vexa_pg;Database=check$runs"
        printf '{"Provider": "seed", "Hostname": "seed"}\n' | run_tool "$runs" insert >/dev/null
        {
            echo "SET client_min_messages = warning;"
            echo "DROP TABLE provider_datastore_state;"
            echo "DROP FUNCTION provider_datastore_state_keep() CASCADE;"
            echo "DROP FUNCTION provider_datastore_state_insert() CASCADE;"
            echo "DELETE FROM provider_datastore;"
            echo "WITH numbers(i) AS (SELECT generate_series(0, $hosts * $providers * $runs - 1))"
            history_insert "$runs" "'node' || lpad(((i / $providers) % $hosts)::text, 4, '0')" "||"
            echo "VACUUM ANALYZE provider_datastore;"
        } | server -d "check$runs"
        run_tool "$runs" insert </dev/null >/dev/null
    }
    run_tool() {
        local runs=$1
        shift
        "$tool" --config "$work/check$runs-datastores.xml" "$@"
    }
fi

# The median of five runs of the tool's arguments after the first on the
# store of $1 runs. check's CRITICAL (2) is expected; UNKNOWN (3), a failure
# to answer, stops the timing.
median_of_five() {
    local runs=$1 status
    shift
    for _ in 1 2 3 4 5; do
        start=$(date +%s.%N)
        status=0
        run_tool "$runs" "$@" >"$work/out" 2>&1 || status=$?
        end=$(date +%s.%N)
        if [ "$status" -gt 2 ]; then
            echo "check_timing: $* on $runs runs exited $status: $(head -c 500 "$work/out")" >&2
            exit 1
        fi
        echo "$end - $start" | bc
    done | sort -n | sed -n 3p
}

make_store 10
make_store "$long_runs"
named=$(seq -s, 0 $((providers - 1)) | sed 's/\([0-9]*\)/p\1/g')
for args in "check" "check -p $named"; do
    short=$(median_of_five 10 $args)
    long=$(median_of_five "$long_runs" $args)
    printf '%-24s %6s runs: %8.3f s   10 runs: %8.3f s   ratio %.2f x (target at most 1.5 x)\n' \
        "$(echo "$args" | cut -c1-24)" "$long_runs" "$long" "$short" "$(echo "$long / $short" | bc -l)"
done
