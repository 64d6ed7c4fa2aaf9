#!/usr/bin/env bash
# ws_undo takes the last transaction back from the backup area it left: the
# histories come back byte for byte, created files go, conflicts leave the
# conflicts file, renames move back; a second undo does the same work again;
# one file can be taken back alone; after -B there is nothing to undo; a
# backup directory that can't be removed is put aside with a warning, and one
# that can neither go nor be put aside stops the next transaction.
. "$TEST_LIB"
e2e_start

# The histories of a workspace, its name table and conflicts, to compare states by.
state() { (cd "$1" && find . -path ./Brindle_wsdata -prune -o -name 's.*' -print | sort | xargs md5sum; md_lines Brindle_wsdata/nametable | sort; md_lines Brindle_wsdata/conflicts 2>/dev/null | sort); }
make_ws parent
for f in a b c r; do new_file parent "src/$f.c" "$f"; done
expect_run 0 bringover -p "$T/parent" -w "$T/child" src

test_case 'after a bringover: updates restored, creates removed, a rename moved back; a second undo does it again' <<'EOF'
sccs_edit parent src/a.c 'a: parent' 'parent edits a'
sccs_new parent src/n.c 'new in parent'
mv_file parent src/r.c src/r2.c
sccs_edit parent src/r2.c 'r: renamed and edited' 'parent edits r'
before=$(state child)
expect_run 0 bringover -w "$T/child" src
expect_run 0 ws_undo -w "$T/child"
expect_contains "no parent line" "Workspace: $T/child" "$OUT"
for line in 'restore: src/a.c' 'remove: src/n.c' 'rename from: src/r2.c' '         to: src/r.c'; do
  expect_contains "the line" "$line" "$OUT"
done
expect_eq "the child as it was" "$before" "$(state child)"
for f in a b c r; do sccs_judged child src/$f.c || fail "child/src/$f.c refused by CSSC"; done
expect_eq "the clear file refreshed" "a" "$(cat child/src/a.c)"
expect_run 0 ws_undo -w "$T/child"
expect_eq "the same state again" "$before" "$(state child)"
EOF

test_case 'after a putback: the parent gets its histories back, the child keeps its work' <<'EOF'
run bringover -w "$T/child" src
sccs_edit child src/b.c 'b: child' 'child edits b'
new_file child src/m.c 'new in child'
before=$(state parent)
child_before=$(histories child)
expect_run 0 putback -w "$T/child" -c 'to be taken back' src
expect_run 0 ws_undo -w "$T/parent"
expect_eq "the parent as it was" "$before" "$(state parent)"
expect_eq "the child keeps its work" "$child_before" "$(histories child)"
expect_no_file "$(sfile parent src/m.c)"
EOF

test_case 'after a bringover that made a conflict, and of one file only' <<'EOF'
sccs_edit parent src/c.c 'c: parent' 'parent edits c'
sccs_edit child src/c.c 'c: child' 'child edits c'
sccs_edit parent src/a.c 'a: parent again' 'parent edits a again'
c_before=$(md5sum <"$(sfile child src/c.c)")
a_before=$(md5sum <"$(sfile child src/a.c)")
expect_run 4 bringover -w "$T/child" src
expect_contains "the conflict" "src/c.c" "$(md_lines child/Brindle_wsdata/conflicts)"
expect_run 0 ws_undo -w "$T/child" src/c.c
expect_eq "c back" "$c_before" "$(md5sum <"$(sfile child src/c.c)")"
expect_eq "its conflict entry gone" "" "$(md_lines child/Brindle_wsdata/conflicts)"
expect_eq "a left as the bringover made it" "a: parent again" "$(sccs_text child src/a.c)"
run ws_undo -w "$T/child"
expect_eq "a back too" "$a_before" "$(md5sum <"$(sfile child src/a.c)")"
EOF

test_case 'after -B there is nothing to undo' <<'EOF'
expect_run 4 bringover -B -w "$T/child" src
before=$(state child)
expect_run 0 ws_undo -w "$T/child"
expect_contains "nothing" "No changes to undo" "$OUT"
expect_eq "nothing changed" "$before" "$(state child)"
EOF

test_case 'a backup directory that cannot be removed is renamed, with a warning naming both' <<'EOF'
if [ "$(id -u)" = 0 ]; then
  # Permissions do not stop root: this case runs as nobody.
  as_user() { setpriv --reuid=65534 --regid=65534 --clear-groups "$@"; }
  chmod o+x "$T" && chown -R 65534:65534 "$T/parent" "$T/child"
  sed -i 's/^bringover-to\t\troot$/bringover-to\t\troot nobody/' child/Brindle_wsdata/access_control
else
  as_user() { "$@"; }
fi
sccs_edit parent src/a.c 'a: for the backup' 'parent edits a'
sccs_edit parent src/b.c 'b: parent' 'parent edits b'
chown -R --reference="$T/child" "$T/parent"
chmod -R u+w child/Brindle_wsdata
expect_run 0 as_user bringover -w "$T/child" src/a.c  # the run after, with the lock gone
chmod a-w child/Brindle_wsdata/backup/files/src/SCCS
run as_user bringover -w "$T/child" src/b.c
backup=$T/child/Brindle_wsdata/backup
expect_contains "the warning" "Could not remove backup directory
\"$backup\",
so it was renamed to
\"$backup.1\"" "$OUT"
expect_contains "with its code" "(Warning 2601)" "$OUT"
expect_exit 4 "the status of a run that merged b with the child's edit: the warning adds nothing"
expect_file "$backup.1/files/src/SCCS/s.a.c"
expect_file "$backup/files/src/SCCS/s.b.c"
# Ten names put aside already and one more that can't go: nothing moves.
for i in 2 3 4 5 6 7 8 9 10; do as_user mkdir -p "$backup.$i/kept"; done
chmod a-w "$backup/files/src/SCCS"
sccs_edit parent src/a.c 'a: not to arrive' 'parent edits a again'
chown -R --reference="$T/child" "$T/parent"
before=$(state child)
expect_run 1 as_user bringover -w "$T/child" src/a.c  # a backup that can't be cleared
expect_contains "the error" "bringover: Could not remove or rename backup directory
\"$backup\"  (Error 2080)" "$ERR"
expect_eq "the child untouched" "$before" "$(state child)"
expect_file "$backup/files/src/SCCS/s.b.c"
expect_no_file "$backup.11"
chmod u+w "$backup.1/files/src/SCCS" "$backup/files/src/SCCS"
expect_run 0 as_user bringover -w "$T/child" src/a.c
expect_eq "a arrives" "a: not to arrive" "$(sccs_text child src/a.c)"
EOF

test_done
