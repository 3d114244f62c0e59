#!/usr/bin/env bash
# Installs what is missing, builds and runs the tests.
#
#   ./test.sh          the tests
#   ./test.sh asan     under the address and undefined-behaviour sanitizers
#   ./test.sh tsan     under the thread sanitizer
#   ./test.sh fuzz     each fuzz target for FUZZ_SECONDS seconds (20) from its kept inputs
set -euo pipefail
cd "$(dirname "$0")"
. scripts/setup.sh

run_tests() {
  ctest --test-dir "$1" --output-on-failure --parallel 2 --no-tests=error
}

# The kept inputs are read, new ones go to a folder that is thrown away.
run_fuzz_targets() {
  local found target name passed=0 failed=0
  found=$(mktemp -d)
  for target in build-fuzz/bin/fuzz_*; do
    name=${target##*/fuzz_}
    mkdir "$found/$name"
    echo "== $name"
    if "$target" -max_total_time="${FUZZ_SECONDS:-20}" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
      -artifact_prefix="$PWD/build-fuzz/" "$found/$name" "fuzz/corpus/$name" >"$found/output" 2>&1; then
      grep -E '^stat::number_of_executed_units' "$found/output"
      passed=$((passed + 1))
    else
      cat "$found/output"
      failed=$((failed + 1))
    fi
  done
  rm -rf "$found"
  echo "$passed passed, $failed failed"
  [ "$failed" -eq 0 ] && [ "$passed" -gt 0 ]
}

case "${1:-}" in
  '')
    install_packages build desktop test
    build default
    run_tests build
    ;;
  asan | tsan)
    install_packages build desktop test sanitize
    build "$1"
    run_tests "build-$1"
    ;;
  fuzz)
    install_packages build test sanitize
    build fuzz
    run_fuzz_targets
    ;;
  *) fail "unknown argument '$1': nothing, asan, tsan or fuzz" ;;
esac
