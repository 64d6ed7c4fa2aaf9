#!/usr/bin/env bash
# Each open, write, rename and fsync of a transaction made to fail in turn
# (BRINDLE_FAULT, src/util/kes_fault.cc), once (OP:N) and for good (OP:N+):
# the command ends as the clean run did or reports an error with its code;
# every command lock still in a workspace is one it warned of (2623), refuses
# the re-run (2021) and is removed with `workspace locks`; then a run without
# the fault leaves every workspace as the clean run did, and val accepts
# every history.
#
# CI runs the small size, every second N.  The large one, every N over a
# bigger tree:
#   FAULT_FILES=40 FAULT_STRIDE=1 ctest -R t1803 --output-on-failure
. "$TEST_LIB"
e2e_start
FILES=${FAULT_FILES:-4} STRIDE=${FAULT_STRIDE:-2}
grep -q '^BRINDLE_FAULT_INJECTION:BOOL=ON' "$BRINDLE_BIN/../CMakeCache.txt" 2>/dev/null ||
  { echo "SKIP: built without BRINDLE_FAULT_INJECTION"; exit 77; }

# The template: a parent, and a child that had a bringover and then got
# changes of its own while the parent got others.  It is made where every run
# happens, so the recorded parent and child name the run's own workspaces.
W=$T/w
make_ws w/parent
for ((f = 1; f <= FILES; f++)); do sccs_new w/parent "src/d$((f % 3))/f$f.c" "file $f"; done
bringover -p "$W/parent" -w "$W/child" src >/dev/null 2>&1 || die "the template's child"
for ((f = 1; f <= FILES; f += 2)); do sccs_edit w/parent "src/d$((f % 3))/f$f.c" "parent $f" p; done
sccs_new w/parent src/new.c 'new in the parent'
mv "$W" "$T/tpl"
fresh_copy() { rm -rf "$W" && cp -a "$T/tpl" "$W"; }

# command | arguments; rows whose program is not built yet are skipped.
ROWS=(
  'bringover|-p "$W/parent" -w "$W/fresh" src'
  'bringover|-w "$W/child" src'
  'putback|-w "$W/child" src'
  'ws_undo|-w "$W/child"'
)

# What a run leaves that matters: each history by SID list and text, and the
# command locks, in every workspace; val on every history.
state() {
  local ws s
  for ws in parent child fresh; do
    [ -d "$W/$ws" ] || continue
    echo "$ws:"
    (cd "$W/$ws" && find . -path '*/SCCS/s.*' | sort) | while read -r s; do
      s=${s#./} && s=${s/SCCS\/s./}
      printf '%s: %s| %s\n' "$s" "$(sccs_sids "$W/$ws" "$s")" "$(sccs_text "$W/$ws" "$s" | md5sum)"
    done
    md_lines "$W/$ws/Brindle_wsdata/locks" 2>/dev/null
  done
}
all_sound() {
  local s
  for s in $(cd "$W" && find . -path '*/SCCS/s.*'); do
    (cd "$W/$(dirname "$s")" && val "$(basename "$s")" >/dev/null 2>&1) || fail "$at: val rejects $s"
  done
}

# Every lock left behind was warned of; a write lock refuses the next run
# until the workspace command removes it.
locks_left() {
  local ws type rest refused=
  for ws in parent child fresh; do
    while read -r type rest; do
      [ "$type" = read ] && kind=Read || kind=Write
      expect_contains "$at: the lock left in $ws" \
        "$kind-lock left in workspace \"$W/$ws\"  (Warning 2623)" "$OUT"
      [ "$kind" = Write ] && refused=$ws
    done < <(md_lines "$W/$ws/Brindle_wsdata/locks" 2>/dev/null)
  done
  if [ -n "$refused" ]; then
    eval "run $cmd"
    expect_exit 1 "$at: a run with the lock left"
    expect_contains "$at: refused" "Cannot obtain a write lock in workspace \"$W/$refused\"" "$ERR"
  fi
  for ws in parent child fresh; do
    while [ -n "$(md_lines "$W/$ws/Brindle_wsdata/locks" 2>/dev/null)" ]; do
      workspace locks -w "$W/$ws" -f -r 1 >/dev/null || { fail "$at: workspace locks -r 1 in $ws"; break; }
    done
  done
}

POINTS=0
sweep_row() {
  local op kind n i at ref ref_status calls failed
  fresh_copy && eval "run $cmd"
  ref_status=$STATUS ref=$(state)
  fresh_copy && BRINDLE_FAULT_LOG=$T/log eval "run $cmd"
  calls=$(cat "$T/log") && rm -f "$T/log"
  for op in open write rename fsync; do
    n=$(printf '%s\n' "$calls" | sed -n "s/^calls $op //p" | sort -n | tail -1)
    for ((i = 1; i <= ${n:-0}; i += STRIDE)); do
      for kind in "" +; do
        at="${cmd%% *}, $op:$i$kind"
        fresh_copy && BRINDLE_FAULT=$op:$i$kind BRINDLE_FAULT_LOG=$T/log eval "run $cmd"
        grep -q "^$op " "$T/log" 2>/dev/null || { rm -f "$T/log"; continue; }
        rm -f "$T/log" && POINTS=$((POINTS + 1))
        failed=$((STATUS != ref_status))
        if [ "$failed" = 1 ]; then
          expect_exit 1 "$at" && expect_contains "$at: the error and its code" "(Error " "$ERR"
        fi
        locks_left
        [ "$failed" = 1 ] || expect_eq "$at: a success is the clean run's" "$ref" "$(state)"
        eval "run $cmd"
        expect_exit "$ref_status" "$at: the run after"
        expect_eq "$at: after the run after" "$ref" "$(state)"
        all_sound
      done
    done
  done
}

for row in "${ROWS[@]}"; do
  test_case "faults in: ${row/|/ }" <<'EOF'
[ -x "$BRINDLE_BIN/${row%%|*}" ] || { test_skip "${row%%|*} is not built"; return 0; }
cmd="${row%%|*} ${row#*|}" before=$POINTS
sweep_row
echo "# $cmd: $((POINTS - before)) failure points"
[ "$POINTS" -gt "$before" ] || fail "no fault was made"
EOF
done
echo "# $POINTS failure points in all"
test_done
