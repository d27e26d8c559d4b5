#!/usr/bin/env bash
# Installs the Debian packages the build, the tests, the benchmarks and CI's
# fuzzing and memory checks (clang, libFuzzer, valgrind) need, and only those
# that are missing (apt-get update runs once, when needed).
set -euo pipefail

packages=(
  g++ make cmake pkg-config
  libxml2-dev libsqlite3-dev sqlite3
  libgtest-dev libgmock-dev libbenchmark-dev
  libcli11-dev nlohmann-json3-dev libutf8proc-dev
  postgresql-15 odbc-postgresql libsqliteodbc unixodbc unixodbc-dev
  clang libclang-rt-dev valgrind
  chromium prometheus
)

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
