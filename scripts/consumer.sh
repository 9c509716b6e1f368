#!/usr/bin/env bash
# Installs the build tree under a temporary prefix and builds the example
# agent of examples/consumer against that prefix alone, twice: with CMake's
# find_package and with pkg-config. Each agent must load the installed
# libbackupset, commit a set to the installed catalogd and find it in the
# catalogue afterwards. Run from the top of the tree; BUILD names the build
# directory (default: build).
set -uo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD:-build}
case $build in /*) ;; *) build=$root/$build ;; esac

work=$(mktemp -d /tmp/bset-consumer-XXXXXX)
prefix=$work/prefix
catalogd_pid=

stop_catalogd() {
  [ -n "$catalogd_pid" ] || return 0
  kill -TERM "$catalogd_pid" 2>/dev/null
  wait "$catalogd_pid"
  local status=$?
  catalogd_pid=
  return $status
}
cleanup() {
  stop_catalogd >/dev/null 2>&1
  rm -rf "$work"
}
trap cleanup EXIT

# A fault of the installed tree or of catalogd ends the run.
fatal() {
  echo "consumer: $*" >&2
  echo "consumer: 0 passed, 2 failed"
  exit 1
}

echo "== cmake --install $build --prefix $prefix"
cmake --install "$build" --prefix "$prefix" >"$work/install.log" 2>&1 ||
  { cat "$work/install.log" >&2; fatal "installing the build tree failed"; }

pc_file=$(find "$prefix" -name backupset.pc -path '*/pkgconfig/*' | head -n 1)
[ -n "$pc_file" ] || fatal "no backupset.pc under $prefix"
libdir=$(dirname "$(dirname "$pc_file")")
installed_lib=$(realpath "$libdir/libbackupset.so")
[ -f "$installed_lib" ] || fatal "no libbackupset.so in $libdir"
[ -x "$prefix/bin/catalogd" ] || fatal "no catalogd in $prefix/bin"
export PKG_CONFIG_PATH=$(dirname "$pc_file")${PKG_CONFIG_PATH:+:$PKG_CONFIG_PATH}

# The installed tree stands alone: nothing in it points back into the
# source or build tree, and its headers compile with only the include
# directories pkg-config names.
if grep -rlI -e "$root" -e "$build" "$prefix" >"$work/leaks" 2>/dev/null; then
  cat "$work/leaks" >&2
  fatal "installed files refer to $root or $build"
fi
(cd "$prefix/include" && find . -name '*.h' | sed 's|^\./||' | sort | sed 's|.*|#include "&"|') >"$work/headers.cpp"
c++ -std=c++17 -Wall -Wextra -Werror -fsyntax-only $(pkg-config --cflags backupset) "$work/headers.cpp" ||
  fatal "the installed headers do not compile on their own"
echo "   $(wc -l <"$work/headers.cpp") installed headers compile on their own"

# The program loads the installed libbackupset, not another copy.
uses_installed_lib() {
  local found
  found=$(ldd "$1" | awk '$1 ~ /^libbackupset\.so/ {print $3}')
  if [ -z "$found" ] || [ "$(realpath "$found")" != "$installed_lib" ]; then
    echo "consumer: $1 loads libbackupset from '${found:-nowhere}', not $installed_lib" >&2
    return 1
  fi
}
uses_installed_lib "$prefix/bin/catalogd" || fatal "the installed catalogd does not use the installed library"

"$prefix/bin/catalogd" --listen 127.0.0.1 --port 0 --db "$work/c.db" >"$work/catalogd.out" 2>"$work/catalogd.err" &
catalogd_pid=$!
address=
for _ in $(seq 1 100); do
  address=$(sed -n 's/^listening on \([0-9.]*:[0-9]*\)$/\1/p' "$work/catalogd.out")
  [ -n "$address" ] && break
  kill -0 "$catalogd_pid" 2>/dev/null || break
  sleep 0.1
done
[ -n "$address" ] || { cat "$work/catalogd.err" >&2; fatal "the installed catalogd did not start"; }
echo "   installed catalogd listening on $address"

# Runs one built agent against catalogd and checks the set arrived.
run_agent() {
  local agent=$1 out=$2 uuid answer status
  uses_installed_lib "$agent" || return 1
  "$agent" "http://$address/rpc" >"$out" 2>"$out.err"
  status=$?
  if [ $status -ne 0 ]; then
    cat "$out" "$out.err" >&2
    echo "consumer: $agent exited with status $status" >&2
    return 1
  fi
  uuid=$(sed -n 's/^uuid: //p' "$out")
  [ -n "$uuid" ] || { echo "consumer: $agent printed no uuid" >&2; return 1; }
  answer=$(curl -s -f "http://$address/d2/r/v2/sets/exists?uuid=$uuid") ||
    { echo "consumer: set $uuid is not in the catalogue" >&2; return 1; }
  case $answer in
    *'"exists":true'* | *'"exists": true'*) ;;
    *) echo "consumer: the catalogue answered $answer for set $uuid" >&2; return 1 ;;
  esac
  echo "   set $uuid committed and found in the catalogue"
}

passed=0
failed=0
result() {
  if [ "$1" -eq 0 ]; then passed=$((passed + 1)); echo "   ok: $2"; else failed=$((failed + 1)); echo "   FAILED: $2"; fi
}

echo "== find_package(backupset): examples/consumer with CMAKE_PREFIX_PATH=$prefix"
status=0
cmake -S "$root/examples/consumer" -B "$work/cmake-build" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Release \
  >"$work/cmake.log" 2>&1 && cmake --build "$work/cmake-build" >>"$work/cmake.log" 2>&1 ||
  { cat "$work/cmake.log" >&2; echo "consumer: the CMake build of the agent failed" >&2; status=1; }
[ $status -eq 0 ] && { run_agent "$work/cmake-build/agent" "$work/cmake-agent.out" || status=1; }
result $status "find_package build and run"

echo "== pkg-config backupset: c++ agent.cpp \$(pkg-config --cflags --libs backupset)"
status=0
c++ -std=c++17 -Wall -Wextra -Werror "$root/examples/consumer/agent.cpp" -o "$work/pc-agent" \
  $(pkg-config --cflags --libs backupset) -Wl,-rpath,"$(pkg-config --variable=libdir backupset)" ||
  { echo "consumer: the pkg-config build of the agent failed" >&2; status=1; }
[ $status -eq 0 ] && { run_agent "$work/pc-agent" "$work/pc-agent.out" || status=1; }
result $status "pkg-config build and run"

stopped=0
stop_catalogd || { cat "$work/catalogd.err" >&2; echo "consumer: catalogd did not stop cleanly" >&2; stopped=1; }

echo "consumer: $passed passed, $failed failed"
[ $failed -eq 0 ] && [ $stopped -eq 0 ]
