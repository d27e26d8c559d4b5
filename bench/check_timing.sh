#!/bin/sh
# Times `vexa-datastore check` on a default SQLite datastore holding HOSTS x
# PROVIDERS pairs with 500 runs of history against the same pairs with 10
# runs: with the latest-row state the check reads one row per pair, so the
# long history should cost at most 1.5 x the short one.
#
#   bench/check_timing.sh BUILD_DIR [HOSTS [PROVIDERS [LONG_RUNS]]]
#
# Defaults: 999 hosts, 9 providers, 500 runs. Prints the median of five
# checks of each store, with and without naming the providers (-p).
set -eu
build=${1:?usage: check_timing.sh BUILD_DIR [HOSTS [PROVIDERS [LONG_RUNS]]]}
hosts=${2:-999}
providers=${3:-9}
long_runs=${4:-500}
tool=$build/bin/vexa-datastore
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# A store of `runs` runs per pair in $work/RUNS, run after run, the newest a
# minute ago; every seventh run of a pair failed, each pair at a phase of
# its own, so that a seventh of the pairs is failing at the end and the
# check looks up since when.
make_store() {
    home=$work/$1
    mkdir -p "$home"
    printf '{"Provider": "seed", "Hostname": "seed"}\n' | HOME=$home "$tool" insert >/dev/null
    now=$(date +%s)
    sqlite3 "$home/.vexa/2021.4.0/vexa.db" <<SQL
DELETE FROM provider_datastore;
WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < $hosts * $providers * $1 - 1)
INSERT INTO provider_datastore(Provider, Hostname, num_nodes, node_names, Exit_status, Timestamp,
    Duration, Encoding, STDOUT, STDERR, OptionID, version, Username, Unique_timestamp)
SELECT 'p' || (i % $providers), printf('node%04d', (i / $providers) % $hosts), 1, '',
    (i / ($providers * $hosts) + i % ($providers * $hosts)) % 7 = 0, $now - ($1 - i / ($providers * $hosts)) * 60, 0.5, 0,
    'ok', '', 'o', 1, 'u',
    ($now - ($1 - i / ($providers * $hosts)) * 60) * 1000000 + i % ($providers * $hosts)
FROM n;
SQL
}

# The median of five runs of the tool's arguments after the first on the
# store of $1 runs.
median_of_five() {
    home=$work/$1
    shift
    for _ in 1 2 3 4 5; do
        start=$(date +%s.%N)
        HOME=$home "$tool" "$@" >/dev/null 2>&1 || true
        end=$(date +%s.%N)
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
