#!/usr/bin/env bash
# Conflicts that a real bringover left, settled in brindletool's resolve pane
# with the tool on a private message bus: the child's version taken for one
# file, the parent's for another, and the third merged through twinpane, with
# a stub three-way tool standing in for the human.  The user's .brindle_resrc
# turns going on to the next file off, so the user picks each.  Then a real
# putback carries the resolutions to the parent; CSSC judges every history.
. "$GUI_LIB"
GUI_SCREEN=1280x1024x24 gui_start
cd "$T" || die "no scratch"
make_ws parent
files="a-child b-parent c-merge"
for f in $files; do sccs_new parent "src/$f.c" "$(printf 'one\ntwo\nthree')" || die "setup of $f"; done
bringover -p "$T/parent" -w "$T/child" src >/dev/null 2>&1 || die "the child"
for f in $files; do
  sccs_edit parent "src/$f.c" "$(printf 'one\ntwo\nthree\nparent')" "parent's $f" &&
    sccs_edit child "src/$f.c" "$(printf 'child\none\ntwo\nthree')" "child's $f" || die "edits of $f"
done
run bringover -w "$T/child" src
[ "$STATUS" = 4 ] || die "the bringover that makes the conflicts: $OUT $ERR"
mkdir -p "$T/home" && printf '# one file at a time\nset noautoadvance\n' >"$T/home/.brindle_resrc"

# A private bus, ours alone; its address is the handshake.
printf '<busconfig><type>session</type><listen>unix:dir=%s</listen><auth>EXTERNAL</auth><policy context="default"><allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/><allow own="*"/></policy></busconfig>\n' \
  "$T" >"$T/bus.conf"
run_bg dbus-daemon --config-file="$T/bus.conf" --nofork --print-address=3 3>"$T/bus.address" 2>"$T/bus.log"
wait_for "the private bus" test -s "$T/bus.address" || die "no private bus"
export DBUS_SESSION_BUS_ADDRESS=$(head -n1 "$T/bus.address")
unset BRINDLE_NO_HAILWAY
# The human at the three-way tool: the child's text and a line of its own.
printf '#!/bin/sh\n{ cat "$2"; echo "merged by hand"; } >"$4"\n' >"$T/tool" && chmod +x "$T/tool"
export TWINPANE_TOOL="$T/tool %B %L %O %M"

# row_of_list N: a click on the conflicts list's Nth row.
row_of_list() {
  local x y w h
  read -r x y w h < <(awk '$1 == "place" && $2 == "trans_resolve_list" { p = $3 " " $4 " " $5 " " $6 } END { print p }' "$TR")
  [ -n "$h" ] || die "no place for the conflicts list"
  xdotool mousemove $((x + 20)) $((y + 4 + ($1 - 1) * ${ROW_HEIGHT:-17} + 8)) click 1
}

tool_start "$T/child"
expect_trace "the tool is up" '^footer left 1 workspace loaded$'
expect_trace "on the bus" '^hailway joined as '

test_case 'child, parent and a merge through twinpane, then a putback' <<'EOF'
click_node "$T/child"
mark
menu a r
expect_trace "three files in conflict" '^trans conflicts 3$'
expect_trace "the first taken up" '^resolve file src/a-child.c$'
expect_trace "counted" '^trans status 3 of 3 files unresolved$'
shot resolve-pane
mark
click trans_resolve_child_btn
expect_trace "the child's version" '^resolve accepted child: src/a-child.c$'
expect_trace "one fewer" '^trans status 2 of 3 files unresolved$'
mark
row_of_list 1
expect_trace "the user picks the next" '^resolve file src/b-parent.c$'
click trans_resolve_parent_btn
expect_trace "the parent's version" '^resolve accepted parent: src/b-parent.c$'
mark
row_of_list 1
expect_trace "the last picked" '^resolve file src/c-merge.c$'
shot resolve-pane-histories
click trans_resolve_merge_btn
expect_trace "twinpane announces itself" '^resolve message Oakline_Twinpane_Started$'
expect_trace "and reports the merge" '^resolve message Oakline_Twinpane_Saved$'
expect_trace "merged" '^resolve merged: src/c-merge.c$'
expect_trace "all done" '^trans status Resolve completed$'
expect_trace "the tool this pane started quits" '^resolve message Oakline_Twinpane_Quitted$'
shot resolve-pane-done
expect_eq "no conflicts left" "" "$(grep -v '^VERSION' child/Brindle_wsdata/conflicts)"
expect_eq "the child's version" "child
one
two
three" "$(sccs_text child src/a-child.c)"
expect_eq "the parent's version" "one
two
three
parent" "$(sccs_text child src/b-parent.c)"
expect_eq "the stub's merge" "child
one
two
three
merged by hand" "$(sccs_text child src/c-merge.c)"
expect_contains "each resolution in the history log" "accepted child: src/a-child.c" "$(cat child/Brindle_wsdata/history)"
expect_contains "each resolution in the history log" "accepted parent: src/b-parent.c" "$(cat child/Brindle_wsdata/history)"
expect_contains "each resolution in the history log" "merged: src/c-merge.c" "$(cat child/Brindle_wsdata/history)"
expect_eq "no temporary files left" "" "$(ls child/src | grep -v '^SCCS$' | grep -v '\.c$')"
run putback -w "$T/child" -c 'resolved in the pane' src
expect_exit 0
for f in $files; do
  sccs_sound child "src/$f.c" || fail "val of the child's $f"
  sccs_sound parent "src/$f.c" || fail "val of the parent's $f"
  expect_eq "$f in the parent" "$(sccs_text child "src/$f.c")" "$(sccs_text parent "src/$f.c")"
done
EOF
tool_stop
test_done
