#!/usr/bin/env bash
# Files keep their identity across renames: after a first bringover has
# written both name tables, files renamed, deleted (moved under
# deleted_files), copied by hand and swapped on either side are matched by
# SmID, and the preview tells what the real run would do with each.  The
# tables go stale behind the users' backs; the preview checks them against
# the disk and writes nothing.
. "$TEST_LIB"
e2e_start

# child_of PARENT CHILD: the child as a first bringover leaves it, with both
# name tables written.
child_of() {
  copy_child "$1" "$2"
  expect_run 0 bringover -w "$T/$2" src
  expect_contains "nothing to bring over into $2" "No changes to bring over" "$OUT"
  expect_file "$1/Brindle_wsdata/nametable"
  expect_file "$2/Brindle_wsdata/nametable"
}

make_ws parent
for f in kept moved mine both gone copied; do new_file parent "src/$f.c" "$f"; done
child_of parent child

mv "$(sfile parent src/moved.c)" "$(sfile parent src/moved-there.c)"  # by hand
mv_file child src/mine.c src/mine-here.c
mv_file parent src/both.c src/both-there.c
mv_file child src/both.c src/both-here.c
mv_file parent src/gone.c deleted_files/src/gone.c
cp "$(sfile parent src/copied.c)" "$(sfile parent src/copy.c)"
new_file parent src/twin.c 'parent twin'
new_file child src/twin.c 'child twin
made on its own'
before=$(tree_sum parent; tree_sum child)

test_case 'renamed, deleted, copied and twin files are matched by SmID in the preview' <<'EOF'
# Every matched file is looked at under both its names; its contents are
# the same on both sides, and its names decide.
expect_run 4 bringover -n -v -w "$T/child" src deleted_files
expect_eq "what the preview tells" "Parent workspace: $T/parent
Child workspace:  $T/child

cd $T/child/src; $BRINDLE_BIN/def.dir.flp &
cd $T/parent/src; $BRINDLE_BIN/def.dir.flp
no action (unchanged): src/copied.c
no action (unchanged): src/kept.c
cd $T/parent/deleted_files; $BRINDLE_BIN/def.dir.flp
no action (unchanged): src/both-here.c
differentiate parent: src/copy.c
no action (unchanged): src/mine-here.c
no action (renamed in child only): src/mine-here.c
no action (unchanged): src/moved.c
no action (unchanged): src/gone.c

Examined files: 8

Would bring over contents changes: 2
Would bring over name changes: 3

rename conflict: src/both-here.c
rename from: src/both-here.c
         to: src/both-there.c
merge name history: src/both-here.c
create: src/copy.c
rename from: src/moved.c
         to: src/moved-there.c
update parent's name history: src/moved-there.c
conflict: src/twin.c
rename from: src/gone.c
         to: deleted_files/src/gone.c

Examined files: 8

Contents Summary:
       1   create
       1   conflict
       6   no action (unchanged)
       1   differentiate parent

Names Summary:
       3   renamed
       1   rename conflict
       1   update parent's name history
       1   merge name history
       1   no action (renamed in child only)

No changes were brought over" "$OUT"
expect_eq "no complaints" "" "$ERR"
expect_eq "nothing written, the copy not made unique" "$before" "$(tree_sum parent; tree_sum child)"
EOF

test_case 'the real run does what the preview told, and leaves the twins for resolve' <<'EOF'
# The copy is made unique in the parent and then created, the renames are
# carried out, the twins' conflict is recorded in the child.  Every history
# stays sound, the name table follows the files, and the next preview has
# nothing more to bring.
expect_run 4 bringover -w "$T/child" src deleted_files
expect_contains "the copy has its own identity" "Brindle Uniquification: src/copy.c" \
  "$(cd parent/src && prs -d:C: -r1.1 SCCS/s.copy.c)"
for f in src/kept.c src/copied.c src/copy.c src/moved-there.c src/both-there.c \
         deleted_files/src/gone.c; do
  expect_eq "$f came over whole" "$(sccs_text parent "$f")" "$(sccs_text child "$f")"
