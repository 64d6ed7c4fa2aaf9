#!/usr/bin/env bash
# A putback of 1% changed files into a parent of FILES history files, against
# hg push of the same change between two repositories of the same files; then
# ws_undo of that putback.  Best of ROUNDS each, the ratio putback / hg push,
# and the peak memory of putback and ws_undo.
#
# usage: bash bench/putback_bench.sh [SCRATCH [FILES [ROUNDS]]]
#        (defaults /work/scratch/putback-bench, 50000, 3; run from anywhere
#        after a build of build/ with the benchmarks)
#
# The parent and child workspaces come from examine_bench's generator (one
# SmID per file, name tables written); each round copies them afresh, gives
# every hundredth file of the child a new delta by CSSC's get -e and delta,
# and makes the same change in the hg child by an appended line.
#
# A putback also writes the new clear file of every file it updates in the
# parent; hg push leaves the parent's working files alone.  The fair peer is
# hg push followed by hg update in the parent, which writes the same files;
# both ratios are printed.  Each round also puts the same change back with -g,
# which leaves the parent's clear files alone, into a second fresh copy, and
# compares that with hg push alone.
#
# Nothing is deleted while a round runs, and every command starts after a
# sync: freeing a tree of 100,000 files keeps the disk busy with discards and
# the file system skipping the freed inodes for half a minute, which would
# land on whichever command came next.  The rounds' copies go at the end.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
bin=$top/build/bin
scratch=${1:-/work/scratch/putback-bench}
files=${2:-50000}
rounds=${3:-3}
cssc=$(dirname "$(ls /usr/lib/*/cssc/admin | head -1)")
export PATH=$bin:$cssc:/usr/bin:/bin
unset BRINDLE_WS BRINDLE_TIMING BRINDLE_KILL_AT
command -v hg >/dev/null || { echo "hg is not installed"; exit 1; }
[ -x "$bin/examine_bench" ] || { echo "build examine_bench first"; exit 1; }

mkdir -p "$scratch"
# Leftovers of an interrupted run, freed before anything is timed.
rm -rf "$scratch"/round* "$scratch/hg-child" "$scratch/hg-parent-copy" && sync
# The pair, made once by examine_bench (which also times a preview on it).
[ -e "$scratch/pair/made-$files" ] || "$bin/examine_bench" "$scratch/pair" "$files" 0 >/dev/null
changed=$(cd "$scratch/pair/child" && find . -name 's.*' | sort | awk 'NR % 100 == 1' | sed 's|^\./||')
nchanged=$(wc -l <<<"$changed")

# The hg pair: the newest text of every history as a clear file, committed.
if [ ! -e "$scratch/hg-made-$files" ]; then
  rm -rf "$scratch/hg-parent" "$scratch/hg-child"
  python3 - "$scratch/pair/parent" "$scratch/hg-parent" <<'PY'
import os, sys
src, dst = sys.argv[1], sys.argv[2]
for root, dirs, names in os.walk(src):
    dirs[:] = [d for d in dirs if d != "Brindle_wsdata"]
    for n in names:
        if not n.startswith("s."):
            continue
        rel = os.path.relpath(root, src)
        out = os.path.join(dst, os.path.dirname(rel), n[2:])
        os.makedirs(os.path.dirname(out), exist_ok=True)
        with open(os.path.join(root, n), "rb") as f, open(out, "wb") as o:
            o.writelines(l for l in f if not l.startswith(b"\x01"))
PY
  (cd "$scratch/hg-parent" && hg init && hg add -q . && hg commit -q -u bench -m 'the files')
  touch "$scratch/hg-made-$files"
fi

best() { sort -n | head -1; }
# Large copies push other files out of the page cache on this kind of machine:
# each command is timed with the trees it reads read just before.
warm() { sync && find "$@" -type f -print0 | xargs -0 cat >/dev/null; }
measure() {  # measure OUTFILE CMD...: the seconds and peak KB of one run
  local out=$1
  shift
  /usr/bin/time -f '%e %M' -o "$scratch/time" "$@" >"$out" 2>&1 || { cat "$out"; exit 1; }
  cat "$scratch/time"
}

