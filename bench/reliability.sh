#!/usr/bin/env bash
# Load, scale-out and shutdown checks of catalogd at full length, printed as
# one markdown table (a row per check: what was tried, how long, figures,
# sets lost), the form docs/reliability.md keeps.
#
#   bench/reliability.sh                 50 agents x 60 s per mode (about 10 minutes on 2 cores)
#   bench/reliability.sh --seconds 10    the same, 10 s per mode
#   BUILD=build-x bench/reliability.sh   another build directory (default: build)
#   AGENTS=20 bench/reliability.sh       fewer agents
#   ROUNDS=10 bench/reliability.sh       fewer kills in the crash rounds
#
# Runs: SQLite and PostgreSQL with one catalogd, then two catalogd over one
# PostgreSQL catalogue (agents spread over both) with the same-uuid race;
# each in both connection modes (kept alive, a new connection per request),
# each followed by a count of every acknowledged set in the catalogue; and
# SIGTERM to a queueing catalogd with agents connected, on each engine; and a
# short run of queued commits on PostgreSQL.
# Exit status 0 only when every check passed.
set -e -o pipefail
cd "$(dirname "$0")/.."
BUILD=${BUILD:-build}
SECONDS_PER_MODE=60
AGENTS=${AGENTS:-50}
ROUNDS=${ROUNDS:-50}
while [ $# -gt 0 ]; do
  case "$1" in
    --seconds) SECONDS_PER_MODE=$2; shift 2 ;;
    --seconds=*) SECONDS_PER_MODE=${1#--seconds=}; shift ;;
    -h|--help) sed -n '2,18p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    *) echo "reliability.sh: unknown argument $1" >&2; exit 2 ;;
  esac
done

cmake --build "$BUILD" -j "${JOBS:-2}" --target catalogd load_agents crash_loop >/dev/null
PROGRAM="$BUILD/bench/load_agents"
LOG=$(mktemp)
trap 'rm -f "$LOG"' EXIT
STATUS=0

run() {
  echo "== load_agents $*"
  # A failing run still reports its lines; its status is the pipe's.
  if ! "$PROGRAM" "$@" | tee -a "$LOG" | grep -v '^RESULT|'; then STATUS=1; fi
}

COMMON="--agents $AGENTS --seconds $SECONDS_PER_MODE --mode both"
SIGTERM="--sigterm --sigterm-active 20 --sigterm-idle 10 --sigterm-after 10"
run --engine sqlite $COMMON $SIGTERM
run --engine postgresql $COMMON $SIGTERM
run --engine postgresql --servers 2 $COMMON --same-uuid-rounds 50
# Queued commits are answered before they are stored: how far storing falls
# behind agents that commit back to back (a short run; the backlog is what
# a crash would lose and what SIGTERM waits for).
run --engine postgresql --queue-commits --agents 10 --seconds 5

echo
echo "Machine: $(nproc) cores, $(date -u '+%Y-%m-%d %H:%M UTC'); $AGENTS agents, $SECONDS_PER_MODE s per mode"
echo
echo "| Check | What was tried | How long | Figures | Sets lost | Result |"
echo "|---|---|---|---|---|---|"
grep '^RESULT|' "$LOG" | cut -d'|' -f2- | sed 's/|/ | /g; s/^/| /; s/$/ |/'

# Crash and fault rounds: catalogd killed with SIGKILL under agents that use
# the library's operators, PostgreSQL restarted under load, the catalogue
# refusing writes; each run ends with a check of every acknowledged set.
echo
echo "Crash and fault rounds ($ROUNDS kills per engine, 4 agents):"
echo
"$BUILD/bench/crash_loop" --engine sqlite --rounds "$ROUNDS" --agents 4 --read-only || STATUS=1
"$BUILD/bench/crash_loop" --engine postgresql --rounds "$ROUNDS" --agents 4 --pg-restart --read-only || STATUS=1
exit $STATUS
