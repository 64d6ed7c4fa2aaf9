#!/usr/bin/env bash
# brindletool's start-up when something is missing or wrong: the version and
# display checks, a parent that lists a child no longer there, a workspace
# that does not exist, a failing workspace command, a bad .brindletoolrc, and
# the message service, absent and on a private bus.
. "$GUI_LIB"
gui_start
make_forest
tool="$BRINDLE_BIN/brindletool"
none_loaded='^footer left No workspaces loaded - Select File=>Load Workspaces\.\.\.$'

test_case '-V behind a name gives the version before any display; no display is status 255' <<'EOF'
out=$(DISPLAY='' "$tool" p -V 2>&1)
expect_eq "-V behind a name: the version, before any display" "$tool: 1.0 0" "$out $?"
out=$(DISPLAY=:nowhere "$tool" p 2>/dev/null)
expect_eq "no display" "brindletool: cannot open display, exiting 255" "$out $?"
EOF

export BRINDLE_NO_HAILWAY=1
mkdir -p "$T/home"
printf 'brindletool.load_parents_and_children: True\n' >"$T/home/.brindletoolrc"

test_case 'a parent that lists a missing child: a dialog, and the workspaces named load' <<'EOF'
tool_start p
expect_trace "p lists the missing c3" "^dialog Error Dialog: .*Workspace $T/p's child .*/c3 does not exist in file system  \(Error 2083\)"
shot missing-child
dialog_ok "Error Dialog"
expect_trace "the workspaces as named load without the context" '^footer left 1 workspace loaded$'
tool_stop
EOF

test_case 'a name that is no workspace: a dialog, and nothing loads' <<'EOF'
tool_start "$T/nothere"
error_told "a name that is no workspace" 'Could not get list of workspaces$'
expect_trace "nothing loads" "$none_loaded"
tool_stop
EOF

test_case 'a failing workspace command: its failure is told, whatever the names' <<'EOF'
mkdir -p "$T/failing"
ln -s /bin/false "$T/failing/workspace"
PATH="$T/failing:$PATH" tool_start p
expect_trace "the command runs" "^command $T/failing/workspace list p  2>/dev/null\$"
error_told "its failure is told" 'Could not get list of workspaces$'
expect_trace "nothing loads" "$none_loaded"
tool_stop
EOF

test_case 'unknown values in .brindletoolrc leave the defaults; an unreadable file is worth a dialog' <<'EOF'
printf 'brindletool.orientation: Sideways\nbrindletool.workspace_names: Short\n' \
  >"$T/home/.brindletoolrc"
tool_start p c1
expect_trace "the forest" '^layout 2 vertical$'
node_at "$T/c1"
expect_eq "the known value counts" c1 "$NLABEL"
tool_stop
rm "$T/home/.brindletoolrc"
mkdir "$T/home/.brindletoolrc"
tool_start p
expect_trace "a .brindletoolrc that cannot be read" \
  "^dialog Error Dialog: Could not open tool properties file \($T/home/.brindletoolrc\)\$"
dialog_ok "Error Dialog"
expect_trace "the tool runs on" '^footer left 1 workspace loaded$'
tool_stop
rmdir "$T/home/.brindletoolrc"
EOF

test_case 'without a message bus a dialog says so and the tool goes on' <<'EOF'
unset BRINDLE_NO_HAILWAY DBUS_SESSION_BUS_ADDRESS
tool_start p
expect_trace "no bus" '^dialog Weaving: Hailway Initialization Error: Unable to open Hailway channel\. Some features might not work\.$'
shot no-bus
dialog_ok "Weaving: Hailway Initialization Error"
expect_trace "the tool goes on" '^started$'
tool_stop
EOF

test_case 'on a private bus the tool joins, takes BRINDLE_WSPATH, and hears the merge tool' <<'EOF'
private_bus
# No arguments, outside any workspace: BRINDLE_WSPATH alone names them.
BRINDLE_WSPATH="$T/p:$T/c2" tool_start
expect_trace "the tool joins the bus" '^hailway joined as [0-9]+$'
expect_trace "BRINDLE_WSPATH's workspaces" "^ws_list: $T/p $T/c2\$"
id=$(grep -oE '^hailway joined as [0-9]+' "$TR" | grep -oE '[0-9]+$')
run_bg "$BRINDLE_BIN/twinpane" -T "$id"
expect_trace "the merge tool's announcement reaches the resolve pane" '^resolve message Oakline_Twinpane_Started$'
EOF

test_done
