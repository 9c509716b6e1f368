#!/bin/sh
# Builds and runs catalogd's scale benchmarks on both engines and prints one
# table of every figure next to its raw baseline and target.
#
#   bench/run.sh                     full size (about 10 minutes on 2 cores)
#   BENCH_SCALE=0.05 bench/run.sh    the same shape, a twentieth of the size
#   BUILD=build-x bench/run.sh       another build directory (default: build)
#   BENCH_ENGINES=sqlite|postgresql  one engine only
#   BENCH_SECONDS=N                  seconds per concurrency level (commits)
set -e
cd "$(dirname "$0")/.."
BUILD=${BUILD:-build}
PROGRAMS="bench_engine_ingest bench_set_listing bench_concurrent_commits"
cmake --build "$BUILD" -j "${JOBS:-2}" --target catalogd $PROGRAMS >/dev/null
LOG=$(mktemp)
trap 'rm -f "$LOG"' EXIT
for p in $PROGRAMS; do
  echo "== $p (BENCH_SCALE=${BENCH_SCALE:-1})"
  "$BUILD/bench/$p" | tee -a "$LOG" | grep -v '^RESULT|'
done
echo
echo "Summary (ratio = measured / raw baseline; machine: $(nproc) cores, BENCH_SCALE=${BENCH_SCALE:-1})"
{
  echo "test|engine|measure|value|unit|raw|ratio|target|met"
  grep '^RESULT|' "$LOG" | cut -d'|' -f2-
} | column -t -s'|'
