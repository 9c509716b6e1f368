#!/usr/bin/env bash
# Runs the whole test suite built with AddressSanitizer and
# UndefinedBehaviorSanitizer: the library, catalogd, bsetctl and every test
# program, in the clang tree the fuzz targets use (FUZZ_BUILD, default
# build-fuzz). A memory error, a leak or undefined behaviour fails the test
# it happens in, also inside the catalogd and bsetctl processes the tests
# start.
#
#   scripts/sanitize.sh [ctest arguments...]     e.g. -R Bsetctl
set -euo pipefail
cd "$(dirname "$0")/.."

source scripts/sanitized_tree.sh

bash scripts/setup.sh
sanitized_build bset_tests "sanitized tests"
start=$(date +%s)
# A test whose child process died of a report may wait for it in vain: the
# time-out ends it as failed.
ctest --test-dir "$build" --output-on-failure -j "$jobs" --timeout 300 "$@"
echo "sanitized suite ran in $(($(date +%s) - start)) s"
