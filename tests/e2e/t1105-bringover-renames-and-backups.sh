#!/usr/bin/env bash
# The parent renames and deletes files after the child was made: the next
# bringover moves the child's files along, into a free name where the one
# wanted is taken under deleted_files, and refuses a name that a file outside
# version control holds, leaving that file's contents change for later.  The
# name table follows the moves; -d shows why each change was made; -q keeps
# the terminal short and the history log whole; -B leaves no backup.
. "$TEST_LIB"
e2e_start

# A rename as the system's own leaves it: the history moved, its name history
# brought up to date.

make_ws parent
for f in r1 del tk up keep; do new_file parent "src/$f.c" "$f"; done
expect_run 0 bringover -p "$T/parent" -w "$T/child" src
mv_file parent src/r1.c lib/r1.c
mv_file parent src/del.c deleted_files/src/del.c
# The child holds another file under the deleted name, and a file outside
# version control under the name tk.c is renamed to.
new_file child deleted_files/src/del.c 'deleted long ago'
echo 'not under SCCS' >child/src/taken.c
mv_file parent src/tk.c src/taken.c
sccs_edit parent src/taken.c 'tk: parent' 'a change that must wait'
sccs_edit parent src/up.c 'up: parent' "the parent's reason"
cp -a child before

test_case 'renames move the child along; a taken deleted name gets .1, a taken plain name is refused' <<'EOF'
expect_run 1 bringover -d -w "$T/child" src lib deleted_files
expect_contains "the update and why" "update: src/up.c
	delta 1.2, owner $(id -un):
	the parent's reason
	" "$OUT"
for move in "src/r1.c
         to: lib/r1.c" "src/del.c
         to: deleted_files/src/del.c.1"; do
  expect_contains "moved" "rename from: $move" "$OUT"
done
expect_contains "the taken name refused" "bringover: Can't rename to \"src/taken.c\"; it exists  (Error 2051)" "$ERR"
expect_contains "its contents change left for later" \
  "bringover: Omitting contents change to file \"src/tk.c\" because of rename error  (Warning 2632)" "$OUT"
sccs_holds "r1 moved whole" parent lib/r1.c child lib/r1.c
sccs_holds "del moved whole" parent deleted_files/src/del.c child deleted_files/src/del.c.1
sccs_holds "up updated" parent src/up.c child src/up.c
for f in src/r1.c src/del.c; do expect_no_file "$(sfile child $f)"; done
expect_eq "the child's own deleted file stays" "deleted long ago" "$(sccs_text child deleted_files/src/del.c)"
expect_eq "tk.c as it was" "$(md5sum <"$(sfile before src/tk.c)")" "$(md5sum <"$(sfile child src/tk.c)")"
expect_eq "the plain file untouched" "not under SCCS" "$(cat child/src/taken.c)"
EOF

test_case 'the name table follows the moves: each identity under its new name, as in the parent' <<'EOF'
expect_eq "the child's names" "deleted_files/src/del.c deleted_files/src/del.c.1 lib/r1.c src/keep.c src/tk.c src/up.c " \
  "$(table child | cut -d' ' -f1 | tr '\n' ' ')"
expect_eq "r1's identity" "$(table parent | grep '^lib/r1.c ')" "$(table child | grep '^lib/r1.c ')"
expect_eq "del's identity" "$(table parent | grep '^deleted_files/src/del.c ' | cut -d' ' -f2-)" \
  "$(table child | grep '^deleted_files/src/del.c.1 ' | cut -d' ' -f2-)"
EOF

test_case 'with -q the terminal shows the summary only, the history log every line; -B leaves no backup' <<'EOF'
rm child/src/taken.c
sccs_edit parent src/keep.c 'keep: parent' 'another change'
expect_run 0 bringover -q -B -w "$T/child" src
expect_eq "no status lines" "" "$(printf '%s\n' "$OUT" | grep -e '^update:' -e '^rename')"
expect_contains "the summary: keep.c, and tk.c's change that waited" "Contents Summary:
       2   update" "$OUT"
expect_contains "the log has them" "rename from: src/tk.c
         to: src/taken.c" "$(cat child/Brindle_wsdata/history)"
expect_contains "and the update" "update: src/keep.c" "$(cat child/Brindle_wsdata/history)"
sccs_holds "tk came over after all" parent src/taken.c child src/taken.c
expect_eq "backup/new empty" "VERSION 1" "$(cat child/Brindle_wsdata/backup/new)"
expect_eq "no file saved" "Brindle_wsdata/nametable" \
  "$(cd child/Brindle_wsdata/backup/files && find . -type f | sed 's|^\./||')"
EOF

test_done
