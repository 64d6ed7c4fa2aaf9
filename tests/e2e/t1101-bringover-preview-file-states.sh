#!/usr/bin/env bash
# A child made from its parent, and then work on both sides: the preview of
# the next bringover tells, file by file, what would happen and why, in the
# words the real run will use, and changes nothing on disk but the conflicts
# file it finds wrong.  The real run then does just that: every history it
# writes is sound for CSSC and holds every version of its sources, an opened
# file is opened again on the new version, an edited one keeps its edits, and
# the backup area holds what undo needs.
. "$TEST_LIB"
e2e_start

# What a first bringover leaves: histories with their name history, and a
# child that is a copy of its parent.
make_ws parent
for f in changed mine both same gone edited-there edited-here locked-here opened-here \
         unresolved dir-here link-here; do
  new_file parent "src/$f.c" "$f"
done
copy_child parent child

# The parent moves on.
sccs_new parent src/new.c 'new'
sccs_edit parent src/changed.c 'changed in the parent' 'parent change'
sccs_edit parent src/both.c 'both: parent' 'parent side'
sccs_edit parent src/edited-here.c 'edited-here: parent' 'parent change'
sccs_edit parent src/locked-here.c 'locked-here: parent' 'parent change'
sccs_edit parent src/opened-here.c 'opened-here: parent' 'parent change'
# A new file that is in conflict in the parent never travels.
sccs_new parent src/conflicted.c 'conflicted'
sccs_edit parent src/conflicted.c 'conflicted: two' 'second'
e2e_sdata conflict parent/src/SCCS/s.conflicted.c "$T/elsewhere"
(cd parent/src && get -e SCCS/s.edited-there.c >/dev/null 2>&1 && echo 'work in progress' >>edited-there.c)
# The child too: its own files, an edit in progress over a parent change, a
# read-only checkout someone changed, an unresolved file, and names that
# became a directory and a link.  The edit in progress counts as a change of
# the child's, so the parent's change meets it as a conflict.
sccs_new child src/only-here.c 'only here'
sccs_edit child src/mine.c 'mine: child' 'child change'
sccs_edit child src/both.c 'both: child' 'child side'
(cd child/src && get -e SCCS/s.edited-here.c >/dev/null 2>&1 && echo 'child work' >>edited-here.c)
(cd child/src && get -e SCCS/s.locked-here.c >/dev/null 2>&1 && chmod a-w locked-here.c &&
  chmod u+w locked-here.c && echo 'changed behind the lock' >>locked-here.c && chmod a-w locked-here.c)
(cd child/src && get -e SCCS/s.opened-here.c >/dev/null 2>&1)
sccs_edit child src/unresolved.c 'unresolved: child' 'child side'
e2e_sdata conflict child/src/SCCS/s.unresolved.c "$T/parent"
rm child/src/SCCS/s.dir-here.c && mkdir child/src/dir-here.c
rm child/src/SCCS/s.link-here.c && ln -s same.c child/src/link-here.c
rm child/src/SCCS/s.gone.c

parent_before=$(tree_sum parent)
child_before=$(tree_sum child | grep -v Brindle_wsdata/conflicts)
cp -a child before

test_case 'the preview tells file by file what the bringover would do, and why' <<'EOF'
# Files found on one side only are looked for under other names first, so
# they come last.
expect_run 4 bringover -n -v -w "$T/child" src
expect_eq "what the preview tells" "Parent workspace: $T/parent
Child workspace:  $T/child
Updating names in parent workspace's name table
Updating names in child workspace's name table

cd $T/child/src; $BRINDLE_BIN/def.dir.flp &
cd $T/parent/src; $BRINDLE_BIN/def.dir.flp
no action (unchanged): src/edited-there.c
no action (changed in child only): src/mine.c
no action (unchanged): src/same.c
no action (exists in child only): src/only-here.c

Examined files: 15

Would bring over contents changes: 6

conflict: src/both.c
update: src/changed.c
bringover: File \"src/dir-here.c\" not brought over because
it is a file in workspace \"$T/parent\"
and a directory in workspace \"$T/child\"  (Warning 2606)
conflict: src/edited-here.c
bringover: File \"src/edited-there.c\" is checked out in workspace
	\"$T/parent\".  The changes in the checked out file will not
	be brought over.  (Warning 2624)
bringover: File \"src/link-here.c\" not brought over because
it is a file in workspace \"$T/parent\"
and a symlink in workspace \"$T/child\"  (Warning 2606)
bringover: File \"src/locked-here.c\" not brought over because it is
	checked out and not writable in workspace \"$T/child\"  (Warning 2631)
update: src/opened-here.c
bringover: File \"src/unresolved.c\" not brought over because it is
	unresolved in workspace \"$T/child\"  (Warning 2626)
bringover: File \"src/conflicted.c\" not brought over because it is
	unresolved in workspace \"$T/parent\"  (Warning 2626)
create: src/gone.c
create: src/new.c

Examined files: 15

