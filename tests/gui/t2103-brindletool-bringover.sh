#!/usr/bin/env bash
# A user makes a child of a parent from the transaction window: the Create tab
# takes the selected parent, the chooser adds the parent's src directory, and
# Bringover runs the real command, whose output the output window shows; the
# new child appears on the canvas and on disk.  A preview changes nothing; a
# child held by someone else's lock fails with the engine's error; a bringover
# stopped while it waits for a lock dies with its process group and leaves no
# lock behind.
. "$GUI_LIB"
GUI_SCREEN=1280x1024x24 gui_start
export BRINDLE_NO_HAILWAY=1
mkdir -p "$T/p/Brindle_wsdata" "$T/p/src/SCCS"
printf 'int a;\n' >"$T/a.c"
(cd "$T/p/src" && "$CSSC_DIR/admin" -i"$T/a.c" SCCS/s.a.c) 2>/dev/null || die "admin"
versions_before=$(sccs_versions "$T/p" src/a.c)
select_ws() {
  click_node "$T/$1"
  expect_trace "$1 selected" "^selected $T/$1\$"
}
# run_action BUTTON [reuse]: presses the tab's action button, says yes when
# asked whether the last comment may serve again, and waits for the verdict.
run_action() {
  mark
  click "$1"
  [ -n "${2:-}" ] && dialog_ok "Lathe Weaving: Message"
  expect_trace "the run ends" '^trans exit '
}

tool_start "$T/p"
expect_trace "the tool is up" '^shown$'

test_case 'the Create tab makes a child of the selected parent, with the files the chooser adds' <<'EOF'
select_ws p
choose a c
expect_trace "the Create tab opens" '^places trans_shell$'
expect_trace "it asks for the child" '^trans status Enter a Child Workspace Directory$'
type_in trans_boc_child "$T/c"
xdotool key Return
expect_trace "the list is still empty" '^trans status No files to bringover - Hit =>Add\.\.\.$'
mark
click trans_boc_add_btn
expect_trace "the chooser shows the parent" "^chooser add_files_chooser loaded $T/p\$"
expect_trace "and is up" '^places add_files_chooser$'
type_in fc_name_text ../a.c
xdotool key Return
expect_trace "it does not leave the workspace" '^chooser add_files_chooser footer Enter a file or directory under the workspace$'
xdotool key End shift+Home
xdotool type src
xdotool key Return
expect_trace "src goes to the list" '^trans status 1 of 1 added$'
type_in trans_boc_comment_text "it's the first child"
shot bringover-create-form
run_action trans_boc_action_btn
expect_trace "the real command with the form's words" \
  "^trans command .*/bringover -w $T/c -p $T/p -c 'it'\\\\''s the first child' src/\$"
expect_trace "its output in the window" "^log Child workspace:  $T/c\$"
expect_trace "its one change sets the bar's end" '^trans progress [0-9]+ 1$'
expect_trace "the verdict" '^trans status Bringover completed$'
expect_trace "the new child on the canvas" "^node $T/c "
test -d "$T/c/Brindle_wsdata" || fail "no child workspace on disk"
grep -q "$T/p\$" "$T/c/Brindle_wsdata/parent" || fail "the child does not name its parent"
grep -q "$T/c\$" "$T/p/Brindle_wsdata/children" || fail "the parent does not list its child"
grep -q "^it's the first child\$" "$T/c/Brindle_wsdata/history" || fail "the comment is not in the history"
sccs_sound "$T/p" src/a.c || fail "val refuses the parent's history file"
# The bringover may give the parent's history its name history (a self-repair
# any reader makes), but never a version.
expect_eq "the parent's versions are as they were" "$versions_before" "$(sccs_versions "$T/p" src/a.c)"
sccs_holds "the child's copy" "$T/p" src/a.c "$T/c" src/a.c
shot bringover-create-done
EOF

test_case 'the same child again is refused before anything runs' <<'EOF'
mark
click trans_boc_action_btn
dialog_ok "Error Dialog"
expect_trace "an existing child" "^dialog Error Dialog: Bringover create failed - child workspace \`$T/c\` already exists\.\$"
expect_eq "no command ran" 0 "$(tail -n +$((MARK + 1)) "$TR" | grep -c '^trans command')"
EOF

test_case 'a preview of an update shows its output and changes nothing' <<'EOF'
sccs_edit "$T/p" src/a.c 'int a = 1;' "a is one"
history=$(cat "$T/c/Brindle_wsdata/history") child_sum=$(tree_sum "$T/c")
select_ws c
choose a u
expect_trace "the Update tab" '^trans tab 1$'
click trans_boc_entire_tgl
click trans_boc_preview_tgl
run_action trans_boc_action_btn
expect_trace "the preview's command, the comment kept" \
  "^trans command .*/bringover -w $T/c -p $T/p -c .* -n \\./\$"
expect_trace "its output" '^log Would bring over contents changes: 1$'
expect_trace "its verdict" '^trans status Bringover preview completed$'
expect_eq "a preview leaves no record" "$history" "$(cat "$T/c/Brindle_wsdata/history")"
expect_eq "nor any change in the child" "$child_sum" "$(tree_sum "$T/c")"
shot bringover-preview
click trans_boc_preview_tgl
EOF

test_case 'someone else'\''s lock fails the bringover with the engine'\''s error' <<'EOF'
printf 'VERSION 1\nwrite putback 4242 elsewhere someone 1\n' >"$T/c/Brindle_wsdata/locks"
run_action trans_boc_action_btn reuse
expect_trace "the same comment asked about" '^dialog Lathe Weaving: Message: Your comment is the same as for previous bringover\.'
expect_trace "the engine's words" '^log   \(Error 2021\)$'
expect_trace "the verdict" '^trans status Bringover failed due to an error$'
printf 'VERSION 1\n' >"$T/c/Brindle_wsdata/locks"
EOF

test_case 'Stop ends a bringover that waits for a lock: its process group dies and its lock goes' <<'EOF'
ln -s locks "$T/c/Brindle_wsdata/locks.lock"
touch -h -d '+1 hour' "$T/c/Brindle_wsdata/locks.lock"
mark
click trans_boc_action_btn
dialog_ok "Lathe Weaving: Message"
expect_trace "it runs" '^trans pid '
pid=$(grep '^trans pid ' "$TR" | tail -n1 | cut -d' ' -f3)
wait_for "the parent's read lock" grep -q "^read bringover " "$T/p/Brindle_wsdata/locks"
shot bringover-running
click trans_boc_action_btn
expect_trace "Stop" '^trans exit -1$'
expect_trace "the log says so" '^log \\nStopped$'
expect_trace "the verdict" '^trans status Bringover failed due to user stopping the process$'
# The shell is gone; the bringover itself ends once its signal handler is done.
wait_for "the whole process group to end" bash -c "! kill -0 -- -$pid 2>/dev/null"
expect_eq "the engine gave its lock back" "VERSION 1" "$(cat "$T/p/Brindle_wsdata/locks")"
rm -f "$T/c/Brindle_wsdata/locks.lock"
shot bringover-stopped
EOF
tool_stop
test_done
