#!/usr/bin/env bash
# The forms of the transaction window, in a tool that finds no putback to
# run: the Putback tab takes the selected child, its parent and the child's
# args file, saves and loads the parent's, wants a comment before anything
# else and says when its command is missing; two unrelated workspaces ask which
# way; the Resolve tab drops a listed file that has no conflict record; the
# ". . ." button chooses only workspaces, and programs must be
# executable.
. "$GUI_LIB"
GUI_SCREEN=1280x1024x24 gui_start
# Commands are looked for in PATH alone, where this story's bin holds only the
# programs it means the tool to find.
mkdir -p "$T/bin"
for p in workspace bringover def.dir.flp; do ln -s "$BRINDLE_BIN/$p" "$T/bin/$p"; done
export BRINDLE_NO_HAILWAY=1 BRINDLE_PATH_ONLY=1 PATH="$T/bin:$CSSC_DIR:/usr/bin:/bin"
mkdir -p "$T/p/Brindle_wsdata" "$T/p/src/SCCS" "$T/x/Brindle_wsdata" "$T/x/src/SCCS"
printf 'int a;\n' >"$T/a.c"
(cd "$T/p/src" && "$CSSC_DIR/admin" -i"$T/a.c" SCCS/s.a.c) 2>/dev/null || die "admin"
cp "$T/p/src/SCCS/s.a.c" "$T/x/src/SCCS/"
bringover -p "$T/p" -w "$T/c" src >/dev/null || die "bringover c"
bringover -p "$T/x" -w "$T/o" src >/dev/null || die "bringover o"
printf 'echo src/a.c\n' >"$T/c/list-files"
select_ws() {  # select_ws NAME [shift]: with shift, added to the selection
  node_at "$T/$1"
  xdotool mousemove "$PX" "$PY"
  [ -n "${2:-}" ] && xdotool keydown shift
  xdotool click 1
  [ -n "${2:-}" ] && xdotool keyup shift
}
tool_start "$T/p" "$T/c" "$T/o"
expect_trace "the tool is up" '^shown$'

test_case 'Putback takes the selected child, its parent and its args file, and saves and loads the parent'\''s' <<'EOF'
select_ws c
choose a p
expect_trace "the child and its recorded parent" "^trans fields $T/p \\| $T/c\$"
click trans_pb_add_btn
expect_trace "the chooser shows the child" "^chooser add_files_chooser loaded $T/c\$"
expect_trace "and is up" '^places add_files_chooser$'
type_in fc_name_text src
xdotool key Return
expect_trace "the list came from the child's args file" '^trans status 1 file\(s\) already in file list$'
click trans_pb_save_args_btn
expect_trace "saved" '^trans status Saved args file for p$'
grep -qx src "$T/p/Brindle_wsdata/args" || fail "the parent's args file lacks src"
click trans_pb_select_all_btn
click trans_pb_delete_btn
click trans_pb_load_args_btn
expect_trace "the args file read back" '^trans args loaded 1$'
EOF

test_case 'a putback wants a comment first, then says its command is missing' <<'EOF'
mark
click trans_pb_action_btn
dialog_ok "Error Dialog"
expect_trace "a comment is required" '^dialog Error Dialog: Putback failed - comment required$'
type_in trans_pb_comment_text "fix a"
shot putback-panel
mark
click trans_pb_action_btn
dialog_ok "Error Dialog"
expect_trace "no putback to run" '^dialog Error Dialog: .*Could not find the "putback" command'
expect_eq "nothing ran" 0 "$(tail -n +$((MARK + 1)) "$TR" | grep -c '^trans command')"
EOF

test_case 'file list programs must be executable' <<'EOF'
click trans_pb_flps_tgl
click trans_pb_add_btn
expect_trace "the programs' chooser" '^places add_flps_chooser$'
type_in fc_name_text list-files
xdotool key Return
expect_trace "refused" '^chooser add_flps_chooser footer FLP.s must be executable files$'
chmod +x "$T/c/list-files"
xdotool key Return
expect_trace "accepted" '^trans status 1 of 1 added$'
click fc_cancel_btn
EOF

test_case 'the ". . ." button chooses workspaces only' <<'EOF'
mark
click trans_pb_parent_dots
expect_trace "the chooser" '^places choose_workspace$'
type_in fc_name_text "$T/c/src"
xdotool key Return
expect_trace "a plain directory is no workspace" \
  '^chooser choose_workspace footer Select a workspace or enter it in the Name field$'
shot choose-workspace
xdotool key End shift+Home
xdotool type "$T/o"
xdotool key Return
expect_trace "o chosen" "^trans fields $T/o \\| $T/c\$"
EOF

test_case 'the Resolve tab drops a listed file that has no conflict record' <<'EOF'
printf 'VERSION 1\nsrc/a.c\n' >"$T/c/Brindle_wsdata/conflicts"
select_ws c
choose a r
expect_trace "the Resolve tab lists the conflict" '^trans conflicts 1$'
dialog_ok "Lathe Weaving: Message"
expect_trace "reported" '^dialog Lathe Weaving: Message: File "src/a.c" is not conflict'
expect_eq "and dropped from the conflicts file" "" "$(grep -v '^VERSION' "$T/c/Brindle_wsdata/conflicts")"
shot resolve-panel
EOF

test_case 'two workspaces unrelated by parentage ask which way' <<'EOF'
select_ws p
select_ws o shift
choose a u
dialog_ok "Lathe Weaving: Select Action"
expect_trace "the first answer: from the first selected" "^trans fields $T/p \\| $T/o\$"
EOF
tool_stop
test_done
