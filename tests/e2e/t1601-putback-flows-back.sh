#!/usr/bin/env bash
# Changes flow from a child back into its parent: a clean putback carries
# every version and is recorded in both workspaces; a parent that changed
# blocks it with the bringover it needs, which -b runs (3, or 4 when it left
# conflicts); a validation program that says no refuses it and the comment
# is kept for the next try; its integration request is asked for only on a
# terminal.
. "$TEST_LIB"
e2e_start

make_ws parent
for f in a b c d; do sccs_new parent "src/$f.c" "$f"; done
expect_run 0 bringover -p "$T/parent" -w "$T/child" src

test_case 'a clean putback carries every version of the child and leaves a record in both workspaces' <<'EOF'
sccs_edit child src/a.c 'a: child' 'child edits a'
sccs_edit child src/a.c 'a: child again' 'and again'
sccs_new child src/new.c 'new in the child'
expect_run 0 putback -w "$T/child" -c 'the first putback' src
expect_contains "the lines" "Putting back contents changes: 2

update: src/a.c
create: src/new.c" "$OUT"
sccs_holds "a whole in the parent" child src/a.c parent src/a.c
sccs_holds "new whole in the parent" child src/new.c parent src/new.c
expect_contains "the parent's log" "BEGIN COMMENT
the first putback
END COMMENT
update: src/a.c" "$(cat parent/Brindle_wsdata/history)"
expect_contains "the child's log tells of it too" "COMMAND putback" "$(cat child/Brindle_wsdata/history)"
EOF

test_case 'a parent that changed blocks the putback and the needed bringover is printed; nothing moves' <<'EOF'
sccs_edit parent src/b.c 'b: parent' 'parent edits b'
sccs_edit child src/c.c 'c: child' 'child edits c'
before=$(tree_sum parent)
expect_run 2 putback -w "$T/child" -c 'the blocked one' src
expect_contains "the list and the verdict" "The following files have changed in workspace
\"$T/parent\" and must be brought over:
	src/b.c

Your putback command was blocked and no files were putback.

The bringover that needs to be done is:
	$BRINDLE_BIN/bringover -w $T/child src/b.c" "$ERR"
expect_contains "the comment kept" "Your putback comments have been saved in file
\"$T/child/Brindle_wsdata/putback.cmt\"" "$OUT"
expect_eq "putback.cmt" "the blocked one" "$(cat child/Brindle_wsdata/putback.cmt)"
expect_eq "the parent untouched" "$before" "$(tree_sum parent)"
EOF

test_case '-b runs that bringover (3); the putback after it goes through with both changes' <<'EOF'
expect_run 3 putback -b -w "$T/child" -c 'with -b' src
expect_contains "run" "Doing the bringover:
	$BRINDLE_BIN/bringover -w $T/child src/b.c" "$ERR"
sccs_holds "b came to the child" parent src/b.c child src/b.c
expect_eq "c waits in the child" "c" "$(sccs_text parent src/c.c)"
expect_run 0 putback -w "$T/child" -c 'after the bringover' src
sccs_holds "c in the parent" child src/c.c parent src/c.c
sccs_holds "b kept in the parent" child src/b.c parent src/b.c
EOF

test_case '-b ends with 4 when the bringover leaves conflicts, and the parent keeps its own version' <<'EOF'
sccs_edit parent src/d.c 'd: parent' 'parent edits d'
sccs_edit child src/d.c 'd: child' 'child edits d'
parent_d=$(md5sum <"$(sfile parent src/d.c)")
expect_run 4 putback -b -w "$T/child" -c 'into a conflict' src
expect_contains "the conflict, in the child" "src/d.c" "$(md_lines child/Brindle_wsdata/conflicts)"
expect_eq "the parent's d as it was" "$parent_d" "$(md5sum <"$(sfile parent src/d.c)")"
sccs_judged child src/d.c || fail "the child's d refused by CSSC"
EOF

test_case 'a validation program that refuses stops the putback with 2023; it is given user, workspaces, request and names' <<'EOF'
sccs_edit child src/a.c 'a: validated' 'needs approval'
cat >"$T/approve" <<'PROG'
#!/bin/sh
printf '%s|' "$@" >"$T/approve.args"; cat "$5" >"$T/approve.names"; exit "$(cat "$T/approve.answer")"
PROG
sed -i "s|\$T|$T|g" "$T/approve"
chmod +x "$T/approve"
printf 'VERSION 2\nputback-validation on\nauto-approved no\nvalidation-program %s\n' "$T/approve" \
  >parent/Brindle_wsdata/putback_validation
echo 1 >"$T/approve.answer"
before=$(tree_sum parent/src)
expect_run 1 putback -w "$T/child" -c 'needs approval' -M 'MR-17' src/a.c
expect_contains "refused" "putback: Integration Request failed  (Error 2023)" "$ERR"
expect_eq "its arguments" "$(id -un)|$T/parent|$T/child|MR-17|" "$(cut -d'|' -f1-4 "$T/approve.args")|"
expect_eq "the names it was given" "src/a.c" "$(cat "$T/approve.names")"
expect_eq "nothing moved" "$before" "$(tree_sum parent/src)"
expect_eq "the comment kept" "needs approval" "$(cat child/Brindle_wsdata/putback.cmt)"
echo 0 >"$T/approve.answer"
expect_run 0 putback -w "$T/child" -c 'approved' src/a.c </dev/null
expect_eq "no request from a script: an empty word" "" "$(cut -d'|' -f4 "$T/approve.args")"
case "$OUT$ERR" in *'Integration Request ID?'*) fail "asked without a terminal" ;; esac
sccs_holds "a approved" child src/a.c parent src/a.c
# On a terminal it is asked for; the answer reaches the program and the log.
sccs_edit child src/a.c 'a: asked' 'asked on a terminal'
expect_run 0 sh -c "printf 'MR-42\n' | script -qec \"putback -w '$T/child' -c asked src/a.c\" /dev/null"  # on a terminal
expect_contains "the prompt" "Integration Request ID? " "$OUT"
expect_eq "the program's request" "MR-42" "$(cut -d'|' -f4 "$T/approve.args")"
expect_eq "the one request in the log" "RTI MR-42" "$(grep '^RTI ' parent/Brindle_wsdata/history)"
sccs_holds "a asked" child src/a.c parent src/a.c
EOF

test_case 'bad workspaces are refused with their codes, and change nothing' <<'EOF'
make_ws orphan
before=$(tree_sum "$T")
while IFS='|' read -r cmd code text; do
  expect_run 1 $cmd
  expect_contains "$cmd" "$text  (Error $code)" "$ERR"
done <<ROWS
putback -w $T/none|2003|"$T/none" is not a workspace
putback -w $T/orphan|2004|Workspace "$T/orphan" doesn't have a parent workspace
putback -w $T/child -p $T/none|2003|"$T/none" is not a workspace
ws_undo -w $T/none|2003|"$T/none" is not a workspace
ROWS
expect_eq "nothing changed" "$before" "$(tree_sum "$T")"
EOF

test_done
