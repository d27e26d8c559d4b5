#!/usr/bin/env bash
# Runs every libFuzzer target of a VEXA_FUZZ build tree for SECONDS each, two
# at a time, starting from its committed seed corpus (tests/fuzz/corpus/NAME,
# never written to). A crash, a leak, undefined behaviour, a failed check or
# an input slower than 30 s fails the run; the input that did it is kept as
# BUILD_DIR/fuzz/NAME-crash-* (or -leak-, -timeout-) and its log printed.
# Usage: scripts/fuzz.sh BUILD_DIR SECONDS
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(realpath "${1:?usage: scripts/fuzz.sh BUILD_DIR SECONDS}")
seconds=${2:?usage: scripts/fuzz.sh BUILD_DIR SECONDS}
work="$build/fuzz"
rm -rf "$work"
mkdir -p "$work"

run_one() {
  local fuzzer=$1 name unwind=1
  name=$(basename "$fuzzer" _fuzzer)
  mkdir -p "$work/$name"
  # Leak reports are matched against tests/lsan.supp; the kept configuration
  # documents are allocated inside libxml2, whose frames only the slow
  # unwinder walks, so the configuration target pays for full stacks.
  if [ "$name" = config ]; then
    unwind=0
  fi
  if LSAN_OPTIONS="suppressions=$PWD/tests/lsan.supp:print_suppressions=0:fast_unwind_on_malloc=$unwind" \
     UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1" \
     "$fuzzer" -max_total_time="$seconds" -timeout=30 -print_final_stats=1 \
       -artifact_prefix="$work/$name-" "$work/$name" "tests/fuzz/corpus/$name" \
       > "$work/$name.log" 2>&1; then
    echo "fuzz: $name: $(sed -n 's/^stat::number_of_executed_units: *//p' "$work/$name.log") executions in $seconds s, no failure"
  else
    echo "fuzz: $name FAILED"
    tail -n 80 "$work/$name.log"
    ls "$work/$name-"* 2>/dev/null
    return 1
  fi
}
export -f run_one
export work seconds

mapfile -t fuzzers < <(find "$build/tests/fuzz" -maxdepth 1 -type f -executable -name '*_fuzzer' | sort)
if [ ${#fuzzers[@]} -eq 0 ]; then
  echo "fuzz: no fuzz target in $build/tests/fuzz" >&2
  exit 1
fi
printf '%s\n' "${fuzzers[@]}" | xargs -P 2 -I{} bash -c 'run_one "$1"' _ {}
