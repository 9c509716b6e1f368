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

build=${FUZZ_BUILD:-build-fuzz}
jobs=${JOBS:-$(nproc)}

bash scripts/setup.sh
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DBSET_FUZZ=ON >/dev/null
start=$(date +%s)
cmake --build "$build" -j "$jobs" --target bset_tests
echo "sanitized tests built in $(($(date +%s) - start)) s"

# Leaks are fatal (LeakSanitizer's default with ASan); any UBSan report
# aborts (the tree builds with -fno-sanitize-recover=all).
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
start=$(date +%s)
# A test whose child process died of a report may wait for it in vain: the
# time-out ends it as failed.
ctest --test-dir "$build" --output-on-failure -j "$jobs" --timeout 300 "$@"
echo "sanitized suite ran in $(($(date +%s) - start)) s"
