#!/usr/bin/env bash
# A bringover killed with SIGKILL at each point where it is about to change a
# file (BRINDLE_KILL_AT=N, N = 1, 2, ... until a run ends by itself), then run
# again once its lock is taken away, ends as one never killed: every history accepted by CSSC, every
# version of the parent's files in the child, the child's own edit kept, and
# the same name table as the uninterrupted run.  The parent changes FILES
# files of each kind (edits, new files, renames); CI runs FILES=2, and
# `bash bench/bringover_kill_sweep.sh 10` sweeps well over a hundred points.
. "$TEST_LIB"
e2e_start
FILES=${FILES:-2}

# Every history of WS that val and admin -h accept, by name.
histories() {
  (cd "$1" && find . -path ./Brindle_wsdata -prune -o -name 's.*' -print | sed 's|^\./||' |
    sed 's|SCCS/s\.||' | sort)
}

make_ws parent
for i in $(seq 1 "$FILES"); do
  for k in up mv keep; do new_file parent "src/$k$i.c" "$(seq 1 200 | sed "s/^/$k$i /")"; done
done
new_file parent src/both.c "$(printf 'one\ntwo\nthree\n')"
expect_run 0 bringover -p "$T/parent" -w "$T/start" src
for i in $(seq 1 "$FILES"); do
  sccs_edit parent "src/up$i.c" "$(seq 1 200 | sed "s/^/up$i /"; echo "parent $i")" "parent edit $i"
  new_file parent "src/new$i.c" "new $i"
  mv_file parent "src/mv$i.c" "lib/mv$i.c"
done
sccs_edit parent src/both.c "$(printf 'one\nTWO by the parent\nthree\n')" 'parent side'
sccs_edit start src/both.c "$(printf 'one\ntwo\nthree, and the child\n')" 'child side'
(cd start/src && get -e SCCS/s.keep1.c >/dev/null 2>&1) || die "get -e"
cp -a start clean
run bringover -w "$T/clean" src lib
[ "$STATUS" = 4 ] || die "the uninterrupted bringover, with its conflict: $STATUS $OUT $ERR"

test_case 'killed at any point, a second bringover ends as the uninterrupted run' <<'EOF'
points=0
for ((n = 1; ; n++)); do
  rm -rf child && cp -a start child
  BRINDLE_KILL_AT=$n run bringover -w "$T/child" src lib
  [ "$STATUS" = 137 ] || break  # the run passed its last point
  points=$n
  # The history locks of the dead command go too, as after any crash: the
  # rule that breaks them by itself, with its pauses, has tests of its own.
  find child -name 'z.*' -delete
  # As a user would: the dead command's lock is taken away by hand.
  [ -z "$(md_lines child/Brindle_wsdata/locks 2>/dev/null)" ] ||
    workspace locks -w "$T/child" -f -r 1 >/dev/null || fail "killed at $n: the lock stays"
  run bringover -w "$T/child" src lib
  case $STATUS in 0 | 4) ;; *) fail "killed at $n, the second run: $STATUS $OUT $ERR"; continue ;; esac
  expect_eq "killed at $n: the histories" "$(histories clean)" "$(histories child)"
  for f in $(histories parent); do sccs_holds "killed at $n" parent "$f" child "$f"; done
  sccs_holds "killed at $n: the child's own edit" start src/both.c child src/both.c
  expect_file child/src/keep1.c
  expect_eq "killed at $n: the name table" "$(table clean)" "$(table child)"
done
expect_exit 4 "the run past its last point"
[ "$points" -ge $((FILES * 8)) ] || fail "only $points points for $FILES files of each kind"
echo "# $points points"
EOF

test_done
