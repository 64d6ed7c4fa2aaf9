#!/usr/bin/env bash
# A child and its parent, kept in step from the transaction window alone: the
# Update tab brings over the parent's change; a putback that the parent's newer
# change blocks asks to run the bringover it printed, runs it in the same
# window, and the next putback goes through; a bringover that meets the child's
# own edit of the same line asks to resolve and opens the Resolve tab on the
# child; Undo takes that bringover back.  CSSC judges the histories on disk.
. "$GUI_LIB"
GUI_SCREEN=1280x1024x24 gui_start
export BRINDLE_NO_HAILWAY=1
make_ws "$T/p"
sccs_new "$T/p" src/a.c 'int a;'
sccs_new "$T/p" src/b.c 'int b;'
bringover -p "$T/p" -w "$T/c" src >/dev/null || die "bringover c"
# answer_yes: Yes to the question on the screen; what follows is expected
# from here on.
answer_yes() {
  mark
  dialog_ok "Lathe Weaving: Message"
}
question_up() {
  wait_for "the question on the screen" bash -c \
    'xdotool search --onlyvisible --name "Lathe Weaving: Message" >/dev/null'
}

tool_start "$T/p" "$T/c"
expect_trace "the tool is up" '^shown$'
click_node "$T/c"
expect_trace "c selected" "^selected $T/c\$"

test_case 'the Update tab brings the parent'\''s change over to the child' <<'EOF'
sccs_edit "$T/p" src/a.c 'int a = 1;' "a is one"
choose a u
expect_trace "the Update tab" '^trans tab 1$'
expect_trace "the child and its recorded parent" "^trans fields $T/p \\| $T/c\$"
type_in trans_boc_comment_text "take the parent's a"
mark
click trans_boc_action_btn
expect_trace "the real command, with the child's args file" \
  "^trans command .*/bringover -w $T/c -p $T/p -c 'take the parent'\\\\''s a' src/?\$"
expect_trace "its one announced change fills the bar" '^trans progress 1 1$'
expect_trace "the verdict" '^trans status Bringover completed$'
sccs_holds "the child's a.c" "$T/p" src/a.c "$T/c" src/a.c
expect_eq "the child's text" "int a = 1;" "$(sccs_text "$T/c" src/a.c)"
EOF

test_case 'a putback blocked by the parent'\''s newer change runs the bringover it needs, then goes through' <<'EOF'
sccs_edit "$T/c" src/b.c 'int b = 1;' "b is one"
sccs_edit "$T/p" src/a.c 'int a = 2;' "a is two"
parent_b=$(sccs_versions "$T/p" src/b.c)
choose a p
expect_trace "the Putback tab" '^trans tab 2$'
type_in trans_pb_comment_text "b is one"
mark
click trans_pb_action_btn
expect_trace "the putback runs" "^trans command .*/putback -w $T/c -p $T/p -c 'b is one' src/?\$"
expect_trace "the bringover it needs, in the output" "^log [[:space:]].*/bringover -w $T/c -p $T/p src/a\\.c\$"
expect_trace "the question" \
  '^dialog Lathe Weaving: Message: Your putback was blocked and a bringover will be required\.'
question_up
shot putback-blocked
expect_eq "nothing went up" "$parent_b" "$(sccs_versions "$T/p" src/b.c)"
answer_yes
expect_trace "that bringover runs" "^trans command .*/bringover -w $T/c -p $T/p src/a\\.c\$"
expect_trace "on the Update tab" '^trans tab 1$'
expect_trace "its verdict" '^trans status Bringover completed$'
sccs_holds "the child's a.c" "$T/p" src/a.c "$T/c" src/a.c
shot putback-bringover-done
choose a p
expect_trace "back on the Putback tab" '^trans tab 2$'
mark
click trans_pb_action_btn
expect_trace "the same comment asked about" \
  '^dialog Lathe Weaving: Message: Your comment is the same as for previous putback\.'
answer_yes
expect_trace "one change, the bar full" '^trans progress 1 1$'
expect_trace "the verdict" '^trans status Putback completed$'
sccs_holds "the parent's b.c" "$T/c" src/b.c "$T/p" src/b.c
expect_eq "the parent's text" "int b = 1;" "$(sccs_text "$T/p" src/b.c)"
grep -qx "b is one" "$T/p/Brindle_wsdata/history" || fail "the parent's history lacks the comment"
EOF

test_case 'a bringover that makes a conflict asks to resolve and opens the Resolve tab on the child' <<'EOF'
sccs_edit "$T/p" src/a.c 'int a = 3;' "a is three"
sccs_edit "$T/c" src/a.c 'int a = 4;' "a is four"
child_a=$(md5sum <"$T/c/src/SCCS/s.a.c")
choose a u
expect_trace "the Update tab" '^trans tab 1$'
click trans_boc_comment_text
xdotool key End type --delay 5 " again"
mark
click trans_boc_action_btn
expect_trace "the question" '^dialog Lathe Weaving: Message: Bringover detected conflict\(s\)'
expect_trace "the child's icon shows the conflict" "^state $T/c 2\$"
question_up
shot bringover-conflict-question
answer_yes
expect_trace "the Resolve tab" '^trans tab 3$'
expect_trace "listing the file" '^trans conflicts 1$'
expect_trace "the verdict" '^trans status Bringover completed, conflict\(s\) were created$'
expect_eq "the child's conflicts" "src/a.c" "$(md_lines "$T/c/Brindle_wsdata/conflicts")"
sccs_holds "the child's a.c" "$T/p" src/a.c "$T/c" src/a.c
expect_contains "the child's own line kept" "int a = 4;" "$(sccs_text "$T/c" src/a.c)"
shot resolve-after-conflict
EOF

test_case 'Undo takes the bringover back, and the conflict with it' <<'EOF'
choose a n
expect_trace "the Undo tab" '^trans status To undo all changes from last transaction - Select Undo$'
mark
click trans_undo_action_btn
expect_trace "the real ws_undo" "^trans command .*/ws_undo -w $T/c\$"
expect_trace "the output" '^log restore: src/a\.c$'
expect_trace "one restore of one announced change" '^trans progress 1 1$'
expect_trace "the verdict" '^trans status Undo completed$'
expect_trace "the child's icon is plain again" "^state $T/c 1\$"
expect_eq "the child's a.c as it was" "$child_a" "$(md5sum <"$T/c/src/SCCS/s.a.c")"
sccs_judged "$T/c" src/a.c || fail "val refuses the child's a.c"
expect_eq "no conflicts" "" "$(md_lines "$T/c/Brindle_wsdata/conflicts")"
shot undo-done
EOF
tool_stop
test_done
