#!/usr/bin/env bash
# Runs every test executable of a build tree under valgrind memcheck, two at
# a time: any memory error, or any leak but those of tests/valgrind.supp,
# fails the run. Usage: scripts/memcheck.sh BUILD_DIR
# Each executable runs all its tests in one process (one valgrind start-up
# per executable rather than per test); its log is BUILD_DIR/memcheck/NAME.log.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(realpath "${1:?usage: scripts/memcheck.sh BUILD_DIR}")
supp="$PWD/tests/valgrind.supp"
logs="$build/memcheck"
rm -rf "$logs"
mkdir -p "$logs"

run_one() {
  local exe=$1 name
  name=$(basename "$exe")
  local start=$SECONDS
  # "Possibly lost" blocks are shown but not errors: a child a test forks
  # ends with _exit while the parent's SQLite connection holds its page
  # buffers through interior pointers, which valgrind counts as possible.
  # The tests' own standard error stays theirs (some compare it exactly):
  # valgrind writes to the log file. Programs the tests start run natively.
  if (cd "$(dirname "$exe")" && valgrind --tool=memcheck --quiet \
        --log-file="$logs/$name.valgrind.%p" \
        --suppressions="$supp" --error-exitcode=99 --num-callers=40 \
        --leak-check=full --show-leak-kinds=definite,indirect,possible \
        --errors-for-leak-kinds=definite,indirect \
        --child-silent-after-fork=yes --trace-children=no \
        "$exe" --gtest_brief=1 > "$logs/$name.log" 2>&1); then
    echo "memcheck: $name passed ($((SECONDS - start)) s)"
  else
    echo "memcheck: $name FAILED ($((SECONDS - start)) s)"
    cat "$logs/$name.log" "$logs/$name".valgrind.* 2>/dev/null | tail -n 200
    return 1
  fi
}
export -f run_one
export supp logs

# concurrency_test is left to the ThreadSanitizer build: valgrind runs its
# eight threads one at a time, which takes many minutes for nothing it would
# not see in the other suites. sqlite_concurrent_writers_test measures 64
# processes queuing for one file's write lock: slowed down some fifty times,
# the last of them wait longer than SQLite's busy timeout, and the code it
# runs is the batch code the other suites already check here.
# The suites live in a folder per layer (tests/library, tests/sqlite,
# tests/tool); the ODBC ones follow below.
mapfile -t executables < <(find "$build/tests" -mindepth 2 -maxdepth 2 -type f -executable \
  -name '*_test' ! -path "$build/tests/odbc/*" ! -name concurrency_test \
  ! -name sqlite_concurrent_writers_test | sort)
if [ ${#executables[@]} -eq 0 ]; then
  echo "memcheck: no test executable in $build/tests" >&2
  exit 1
fi
printf '%s\n' "${executables[@]}" | xargs -P 2 -I{} bash -c 'run_one "$1"' _ {}
echo "memcheck: ${#executables[@]} test executables without a memory error or leak"

# The ODBC plug-in's suites need the PostgreSQL server and the pooler in
# front of it that ctest's fixtures start for them; here the same scripts
# start their own.
mapfile -t odbc_executables < <(find "$build/tests/odbc" -maxdepth 1 -type f -executable \
  -name '*_test' 2>/dev/null | sort)
if [ ${#odbc_executables[@]} -eq 0 ]; then
  echo "memcheck: no ODBC test executable in $build/tests/odbc" >&2
  exit 1
fi
server=$(mktemp -d /tmp/vexa-memcheck.XXXXXX)
trap 'tests/odbc/pgbouncer.sh stop "$server" >/dev/null 2>&1
      tests/odbc/pg_server.sh stop "$server" >/dev/null 2>&1; rm -rf "$server"' EXIT
tests/odbc/pg_server.sh start "$server" >/dev/null
tests/odbc/pgbouncer.sh start "$server" 4 >/dev/null
export ODBCSYSINI=$server
printf '%s\n' "${odbc_executables[@]}" | xargs -P 2 -I{} bash -c 'run_one "$1"' _ {}
echo "memcheck: ${#odbc_executables[@]} ODBC test executables without a memory error or leak"
