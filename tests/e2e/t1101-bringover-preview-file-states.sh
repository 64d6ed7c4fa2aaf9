#!/usr/bin/env bash
# A child made from its parent, and then work on both sides: the preview of
# the next bringover tells, file by file, what would happen and why, in the
# words the real run will use.  It changes nothing on disk but the conflicts
# file it finds wrong, and every history stays sound for CSSC.
. "$TEST_LIB"
e2e_start

# What a first bringover leaves: histories with their name history, and a
# child that is a copy of its parent.
new_file() { sccs_new "$1" "$2" "$3" && e2e_sdata names "$1/$(dirname "$2")/SCCS/s.$(basename "$2")" "$2"; }
make_ws parent
for f in changed mine both same gone edited-there edited-here locked-here unresolved \
         dir-here link-here; do
  new_file parent "src/$f.c" "$f"
done
cp -a parent child
printf 'VERSION 1\n%s\n' "$T/parent" >child/Brindle_wsdata/parent

# The parent moves on.
sccs_new parent src/new.c 'new'
sccs_edit parent src/changed.c 'changed in the parent' 'parent change'
sccs_edit parent src/both.c 'both: parent' 'parent side'
sccs_edit parent src/edited-here.c 'edited-here: parent' 'parent change'
sccs_edit parent src/locked-here.c 'locked-here: parent' 'parent change'
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
sccs_edit child src/unresolved.c 'unresolved: child' 'child side'
e2e_sdata conflict child/src/SCCS/s.unresolved.c "$T/parent"
rm child/src/SCCS/s.dir-here.c && mkdir child/src/dir-here.c
rm child/src/SCCS/s.link-here.c && ln -s same.c child/src/link-here.c
rm child/src/SCCS/s.gone.c

parent_before=$(tree_sum parent)
child_before=$(tree_sum child | grep -v Brindle_wsdata/conflicts)

test_case 'the preview tells file by file what the bringover would do, and why' <<'EOF'
# Files found on one side only are looked for under other names first, so
# they come last.
run bringover -n -v -w "$T/child" src
expect_exit 4
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

Examined files: 13

Would bring over contents changes: 5

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
bringover: File \"src/unresolved.c\" not brought over because it is
	unresolved in workspace \"$T/child\"  (Warning 2626)
create: src/gone.c
create: src/new.c

Examined files: 13

Contents Summary:
       2   create
       1   update
       2   conflict
       2   no action (unchanged)
       1   no action (exists in child only)
       1   no action (changed in child only)
       1   no action (unresolved in child)
       1   no action (checked-out in child)

       2   cross type

No changes were brought over" "$OUT"
expect_eq "the conflicts file was wrong" "
The conflict file in workspace \"$T/child\"
was incorrect.  The following files are in conflict and have
been added to the conflict file.
	src/unresolved.c" "$ERR"
EOF

test_case 'it writes nothing but the conflicts file it found wrong' <<'EOF'
expect_eq "the parent is untouched" "$parent_before" "$(tree_sum parent)"
expect_eq "the child is untouched but for its conflicts file" "$child_before" \
  "$(tree_sum child | grep -v Brindle_wsdata/conflicts)"
expect_eq "the conflicts file repaired" "src/unresolved.c" "$(grep -v '^VERSION' child/Brindle_wsdata/conflicts)"
for s in {parent,child}/src/SCCS/s.*; do
  (cd "$(dirname "$s")" && val "$(basename "$s")") || fail "val of $s"
done
EOF

test_case 'told once, the conflicts file is right; -C makes updates conflicts; quiet without -v' <<'EOF'
run bringover -n -C -w "$T/child" src
expect_exit 4
expect_eq "nothing more to repair" "" "$ERR"
expect_contains "updates become conflicts" "Would bring over contents changes: 5

conflict: src/both.c
conflict: src/changed.c" "$OUT"
expect_contains "quiet without -v" "Examined files: 13

Would bring over" "$OUT"
EOF

test_done
