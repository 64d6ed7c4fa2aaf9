#!/usr/bin/env bash
# Each open, write, rename and fsync of a transaction made to fail in turn
# (BRINDLE_FAULT, src/util/kes_fault.cc): the command either reports an error
# with its code and status 1, or ends as a run without the fault would have;
# a run without the fault afterwards ends as the clean run did, no lock is
# left behind, val accepts every history and the parent's histories are
# unchanged.  A fault is made once (OP:N) and for good from N on (OP:N+).
#
# CI runs the small size.  The large one, every N over a bigger tree:
#   FAULT_FILES=40 FAULT_STRIDE=1 ctest -R t1803 --output-on-failure
. "$TEST_LIB"
e2e_start
FILES=${FAULT_FILES:-4} STRIDE=${FAULT_STRIDE:-1}
grep -q '^BRINDLE_FAULT_INJECTION:BOOL=ON' "$BRINDLE_BIN/../CMakeCache.txt" 2>/dev/null ||
  { echo "SKIP: built without BRINDLE_FAULT_INJECTION"; exit 77; }

# The template: a parent, and a child that had a bringover and then got
# changes of its own while the parent got others.
make_ws tpl/parent
for ((f = 1; f <= FILES; f++)); do sccs_new tpl/parent "src/d$((f % 3))/f$f.c" "file $f"; done
bringover -p "$T/tpl/parent" -w "$T/tpl/child" src >/dev/null 2>&1 || die "the template's child"
for ((f = 1; f <= FILES; f += 2)); do sccs_edit tpl/parent "src/d$((f % 3))/f$f.c" "parent $f" p; done
sccs_new tpl/parent src/new.c 'new in the parent'

# command | what it runs on: each row is run in a fresh copy of the template.
# Rows whose program is not built yet are skipped.
ROWS=(
  'bringover|bringover -p "$W/parent" -w "$W/fresh" src'
  'bringover|bringover -w "$W/child" src'
  'putback|putback -w "$W/child" src'
  'ws_undo|ws_undo -w "$W/child"'
)

# state WS: what a run leaves that matters, histories by SID list and text,
# and the command locks still held.
state() {
  local s
  [ -d "$1" ] || { echo "no ${1##*/}"; return; }
  (cd "$1" && find . -path '*/SCCS/s.*' | sort) | while read -r s; do
    local name=${s#./} && name=${name/SCCS\/s./}
    printf '%s: %s| %s\n' "$name" "$(sccs_sids "$1" "$name")" "$(sccs_text "$1" "$name" | md5sum)"
  done
  md_lines "$1/Brindle_wsdata/locks" 2>/dev/null
}
all_sound() {
  local s
  for s in $(cd "$1" && find . -path '*/SCCS/s.*'); do
    (cd "$1/$(dirname "$s")" && val "$(basename "$s")" >/dev/null 2>&1) || fail "val rejects $1/$s"
  done
}

POINTS=0
sweep_row() {
  local cmd=$1 op kind n calls W=$T/run
  rm -rf "$T/ref" && cp -a "$T/tpl" "$T/ref"
  W=$T/ref
  eval "run $cmd"
  local ref_status=$STATUS ref_child ref_fresh parent_sums
  ref_child=$(state "$W/child") ref_fresh=$(state "$W/fresh")
  parent_sums=$(cd "$W/parent" && find . -path '*/SCCS/s.*' -print0 | sort -z | xargs -0 md5sum)
  rm -rf "$W" && cp -a "$T/tpl" "$W"
  BRINDLE_FAULT_LOG=$T/log eval "run $cmd"
  calls=$(cat "$T/log") && rm -f "$T/log"
  for op in open write rename fsync; do
    n=$(printf '%s\n' "$calls" | sed -n "s/^calls $op //p" | sort -n | tail -1)
    for ((i = 1; i <= ${n:-0}; i += STRIDE)); do
      for kind in "" +; do
        W=$T/run
        rm -rf "$W" && cp -a "$T/tpl" "$W"
        BRINDLE_FAULT=$op:$i$kind BRINDLE_FAULT_LOG=$T/log eval "run $cmd"
        local at="$cmd, $op:$i$kind"
        grep -q "^$op " "$T/log" 2>/dev/null || { rm -f "$T/log"; continue; }
        rm -f "$T/log"
        POINTS=$((POINTS + 1))
        case $STATUS in
          "$ref_status") ;;
          1) expect_contains "$at: the error and its code" "(Error " "$ERR" ;;
          *) fail "$at: status $STATUS" ;;
        esac
        if [ "$STATUS" = "$ref_status" ] && [ "$STATUS" != 1 ]; then
          expect_eq "$at: a success is the clean run's" "$ref_child$ref_fresh" \
            "$(state "$W/child")$(state "$W/fresh")"
        fi
        eval "run $cmd"
        expect_exit "$ref_status" "$at: the run after"
        expect_eq "$at: after a second run" "$ref_child$ref_fresh" "$(state "$W/child")$(state "$W/fresh")"
        expect_eq "$at: the parent's histories" "$parent_sums" \
          "$(cd "$W/parent" && find . -path '*/SCCS/s.*' -print0 | sort -z | xargs -0 md5sum)"
        all_sound "$W/parent" && all_sound "$W/child"
      done
    done
  done
}

for row in "${ROWS[@]}"; do
  test_case "faults in: ${row#*|}" <<'EOF'
[ -x "$BRINDLE_BIN/${row%%|*}" ] || { test_skip "${row%%|*} is not built"; return 0; }
before=$POINTS
sweep_row "${row#*|}"
echo "# ${row#*|}: $((POINTS - before)) failure points"
[ "$POINTS" -gt "$before" ] || fail "no fault was made"
EOF
done
echo "# $POINTS failure points in all"
test_done
