#!/usr/bin/env bash
# The workspace operations from brindletool's dialogs, each checked on disk:
# create a workspace, create a child with its bringover, rename by the dialog
# and by a click on the label, reparent by a drag with Ctrl, update a name
# table that needs the user's choice, delete; and a workspace that vanished
# while loaded.
. "$GUI_LIB"
GUI_SCREEN=1280x1024x24 gui_start
export BRINDLE_NO_HAILWAY=1
make_forest
printf 'VERSION 1\nsrc\n' >"$T/p/Brindle_wsdata/args"
mkdir -p "$T/home"
printf 'brindletool.show_children_dlg: False\n' >"$T/home/.brindletoolrc"
tool_start p c1 c2
# parent_of WS: the workspace that WS's parent file names.
parent_of() { sed -n 2p "$T/$1/Brindle_wsdata/parent" | sed "s|^[^/]*:||"; }
# lists WS CHILD: 1 when WS's children file names CHILD.
lists() { grep -c ":$T/$2\$" "$T/$1/Brindle_wsdata/children"; }
expect_trace "the tool is up" '^footer left 3 workspaces loaded$'

test_case 'create a workspace, and a child of p filled by its bringover' <<'EOF'
open_dialog create_ws_shell f c
fill create_ws_shell.create_ws_dir "$T/n1"
press create_ws_shell.create
expect_trace "create runs" "^footer left $T/n1 workspace created\$"
expect_file "$T/n1/Brindle_wsdata/access_control"
click_node "$T/p"
open_dialog create_cws_shell w h
fill create_cws_shell.cws_child "$T/k"
press create_cws_shell.cws_bringover
press create_cws_shell.create
expect_trace "the child is made" "^footer left $T/k Child workspace created\$"
expect_trace "the Update tab opens for the pair" "^propagation bringover-update $T/p $T/k\$"
expect_trace "with p's file list" '^places trans_shell$'
mark
click trans_boc_action_btn
expect_trace "the bringover runs" '^trans exit '
expect_eq "k's parent" "$T/p" "$(parent_of k)"
expect_eq "p lists its child" 1 "$(lists p k)"
expect_eq "the bringover took p's files and left its record in k's log" "src 1" \
  "$(md_lines "$T/k/Brindle_wsdata/args") $(grep -c "^COMMAND .*bringover -w $T/k -p $T/p src \$" "$T/k/Brindle_wsdata/history")"
node_at "$T/k"
expect_eq "k stands in p's tree" 0 "$NGRAPH"
shot create-child
EOF

test_case 'the dialogs refuse bad fields in their own words' <<'EOF'
open_dialog create_cws_shell w h
while read -r parent child why; do
  mark
  fill create_cws_shell.cws_parent "$parent"
  fill create_cws_shell.cws_child "$child"
  press create_cws_shell.create
  expect_trace "$why" "^footer create_cws_shell $why\$"
done <<TABLE
$T/nothere $T/k9 Parent Workspace Directory field requires a valid workspace
$T/p $T/no/k9 Child Workspace Directory field requires a valid containing directory
TABLE
expect_no_file "$T/k9"
press create_cws_shell.cancel
EOF

test_case 'rename by the dialog and by a click on the label' <<'EOF'
click_node "$T/k"
open_dialog rename_shell w r
fill rename_shell.rename_new "$T/k2"
press rename_shell.rename
expect_trace "renamed" "^footer left $T/k renamed to $T/k2\$"
expect_no_file "$T/k"
expect_eq "the parent follows" 1 "$(lists p k2)"
node_at "$T/c2"
mark
xdotool mousemove "$PX" $((NY + NH - 5)) click 1
opened rename_shell
fill rename_shell.rename_new "c2b"
shot rename-by-click
press rename_shell.rename
expect_trace "a bare name goes beside the old one" "^footer left $T/c2 renamed to $T/c2b\$"
expect_file "$T/c2b/Brindle_wsdata"
node_at "$T/c2b"
EOF

test_case 'a drag with Ctrl reparents after the question' <<'EOF'
mark
node_at "$T/c2b"; x=$PX y=$PY
node_at "$T/c1"
xdotool keydown ctrl mousemove "$x" "$y" mousedown 1 mousemove $((x + 9)) $((y + 9)) \
  mousemove "$PX" "$PY" mouseup 1 keyup ctrl
