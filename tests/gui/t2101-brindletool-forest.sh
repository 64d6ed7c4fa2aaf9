#!/usr/bin/env bash
# A user's forest in brindletool: workspaces made by bringover, loaded children
# first, are drawn as one tree plus an orphan; a click selects and makes the
# workspace the current item that commands inherit; the View toggles lay the
# forest out again; drags ask for the transaction or the reparent of the right
# pair; unloading a parent leaves its children as trees of their own, and
# Refresh follows workspaces removed and reparented outside the tool, a cycle
# of parents included.
. "$GUI_LIB"
gui_start
export BRINDLE_NO_HAILWAY=1
make_forest
printf 'VERSION 1\nNAME\nrelease\n' >"$T/c2/Brindle_wsdata/description"
printf 'VERSION 1\nsrc/a.c\n' >"$T/g2/Brindle_wsdata/conflicts"
mkdir -p "$T/home"
printf 'brindletool.normal_double_click: printenv BRINDLE_CURR_ITEM >%s/dbl.out\n' "$T" \
  >"$T/home/.brindletoolrc"
# trees NAME...: the tree number of each workspace in the last layout.
trees() { local n out=; for n; do node_at "$T/$n"; out+="$NGRAPH "; done; echo "$out"; }
# drag FROM TO [KEY]: drags FROM's icon onto TO's, holding KEY.
drag() {
  node_at "$T/$1"; local x=$PX y=$PY
  node_at "$T/$2"
  if [ -n "${3:-}" ]; then xdotool keydown "$3"; fi
  xdotool mousemove "$x" "$y" mousedown 1 mousemove $((x + 9)) $((y + 9)) \
    mousemove "$PX" "$PY" mouseup 1
  if [ -n "${3:-}" ]; then xdotool keyup "$3"; fi
}
tool_start g1 c1 p c2 g2 o

test_case 'loaded children first, the forest is one tree plus the orphan' <<'EOF'
expect_trace "the tool is up" '^shown$'
expect_trace "the footer counts the workspaces" '^footer left 6 workspaces loaded$'
expect_eq "parents adopt children loaded before them; the orphan stands alone" \
  "0 0 0 0 0 1 " "$(trees p c1 c2 g1 g2 o)"
node_at "$T/p"; py=$NY
node_at "$T/c1"; c1x=$NX c1y=$NY
node_at "$T/c2"; c2x=$NX c2y=$NY
node_at "$T/g1"; g1y=$NY
expect_eq "children one level below the parent" "1 1 1" \
  "$((c1y > py)) $((c1y == c2y)) $((g1y > c1y))"
expect_eq "siblings side by side" 1 "$((c1x < c2x))"
node_at "$T/g2"
expect_eq "g2's conflicts file gives it the conflict state" 2 "$NSTATE"
shot forest-vertical
EOF

test_case 'a click selects and makes the current item; a double click runs the action with it' <<'EOF'
mark
click_node "$T/c1"
expect_trace "a click selects" "^selected $T/c1\$"
expect_trace "the workspace under the pointer is the current item" "^curr_item $T/c1\$"
node_at "$T/g1"
xdotool mousemove "$PX" "$PY" click --repeat 2 --delay 120 1
expect_trace "a double click runs the action in the workspace" "^command cd $T/g1; printenv"
wait_for "the action's output" test -s "$T/dbl.out"
expect_eq "the action inherits the current item" "$T/g1" "$(cat "$T/dbl.out")"
EOF

test_case 'the View toggles lay the forest out again; the active one lays out nothing' <<'EOF'
mark
menu_then "Horizontal lays the forest out again" '^layout 6 horizontal$' v h
node_at "$T/p"; px=$NX py=$NY
node_at "$T/c1"; c1x=$NX c1y=$NY
node_at "$T/c2"; c2y=$NY
expect_eq "horizontal: children to the right, one above the other" "1 1" \
  "$((c1x > px)) $((c1y < c2y))"
shot forest-horizontal
mark
menu_then "Short Names" '^layout 6 horizontal$' v s
node_at "$T/c1"
expect_eq "short label" c1 "$NLABEL"
mark
menu_then "Descriptive Names" '^layout 6 horizontal$' v d
node_at "$T/c2"
expect_eq "the description's name" release "$NLABEL"
node_at "$T/p"
expect_eq "no description: the short name in brackets" "<p>" "$NLABEL"
choose v d           # already on: stays on, nothing moves
menu_then "Vertical" '^layout 6 vertical$' v v
expect_eq "the active toggle lays out nothing" 1 "$(tail -n +$((MARK + 1)) "$TR" | grep -c '^layout ')"
EOF

test_case "drags ask for a transaction, with Ctrl for a reparent, between strangers the user's choice" <<'EOF'
mark
drag c1 p
expect_trace "child onto parent: putback" "^propagation putback $T/c1 $T/p\$"
drag p c2
expect_trace "parent onto child: bringover" "^propagation bringover-update $T/p $T/c2\$"
drag c1 c2 ctrl
expect_trace "Ctrl: the reparent hook gets child and new parent" "^hook reparent $T/c1 $T/c2\$"
dialog_no "Lathe Weaving: Question Dialog"
expect_trace "the question answered No moves nothing" '^footer left Reparent cancelled$'
mark
drag c1 p ctrl
expect_trace "a reparent to the present parent stops early" \
  '^hook abort Workspace is already a child of target workspace$'
drag g1 o
dialog_ok "Lathe Weaving: Select Action"
expect_trace "unrelated workspaces: the user's choice" "^propagation bringover-update $T/g1 $T/o\$"
expect_eq "no reparent was asked" 0 "$(tail -n +$((MARK + 1)) "$TR" | grep -c '^hook reparent')"
EOF

test_case 'unloading a parent leaves its children as trees; Refresh follows changes made outside' <<'EOF'
mark
click_node "$T/c1"
menu f u
expect_trace "Unload" '^footer left 1 workspace unloaded$'
expect_eq "c1's children take its place as trees, in order" "0 1 2 3 " "$(trees p g1 g2 o)"
rm -rf "$T/g2"
sed -n 2p "$T/c1/Brindle_wsdata/parent" | sed '1i VERSION 1' >"$T/o/Brindle_wsdata/parent"
mark
node_at "$T/g2"
xdotool mousemove "$PX" "$PY" mousemove $((PX + 2)) "$PY"
expect_trace "a removed workspace under the pointer" '^footer left g2 doesn.t exist$'
expect_trace "is no current item" '^curr_item $'
menu v r
expect_trace "Refresh unloads what is gone" '^footer left 1 nonexistent workspace unloaded\.$'
expect_trace "and lays out" '^layout 4 '
expect_eq "o follows its new parent file" "0 0 0 1 " "$(trees p c2 o g1)"
shot forest-refreshed
EOF

test_case 'a cycle of parents is drawn with its end marked, and broken by an unload' <<'EOF'
# p's parent made c2, its own child.
grep '/c2$' "$T/p/Brindle_wsdata/children" | sed '1i VERSION 1' >"$T/p/Brindle_wsdata/parent"
choose v r
expect_trace "Refresh" '^layout 4 '
expect_eq "one tree still" "0 0 0 " "$(trees p c2 o)"
node_at "$T/c2"
expect_eq "c2 closes the cycle: its picture says so" 1 "$NCIRC"
shot forest-cycle
mark
click_node "$T/p"
menu f u
expect_trace "Unload p" '^layout 3 '
node_at "$T/c2"
expect_eq "without p, c2 is a plain root" "0 0" "$NCIRC $NGRAPH"
EOF

test_done
