#!/usr/bin/env bash
# A putback killed with SIGKILL at every point where it is about to change a
# file (BRINDLE_KILL_AT=N, for N from 1 until a run ends by itself), then
# taken back by ws_undo or finished by a new putback, alternately.  After
# each: CSSC accepts every history in both workspaces; the parent holds each
# file either as it was or as the child has it, and after a new putback
# holds all of it; the child lost nothing; each name table agrees with its
# tree.  SWEEP_FILES sets the size (bench/putback_kill_sweep.sh runs a large
# one); the number of points covered is printed at the end.
. "$TEST_LIB"
e2e_start
n=${SWEEP_FILES:-4}

# name and root SmID of each history, as freezept reads them and as the
# name table holds them; leading zeros of the words don't count.
smids_of_tree() {
  rm -f "$T/fp"
  freezept create -w "$1" -k "$T/fp" -c "" -z . >"$T/fp.out" 2>&1 || echo "freezept failed in $1: $(cat "$T/fp.out")"
  awk '$1 == "FILE" { n = $11; for (i = 12; i <= NF; i++) n = n " " $i; print n, $3, $4, $5, $6 }' "$T/fp" |
    sed 's/ 0*\([0-9a-f]\)/ \1/g' | sort
}
smids_of_table() { md_lines "$1/Brindle_wsdata/nametable" | sed 's/ 0*\([0-9a-f]\)/ \1/g' | sort; }
tables_agree() {
  local missing stale
  missing=$(comm -23 <(smids_of_tree "$1") <(smids_of_table "$1"))
  stale=$(comm -13 <(smids_of_tree "$1" | cut -d' ' -f1) <(smids_of_table "$1" | cut -d' ' -f1 | sort -u))
  [ -z "$missing$stale" ] || { fail "$2: $1's name table: missing [$missing] stale [$stale]"; return 1; }
}

make_ws tmpl/p
for i in $(seq 1 "$n"); do new_file tmpl/p "src/f$i.c" "f$i"; done
expect_run 0 bringover -p "$T/tmpl/p" -w "$T/tmpl/c" src
for i in $(seq 1 2 "$n"); do sccs_edit tmpl/c "src/f$i.c" "f$i: child" "child edits f$i"; done
new_file tmpl/c src/new1.c 'new one'
new_file tmpl/c lib/new2.c 'new two'
mv_file tmpl/c src/f2.c lib/f2.c && rm -f tmpl/c/src/f2.c
echo lib >>tmpl/c/Brindle_wsdata/args
# The name tables start true, so that what is checked is what the run left.
expect_run 0 workspace updatenames "$T/tmpl/p" "$T/tmpl/c"
child_histories=$(histories tmpl/c)
parent_histories=$(histories tmpl/p)
child_names=$(cd tmpl/c && find . -path ./Brindle_wsdata -prune -o -name 's.*' -print | sed 's|^\./||; s|SCCS/s\.||' | sort)
# A layout made absolute names the same workspaces wherever the copy lands.
sed -i "s|$T/tmpl/|$T/|" tmpl/*/Brindle_wsdata/parent tmpl/*/Brindle_wsdata/children

# file WS NAME: as the template's parent had it, or as the child has it.
as_before_or_after() {
  local s
  s=$(sfile p "$1")
  if [ ! -e "$s" ]; then
    grep -q " ./$(dirname "$1")/SCCS/s.$(basename "$1")\$" <<<"$parent_histories" &&
      fail "$2: $1 lost in the parent"
    return 0
  fi
  grep -qx "$(md5sum <"$s" | cut -d' ' -f1)  ./$(dirname "$1")/SCCS/s.$(basename "$1")" <<<"$parent_histories" && return 0
  sccs_holds "$2: $1 whole" c "$1" p "$1"
}

test_case "killed at each point, then undone or put back again" <<'EOF'
points=0
for ((k = 1; ; k++)); do
  rm -rf p c && cp -a tmpl/p p && cp -a tmpl/c c
  BRINDLE_KILL_AT=$k putback -w "$T/c" -c "killed at $k" >"$T/k.out" 2>&1
  st=$?
  [ "$st" = 137 ] || { expect_eq "the run that ends by itself" 0 "$st"; break; }
  points=$k
  # A dead command's locks are taken by hand, as a user would.
  for ws in p c; do workspace locks -w "$T/$ws" -f -r 1 >/dev/null 2>&1; done
  if ((k % 2)); then
    expect_run 0 ws_undo -w "$T/p"
  else
    expect_run 0 putback -w "$T/c" -c "again after $k"
  fi
  while read -r name; do
    for ws in p c; do
      [ -e "$(sfile $ws "$name")" ] && ! sccs_judged $ws "$name" && fail "point $k: $ws/$name refused by CSSC"
    done
    if ((k % 2)); then
      as_before_or_after "$name" "point $k"
    else
      sccs_holds "point $k: all of $name" c "$name" p "$name"
    fi
  done <<<"$child_names"
  # f2 moved to lib in the child: the parent has it under one name, never two.
  if ((k % 2)); then
    [ -e "$(sfile p src/f2.c)" ] && [ -e "$(sfile p lib/f2.c)" ] && fail "point $k: f2 under two names"
    [ -e "$(sfile p src/f2.c)" ] && as_before_or_after src/f2.c "point $k"
  else
    expect_no_file "$(sfile p src/f2.c)"
  fi
  expect_eq "point $k: the child's histories" "$child_histories" "$(histories c)"
  tables_agree p "point $k"
  tables_agree c "point $k"
  [ "$CASE_FAILS" = 0 ] || { cat "$T/k.out"; break; }
done
echo "kill points covered: $points"
((points > 0)) || fail "no kill point was reached"
EOF

test_done