expect_trace "the question" "^dialog Lathe Weaving: Question Dialog: You are reparenting the workspace:$T/c2b"
shot reparent-question
dialog_ok "Lathe Weaving: Question Dialog"
expect_trace "reparented" "^footer left $T/c2b from $T/p to $T/c1 reparented\$"
expect_eq "c2b's parent file" "$T/c1" "$(parent_of c2b)"
expect_trace "the canvas follows" '^layout '
node_at "$T/c2b"; y2=$NY
node_at "$T/c1"
expect_eq "c2b below c1" 1 "$((y2 > NY))"
EOF

test_case 'update nametable: the user says which file a vanished original became' <<'EOF'
# src/a.c, known to k2's table, is gone; two hand-made copies share its SmID.
# (The child's bringover copied src/a.c; it goes, as a user's mv would take it.)
mkdir -p "$T/k2/src/SCCS"
rm -f "$T/k2/src/SCCS/s.a.c" "$T/k2/src/a.c"
cp "$T/p/src/SCCS/s.a.c" "$T/k2/src/SCCS/s.x.c"
cp "$T/p/src/SCCS/s.a.c" "$T/k2/src/SCCS/s.y.c"
grep -h '^VERSION\|^src/a.c ' "$T/p/Brindle_wsdata/nametable" >"$T/k2/Brindle_wsdata/nametable"
click_node "$T/k2"
open_dialog update_ws_shell w u
press update_ws_shell.update_what_update_nametable_only
press update_ws_shell.update
opened ws_sel_uniq_shell
shot uniquify
pick_item ws_sel_uniq_shell.uniq_list 2
press ws_sel_uniq_shell.ok
expect_trace "the choice" '^uniquify src/a\.c: 2 src/[xy]\.c$'
chosen=$(grep -o '^uniquify src/a\.c: 2 .*' "$TR" | cut -d' ' -f4)
expect_trace "done" "^footer left $T/k2's nametable updated\$"
nt=$T/k2/Brindle_wsdata/nametable
expect_eq "two names, two identities" "2 2" \
  "$(md_lines "$nt" | wc -l) $(md_lines "$nt" | cut -d' ' -f2- | sort -u | wc -l)"
expect_eq "the chosen file keeps the old identity" \
  "$(grep '^src/a.c ' "$T/p/Brindle_wsdata/nametable" | cut -d' ' -f2-)" \
  "$(grep "^$chosen " "$nt" | cut -d' ' -f2-)"
EOF

test_case 'delete, and a workspace that vanished while loaded' <<'EOF'
click_node "$T/n1"
open_dialog delete_ws_shell w d
shot delete
press delete_ws_shell.delete
expect_trace "deleted" "^footer left workspace '$T/n1' deleted\$"
expect_no_file "$T/n1"
rm -rf "$T/c1"
click_node "$T/c1"
open_dialog delete_ws_shell w d
press delete_ws_shell.delete
error_told "the command's complaint" "workspace: "
expect_trace "the footer" "^footer left workspace '$T/c1' delete failed\$"
open_dialog rename_shell w r
fill rename_shell.rename_new "$T/c1x"
press rename_shell.rename
expect_trace "rename refuses it" '^footer rename_shell Old Workspace Name field requires a valid workspace$'
press rename_shell.cancel
menu v r
expect_trace "the tool runs on and Refresh unloads it" '^footer left 1 nonexistent workspace unloaded\.$'
EOF

test_case 'load by name, and what was loaded already told apart; children all at once' <<'EOF'
choose f l
expect_trace "the workspace chooser" '^places load_workspaces$'
click fc_dir_text
xdotool key End shift+Home && xdotool type "$T" && xdotool key Return
expect_trace "the directory" "^chooser load_workspaces loaded $T\$"
type_in fc_name_text "g1 p"
xdotool key Return
expect_trace "the count" '^chooser load_workspaces footer 1 workspace loaded, 1 was already loaded$'
xdotool key End shift+Home && xdotool type nothere && xdotool key Return
expect_trace "a name that is no workspace" '^chooser load_workspaces footer Name field requires a valid workspace or directory$'
xdotool key End shift+Home && xdotool type p
click fc_load_btn
expect_trace "Load Directory refuses a workspace" '^chooser load_workspaces footer Cannot load a directory which is a workspace$'
shot load
click fc_cancel_btn
click_node "$T/k2"
choose f u
expect_trace "k2 unloaded" '^footer left 1 workspace unloaded$'
click_node "$T/p"
choose w c
expect_trace "p's one living child comes back" '^footer left 1 child workspace, 1 loaded\.$'
node_at "$T/k2"
EOF

test_done
