#!/usr/bin/env bash
# Runs the tests that meet other processes by handshakes (locks, CSSC, signals,
# the mailer) N times (default 20) under `stress -c 2`, as a loaded 2-core CI
# machine would run them.  Usage: tools/stress-handshakes.sh [BUILD-DIR [N]]
set -uo pipefail
build=${1:-build}
n=${2:-20}
command -v stress >/dev/null || { echo "stress is not installed (tools/debian-packages.txt)"; exit 1; }
tests='^(Nametable\.(AReadWaits|ALongScan)|FileLock\.|HistoryLog\.ConcurrentRecordsStayWhole|'
tests+='Heartbeat\.|Timing\.|Zlock\.|MetadataConcurrency\.|CmdlockTest\.Racing|e2e_t1009|e2e_t1010)'
stress -c 2 >/dev/null 2>&1 &
load=$!
trap 'kill $load 2>/dev/null; wait $load 2>/dev/null' EXIT
failed=0
for i in $(seq 1 "$n"); do
  if out=$(cd "$build" && ctest -j2 -R "$tests" 2>&1); then
    echo "run $i: $(grep 'tests passed' <<<"$out")"
  else
    failed=$((failed + 1))
    echo "run $i: FAILED"
    grep -E '\*\*\*|Failed' <<<"$out"
  fi
done
echo "$failed of $n runs failed"
[ "$failed" -eq 0 ]