pb_times=() pbg_times=() pb_mem=() undo_times=() undo_mem=() hg_times=() hgup_times=()
for ((r = 1; r <= rounds; r++)); do
  w=$scratch/round$r g=$scratch/round$r-g
  mkdir -p "$w"
  cp -a "$scratch/pair/parent" "$w/parent" && cp -a "$scratch/pair/child" "$w/child"
  printf 'VERSION 1\n%s\n' "$w/parent" >"$w/child/Brindle_wsdata/parent"
  while read -r s; do
    d=$w/child/$(dirname "$(dirname "$s")") b=$(basename "$s")
    (cd "$d" && get -e -s "SCCS/$b" >/dev/null && echo "a line added in round $r" >>"${b#s.}" &&
      delta -s -y"round $r" "SCCS/$b" >/dev/null 2>&1)
  done <<<"$changed"
  # The same change in a second pair, for the putback -g.
  mkdir -p "$g" && cp -a "$w/parent" "$g/parent" && cp -a "$w/child" "$g/child"
  printf 'VERSION 1\n%s\n' "$g/parent" >"$g/child/Brindle_wsdata/parent"
  warm "$w/parent" "$w/child"
  read -r t m < <(measure "$w/putback.out" putback -w "$w/child" -c "round $r")
  grep -q "Putting back contents changes: $nchanged" "$w/putback.out" ||
    { echo "the putback did not carry $nchanged files:"; cat "$w/putback.out"; exit 1; }
  pb_times+=("$t") pb_mem+=("$m")
  read -r t m < <(measure "$w/undo.out" ws_undo -w "$w/parent")
  grep -q "Undoing contents changes: $nchanged" "$w/undo.out" || { cat "$w/undo.out"; exit 1; }
  undo_times+=("$t") undo_mem+=("$m")
  # CSSC judges a sample of what the putback and the undo wrote.
  for s in $(head -3 <<<"$changed"); do
    (cd "$w/parent/$(dirname "$s")" && val "$(basename "$s")") || { echo "val refuses $s"; exit 1; }
  done

  # The same change with -g, which leaves the parent's clear files alone as
  # hg push leaves its working files: the like-for-like pair for hg push.
  warm "$g/parent" "$g/child"
  read -r t m < <(measure "$g/putback-g.out" putback -g -w "$g/child" -c "round $r")
  grep -q "Putting back contents changes: $nchanged" "$g/putback-g.out" ||
    { echo "putback -g did not carry $nchanged files:"; cat "$g/putback-g.out"; exit 1; }
  pbg_times+=("$t")

  hp=$w/hg-parent hc=$w/hg-child
  cp -a "$scratch/hg-parent" "$hp"
  # The copy's file times differ from what its dirstate noted: one status
  # settles that, as it is in a parent that someone works in.
  (cd "$hp" && hg status -q >/dev/null)
  hg clone -q "$hp" "$hc"
  while read -r s; do
    c=$(dirname "$(dirname "$s")")/$(basename "$s")
    echo "a line added in round $r" >>"$hc/${c%/*}/${c##*/s.}"
  done <<<"$changed"
  (cd "$hc" && hg commit -q -u bench -m "round $r")
  warm "$hc" "$hp"
  read -r t m < <(cd "$hc" && measure "$scratch/push.out" hg push -q "$hp")
  hg_times+=("$t")
  read -r u m < <(cd "$hp" && measure "$scratch/update.out" hg update -q)
  s=$(head -1 <<<"$changed") && c=$(dirname "$(dirname "$s")")/$(basename "$s")
  grep -q "a line added in round $r" "$hp/${c%/*}/${c##*/s.}" ||
    { echo "hg update did not write the pushed text"; exit 1; }
  hgup_times+=("$(awk -v a="$t" -v b="$u" 'BEGIN { printf "%.2f", a + b }')")
  printf 'round %d: putback %ss  ws_undo %ss  putback -g %ss  hg push %ss  hg push + update %ss\n' \
    "$r" "${pb_times[-1]}" "${undo_times[-1]}" "${pbg_times[-1]}" "$t" "${hgup_times[-1]}"
done

rm -rf "$scratch"/round*

pb=$(printf '%s\n' "${pb_times[@]}" | best)
hgb=$(printf '%s\n' "${hg_times[@]}" | best)
hgu=$(printf '%s\n' "${hgup_times[@]}" | best)
echo
echo "putback of $nchanged changed files of $files: best $pb s, peak $(printf '%s\n' "${pb_mem[@]}" | sort -n | tail -1) KB"
echo "ws_undo of it: best $(printf '%s\n' "${undo_times[@]}" | best) s, peak $(printf '%s\n' "${undo_mem[@]}" | sort -n | tail -1) KB"
echo "hg push of the same change: best $hgb s; with hg update in the parent: best $hgu s"
awk -v a="$pb" -v b="$hgu" 'BEGIN { printf "ratio putback / (hg push + hg update), the same work: %.2f\n", (b > 0 ? a / b : 0) }'
awk -v a="$pb" -v b="$hgb" 'BEGIN { printf "ratio putback / hg push alone: %.2f\n", (b > 0 ? a / b : 0) }'
pbg=$(printf '%s\n' "${pbg_times[@]}" | best)
awk -v a="$pbg" -v b="$hgb" 'BEGIN { printf "ratio putback -g (clear files left alone) / hg push alone, the same work: %.2f\n", (b > 0 ? a / b : 0) }'
