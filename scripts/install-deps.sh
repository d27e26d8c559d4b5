#!/usr/bin/env bash
# Installs the Debian packages a task needs, and only those that are missing
# (apt-get update runs once, when something is).
#
#   scripts/install-deps.sh           build and run the library, its plug-ins and the tool
#   scripts/install-deps.sh --tests   also what the test suites and benchmarks drive:
#                                     GoogleTest, Google Benchmark, the sqlite3 program,
#                                     a PostgreSQL server with its ODBC drivers,
#                                     the pgbouncer pooler, Chromium and promtool
#   scripts/install-deps.sh --all     also CI's fuzzing and memory checks (clang, valgrind)
set -euo pipefail

build=(
  g++ make cmake pkg-config
  libxml2-dev libsqlite3-dev unixodbc-dev
  libcli11-dev nlohmann-json3-dev libutf8proc-dev
)
tests=(
  libgtest-dev libgmock-dev libbenchmark-dev sqlite3
  postgresql-15 odbc-postgresql libsqliteodbc unixodbc pgbouncer
  chromium prometheus
  help2man man-db bash-completion
  time
)
ci=(clang libclang-rt-dev clang-format valgrind)

case "${1:-}" in
  "") packages=("${build[@]}") ;;
  --tests) packages=("${build[@]}" "${tests[@]}") ;;
  --all) packages=("${build[@]}" "${tests[@]}" "${ci[@]}") ;;
  -h | --help)
    sed -n '2,10s/^# \{0,1\}//p' "$0"
    exit 0
    ;;
  *)
    echo "install-deps: unknown option '$1' (see --help)" >&2
    exit 2
    ;;
esac

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$package")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all ${#packages[@]} packages present"
  exit 0
fi

sudo=""
if [ "$(id -u)" -ne 0 ]; then
  sudo="sudo"
fi
echo "install-deps: installing ${missing[*]}"
# The ODBC tests start throwaway PostgreSQL servers of their own; the cluster
# that postgresql-common would otherwise create and start at installation
# is not wanted.
$sudo mkdir -p /etc/postgresql-common
if ! grep -qs '^create_main_cluster *= *false' /etc/postgresql-common/createcluster.conf; then
  echo "create_main_cluster = false" | $sudo tee -a /etc/postgresql-common/createcluster.conf >/dev/null
fi
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
