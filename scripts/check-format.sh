#!/usr/bin/env bash
# Checks that every C++ source and header tracked by git follows .clang-format;
# with --fix, rewrites the files that drift instead.
set -euo pipefail
cd "$(dirname "$0")/.."

mapfile -t files < <(git ls-files '*.cpp' '*.h')
if [ "${1:-}" = "--fix" ]; then
  clang-format -i "${files[@]}"
  exit 0
fi
clang-format --dry-run --Werror "${files[@]}"
echo "check-format: ${#files[@]} files follow .clang-format"