done
for f in src/moved.c src/both-here.c src/gone.c; do expect_no_file "$(sfile child "$f")"; done
expect_eq "the child's own rename kept" "mine" "$(sccs_text child src/mine-here.c)"
expect_eq "the twins in conflict" "src/twin.c" "$(grep -v '^VERSION' child/Brindle_wsdata/conflicts)"
for s in $(find child -path '*/Brindle_wsdata' -prune -o -name 's.*' -print); do
  (cd "$(dirname "$s")" && val "$(basename "$s")" 2>/dev/null) || fail "val of $s"
done
expect_eq "the name table names the files" \
  "deleted_files/src/gone.c src/both-there.c src/copied.c src/copy.c src/kept.c src/mine-here.c src/moved-there.c src/twin.c src/twin.c " \
  "$(grep -v '^VERSION' child/Brindle_wsdata/nametable | cut -d' ' -f1 | sort | tr '\n' ' ')"
run bringover -n -v -w "$T/child" src deleted_files
expect_eq "differentiated once" "" "$(printf '%s\n' "$OUT" | grep differentiate)"
expect_contains "the twins wait for resolve" "File \"src/twin.c\" not brought over because it is
	unresolved in workspace \"$T/child\"" "$OUT"
expect_eq "nothing else to bring" "" "$(printf '%s\n' "$OUT" | grep -e '^create' -e '^update' -e '^rename')"
EOF

test_case 'two files that swapped names are refused: two rename errors' <<'EOF'
# Each wants the other's name, so neither can move.
make_ws left
new_file left src/x.c 'x'
new_file left src/y.c 'y'
child_of left right
mv_file left src/x.c src/tmp.c
mv_file left src/y.c src/x.c
mv_file left src/tmp.c src/y.c
expect_run 1 bringover -n -w "$T/right" src
expect_contains "the swap refused" "bringover: File \"src/x.c\" ignored because it is renamed to \"src/y.c\" in \"$T/left\"
and both \"src/x.c\" and \"src/y.c\" exist in \"$T/right\"  (Warning 2699)" "$OUT"
expect_contains "two rename errors" "Names Summary:
       2   rename errors" "$OUT"
EOF

test_case 'a chain of renames is told last link first' <<'EOF'
# a to b, b to c, c to d: the name a file is to take must be free first, so
# the file that holds it moves before it.
make_ws one
for f in a b c; do new_file one "src/$f.c" "$f"; done
child_of one two
mv_file one src/c.c src/d.c
mv_file one src/b.c src/c.c
mv_file one src/a.c src/b.c
expect_run 0 bringover -n -w "$T/two" src
expect_eq "the last link first" "rename from: src/c.c
         to: src/d.c
rename from: src/b.c
         to: src/c.c
rename from: src/a.c
         to: src/b.c" "$(printf '%s\n' "$OUT" | grep -A1 '^rename from')"
EOF

test_case 'copies made before any name table are both made unique' <<'EOF'
# Nothing tells which file came first.
make_ws early
new_file early src/a.c 'a'
cp "$(sfile early src/a.c)" "$(sfile early src/b.c)"
expect_run 0 bringover -n -v -p "$T/early" -w "$T/late" src
expect_eq "both made unique" "differentiate parent: src/a.c
differentiate parent: src/b.c" "$(printf '%s\n' "$OUT" | grep '^differentiate' | sort)"
EOF

test_case 'copies whose original is gone: the table is left alone, the user told how to mend it' <<'EOF'
# Such a copy can't be told from the original.
make_ws up
new_file up src/a.c 'a'
child_of up down
cp "$(sfile up src/a.c)" "$(sfile up src/b.c)"
cp "$(sfile up src/a.c)" "$(sfile up src/c.c)"
rm "$(sfile up src/a.c)"
expect_run 1 bringover -n -w "$T/down" src
expect_contains "told how to mend it" "bringover: A history file (A) was copied (to file B).  The original history file (A) cannot be found.
Run the following command and then re-execute the \"bringover\" command:
	\"$BRINDLE_BIN/workspace updatenames $T/up\"
  (Error 2092)" "$ERR"
EOF

test_done