Contents Summary:
       2   create
       2   update
       2   conflict
       2   no action (unchanged)
       1   no action (exists in child only)
       1   no action (changed in child only)
       1   no action (unresolved in parent)
       1   no action (unresolved in child)
       1   no action (checked-out in child)

       2   cross type

No changes were brought over" "$OUT"
expect_eq "the conflicts files were wrong" "
The conflict file in workspace \"$T/child\"
was incorrect.  The following files are in conflict and have
been added to the conflict file.
	src/unresolved.c

The conflict file in workspace \"$T/parent\"
was incorrect.  The following files are in conflict and have
been added to the conflict file.
	src/conflicted.c" "$ERR"
EOF

test_case 'it writes nothing but the conflicts files it found wrong' <<'EOF'
expect_eq "the parent is untouched" "$parent_before" "$(tree_sum parent | grep -v Brindle_wsdata/conflicts)"
expect_eq "the child is untouched but for its conflicts file" "$child_before" \
  "$(tree_sum child | grep -v Brindle_wsdata/conflicts)"
expect_eq "the conflicts file repaired" "src/unresolved.c" "$(grep -v '^VERSION' child/Brindle_wsdata/conflicts)"
for s in {parent,child}/src/SCCS/s.*; do
  (cd "$(dirname "$s")" && val "$(basename "$s")") || fail "val of $s"
done
EOF

test_case 'told once, the conflicts file is right; -C makes updates conflicts; quiet without -v' <<'EOF'
expect_run 4 bringover -n -C -w "$T/child" src
expect_eq "nothing more to repair" "" "$ERR"
expect_contains "updates become conflicts" "Would bring over contents changes: 6

conflict: src/both.c
conflict: src/changed.c" "$OUT"
expect_contains "quiet without -v" "Examined files: 15

Would bring over" "$OUT"
EOF

test_case 'the real run does what the preview told; every history it writes holds its sources whole' <<'EOF'
expect_run 4 bringover -w "$T/child" src
expect_contains "the way to go on" "resolve -w $T/child\" to resolve conflicts." "$OUT"
for f in changed gone new opened-here both edited-here; do
  sccs_holds "$f from the parent" parent "src/$f.c" child "src/$f.c"
done
for f in both edited-here; do sccs_holds "$f keeps the child's" before "src/$f.c" child "src/$f.c"; done
expect_eq "the conflicts recorded" "src/both.c src/edited-here.c src/unresolved.c " \
  "$(grep -v '^VERSION' child/Brindle_wsdata/conflicts | sort | tr '\n' ' ')"
for f in mine only-here locked-here unresolved same; do
  expect_eq "$f left as it was" "$(md5sum <before/src/SCCS/s.$f.c)" "$(md5sum <child/src/SCCS/s.$f.c)"
done
expect_no_file child/src/SCCS/s.conflicted.c
for s in child/src/SCCS/s.*; do
  f=${s#child/src/SCCS/s.}
  sccs_judged child "src/$f" || fail "val or admin -h refuses $s"
done
EOF

test_case 'an opened file is opened again on the new version; an edited one keeps its edits' <<'EOF'
expect_eq "opened again, writable, with the parent's text" "opened-here: parent" "$(cat child/src/opened-here.c)"
expect_eq "writable" 0644 "$(stat -c %04a child/src/opened-here.c)"
expect_eq "the checkout follows the newest delta" "1.2 1.3" "$(cut -d' ' -f1-2 child/src/SCCS/p.opened-here.c)"
expect_eq "the edits are untouched" "$(cat before/src/edited-here.c)" "$(cat child/src/edited-here.c)"
new_sid=$(cut -d' ' -f2 child/src/SCCS/p.edited-here.c)
expect_eq "the edit's new SID is free in the merged history" "" \
  "$(cd child/src && prs -e -d:I: SCCS/s.edited-here.c | grep -x "$new_sid")"
expect_eq "a clear file for each file brought whole" "gone new" \
  "$(cd child/src && for f in gone new; do [ "$(cat $f.c)" = "$f" ] && printf '%s ' $f; done | xargs)"
EOF

test_case 'the backup area holds what undo needs: the old histories and checkouts, the new names' <<'EOF'
expect_eq "the files made" "Brindle_wsdata/args src/gone.c src/new.c " \
  "$(grep -v '^VERSION' child/Brindle_wsdata/backup/new | sort | tr '\n' ' ')"
saved=child/Brindle_wsdata/backup/files
for f in SCCS/s.changed.c SCCS/s.both.c SCCS/s.edited-here.c SCCS/p.edited-here.c edited-here.c \
         SCCS/s.opened-here.c SCCS/p.opened-here.c; do
  expect_eq "$f saved as it was" "$(md5sum <before/src/$f)" "$(md5sum <$saved/src/$f 2>&1)"
done
expect_eq "the saved names" "src/both.c src/changed.c src/edited-here.c src/opened-here.c " \
  "$(grep -v '^VERSION' $saved/Brindle_wsdata/nametable | cut -d' ' -f1 | sort | tr '\n' ' ')"
EOF

test_done
