#!/usr/bin/env bash
# Builds the libFuzzer targets of fuzz/ with clang into their own tree and
# runs each for a bounded time on a scratch copy of its seed corpus:
#
#   scripts/fuzz.sh [seconds-per-target]     (default 60)
#
# FUZZ_BUILD names the build directory (default build-fuzz), JOBS the build
# parallelism (default: every core). Fails when a target crashes, leaks,
# times out on an input or runs out of memory; the input that did it is kept
# in a temporary folder (never in the tree) and printed in hex.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
case $seconds in
  '' | *[!0-9]*) echo "usage: $0 [seconds-per-target]" >&2; exit 2 ;;
esac
source scripts/sanitized_tree.sh

bash scripts/setup.sh

# clang is there but may lack libFuzzer's runtime: say so plainly rather
# than fail deep inside the build.
probe=$(mktemp -d)
trap 'rm -rf "$probe"' EXIT
printf 'extern "C" int LLVMFuzzerTestOneInput(const unsigned char*, unsigned long) { return 0; }\n' >"$probe/p.cpp"
if ! clang++ -fsanitize=fuzzer,address,undefined "$probe/p.cpp" -o "$probe/p" 2>"$probe/err"; then
  echo "clang++ cannot link a libFuzzer program (is libclang-rt-dev installed?):" >&2
  cat "$probe/err" >&2
  exit 1
fi

sanitized_build fuzzers "fuzz targets"

failed=()
summary=()
for src in fuzz/fuzz_*.cpp; do
  name=$(basename "$src" .cpp)
  bin="$build/fuzz/$name"
  seeds="fuzz/corpus/$name"
  if [ ! -d "$seeds" ] || [ -z "$(ls -A "$seeds")" ]; then
    echo "$name: no seeds in $seeds" >&2
    failed+=("$name")
    continue
  fi

  work=$(mktemp -d "${TMPDIR:-/tmp}/$name.XXXXXX")
  cp -R "$seeds" "$work/corpus"
  mkdir "$work/artifacts"
  args=(-max_total_time="$seconds" -rss_limit_mb=2048 -timeout=10 -print_final_stats=1
        -artifact_prefix="$work/artifacts/")
  [ -f "fuzz/$name.dict" ] && args+=(-dict="fuzz/$name.dict")

  echo "== $name: $seconds s, seeds from $seeds"
  status=0
  # libFuzzer stops itself after max_total_time; the outer limit only
  # catches a run that wedges outside any one input.
  timeout --signal=KILL $((seconds * 2 + 300)) "$bin" "${args[@]}" "$work/corpus" >"$work/log" 2>&1 || status=$?
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$work/log" | tail -n 1)

  if [ "$status" -ne 0 ] || [ -z "$runs" ] || [ "$runs" -eq 0 ]; then
    echo "$name FAILED (exit $status), log and inputs in $work"
    grep -E 'ERROR|SUMMARY|invariant broken|runtime error|==[0-9]+==|^    #[0-9]+ ' "$work/log" | head -n 80 || true
    echo "-- last lines of the log:"
    tail -n 15 "$work/log"
    for artifact in "$work"/artifacts/*; do
      [ -f "$artifact" ] || continue
      echo "-- $artifact ($(wc -c <"$artifact") bytes):"
      od -A x -t x1z -v "$artifact" | head -n 256
    done
    failed+=("$name")
    summary+=("$name: FAILED after ${runs:-?} executions")
  else
    echo "$name: $runs executions in $seconds s"
    summary+=("$name: $runs executions")
    rm -rf "$work"
  fi
done

echo "== fuzzing, $seconds s per target:"
printf '  %s\n' "${summary[@]}"
total=0
for src in fuzz/fuzz_*.cpp; do total=$((total + 1)); done
echo "fuzz: $((total - ${#failed[@]})) passed, ${#failed[@]} failed"
if [ ${#failed[@]} -ne 0 ]; then
  echo "fuzzing failed: ${failed[*]}" >&2
  exit 1
fi
