# Sourced by scripts/sanitize.sh and scripts/fuzz.sh, which share one clang
# tree (FUZZ_BUILD, default build-fuzz) built with ASan, UBSan and
# libFuzzer's coverage hooks: one place configures it and sets the
# sanitizers' run-time options, so the two cannot drift apart.
build=${FUZZ_BUILD:-build-fuzz}
jobs=${JOBS:-$(nproc)}

# Leaks are fatal (LeakSanitizer's default with ASan); any UBSan report
# aborts (the tree builds with -fno-sanitize-recover=all).
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1

# sanitized_build TARGET WHAT: configures the tree and builds TARGET.
sanitized_build() {
  cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DBSET_FUZZ=ON >/dev/null
  local start
  start=$(date +%s)
  cmake --build "$build" -j "$jobs" --target "$1"
  echo "$2 built in $(($(date +%s) - start)) s"
}
