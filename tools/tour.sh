#!/usr/bin/env bash
# A short tour of bsetctl on a fresh machine: catalogd on an SQLite catalogue
# in a temporary folder, sample sets of several kinds committed through both
# transports (one staged piece by piece, commits queued and confirmed), then
# listed, shown, browsed and asked for their restore pool. Every step is the
# command a user would type; the tour stops at the first that fails.
set -euo pipefail

BSETCTL=${1:-build/tools/bsetctl}
EXAMPLES=${EXAMPLES:-$(cd "$(dirname "$0")/.." && pwd)/examples/sets}
BSETCTL=$(cd "$(dirname "$BSETCTL")" && pwd)/$(basename "$BSETCTL")
work=$(mktemp -d /tmp/bsetctl-tour.XXXXXX)
server_pid=
cleanup() {
  if [ -n "$server_pid" ] && kill -0 "$server_pid" 2>/dev/null; then
    kill -TERM "$server_pid" 2>/dev/null || true
    wait "$server_pid" 2>/dev/null || true
  fi
  rm -rf "$work"
}
trap cleanup EXIT

say() { printf '\n== %s\n' "$*"; }
run() {
  printf '$ bsetctl'
  printf ' %q' "$@"
  printf '\n'
  "$BSETCTL" "$@"
}

cd "$work"
say "catalogd on an SQLite catalogue, answering commits as queued and storing them shortly after"
printf '$ bsetctl serve --db catalog.db --listen 127.0.0.1:0 --queue-commits &\n'
"$BSETCTL" serve --db catalog.db --listen 127.0.0.1:0 --queue-commits >serve.out 2>serve.err &
server_pid=$!
for _ in $(seq 1 100); do
  grep -q '^listening on ' serve.out 2>/dev/null && break
  kill -0 "$server_pid" 2>/dev/null || { cat serve.err >&2; exit 1; }
  sleep 0.1
done
address=$(sed -n 's/^listening on //p' serve.out)
[ -n "$address" ] || { echo "bsetctl serve did not start" >&2; cat serve.err >&2; exit 1; }
export BSETCTL_SERVER="http://$address"
echo "listening on $address (BSETCTL_SERVER=$BSETCTL_SERVER)"

say "commit sample sets: each document is read into the record of its kind, sent, and confirmed stored"
run commit "$EXAMPLES/oracle.json" --rpc --confirm
run commit "$EXAMPLES/dmdb.json" --rest --confirm
run commit "$EXAMPLES/mysql_backup_set.json" --kind MySQL_Backup_Set --rpc --confirm
run commit "$EXAMPLES/vmware.json" --rest --confirm
run commit "$EXAMPLES/kubernetes.json" --rpc --confirm

say "stage a large file-system set: initialize, 20,000 pieces in batches of 2,000, complete"
sed 's/"uuid": *"[0-9a-f-]*"/"uuid": "7d3f0c1e-2b4a-4c5d-9e6f-00000000beef"/' "$EXAMPLES/file.json" >nightly.json
awk 'BEGIN { for (i = 0; i < 20000; i++)
  printf "{\"path\":\"/srv/data/p%d/d%03d/chunk-%06d.dat\",\"object\":\"\",\"size\":%d,\"extended_attrs\":{}}\n",
         i % 8, int(i / 8) % 250, i, 1048576 + i }' >nightly.pieces.jsonl
run stage nightly.json --pieces nightly.pieces.jsonl --batch 2000 --rest

say "list the catalogue (through catalogd), then the same from the database file itself"
run list
run list --db catalog.db --kind oracle --json

say "show one set: its members, storage copies and its kind's keys"
run show 7d3f0c1e-2b4a-4c5d-9e6f-00000000beef

say "browse its pieces: one directory with the pieces and bytes beneath each entry, then a deeper one"
run pieces 7d3f0c1e-2b4a-4c5d-9e6f-00000000beef --dir /srv/data
run pieces 7d3f0c1e-2b4a-4c5d-9e6f-00000000beef --dir /srv/data/p3/d042

say "where would a restore read from?"
oracle_uuid=$(sed -n 's/^ *"uuid": *"\([0-9a-f-]*\)".*/\1/p' "$EXAMPLES/oracle.json" | head -1)
run restore-pool "$oracle_uuid"

say "stop catalogd (SIGTERM: queued commits are stored before it exits)"
kill -TERM "$server_pid"
wait "$server_pid"
server_pid=
echo "catalogd stopped; the tour is over."
