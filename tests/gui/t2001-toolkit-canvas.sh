#!/usr/bin/env bash
# The toolkit's canvas on a real X server: a tree of icons is drawn with its
# pictures' symbolic colours, objects under the pointer are selected (through a
# hidden object, and despite a small wiggle), double clicked, caught by a rubber
# band, dragged onto another icon, which relinks and reflows the tree, repainted
# after being covered, and given their popup menu.
. "$GUI_LIB"
gui_start
TR=$T/trace
run_bg "$BRINDLE_BIN/ss_canvas_driver" "$TR" "$GUI_DATA/ss_node.xpm"
expect_trace "the driver's first layout" '^positions$'
WIN=$(xdotool search --sync --name 'ss canvas driver' | head -n1)

# at NAME: X Y W H of the icon in the last positions, and the middle of its
# picture (32x32, centred above the label) in PX PY.
at() {
  read -r X Y W H < <(grep "^at $1 " "$TR" | tail -n1 | cut -d' ' -f3-)
  [ -n "$H" ] || die "no position for $1"
  PX=$((X + W / 2))
  PY=$((Y + 16))
}
# pixel FILE X Y: the colour there, as #RRGGBB.
pixel() {
  convert "$1" -crop "1x1+$2+$3" -depth 8 txt:- | grep -o '#[0-9A-F]\{6\}' | head -n1
}

test_case 'a click with a wiggle inside the drag threshold selects' <<'EOF'
at left
xdotool mousemove "$PX" "$PY" mousedown 1 mousemove_relative 3 3 mouseup 1
expect_trace "left selected" '^selected left$'
EOF

test_case 'a hidden object lets the click through' <<'EOF'
at right  # the hidden ghost lies on top of it
xdotool mousemove "$PX" "$PY" click 1
expect_trace "right selected" '^selected right$'
EOF

test_case 'a double click and keys reach the object under the pointer' <<'EOF'
at top
xdotool mousemove "$PX" "$PY" click --repeat 2 --delay 150 1
expect_trace "the double click" '^dblclick top$'
xdotool key Delete
expect_trace "the key" '^key top Delete$'
EOF

test_case 'a rubber band selects what it encloses' <<'EOF'
# From the background round left and right, not reaching leaf.
at left
x0=$((X - 6)) y0=$((Y - 6))
at right
x1=$((X + W + 6)) y1=$((Y + H + 6))
xdotool mousemove "$x0" "$y0" mousedown 1 mousemove $((x0 + 20)) $((y0 + 10)) \
  mousemove "$x1" "$y1" mouseup 1
expect_trace "both selected" '^selected left right$'
EOF

test_case 'a drop links the dragged icon below its target and the tree reflows' <<'EOF'
at leaf
xdotool mousemove "$PX" "$PY" mousedown 1 mousemove_relative 12 12
at left
xdotool mousemove "$PX" "$PY" mouseup 1
expect_trace "the drop" '^drop leaf left$'
expect_trace "the new layout" '^positions$' 2
at left
lx=$X ly=$Y lw=$W lh=$H
at leaf
# The only child stands centred, depth + border + parent distance (4 + 24) lower.
expect_eq "leaf's column under left" "$((lx + lw / 2))" "$((X + W / 2))"
expect_eq "leaf's depth under left" "$((ly + lh + 28))" "$Y"
expect_eq "drops" 1 "$(grep -c '^drop ' "$TR")"
EOF

test_case 'pictures are drawn with their symbolic colours' <<'EOF'
# The card's fill as drawn; the picture's "none" corner in the paper colour on
# a plain icon and black on the selected (dragged) one.
shot canvas
at leaf
ix=$((X + (W - 32) / 2))
expect_eq "card fill" "#7FA7D9" "$(pixel "$T/canvas.png" $((ix + 8)) $((Y + 12)))"
expect_eq "selected corner" "#000000" "$(pixel "$T/canvas.png" $((ix + 1)) $((Y + 1)))"
at top
ix=$((X + (W - 32) / 2))
expect_eq "plain corner" "#D8D8D8" "$(pixel "$T/canvas.png" $((ix + 1)) $((Y + 1)))"
EOF

test_case 'an uncovered part is repainted as it was' <<'EOF'
shot before "$WIN"
run_bg xlogo -geometry 220x160+30+60
xdotool search --sync --class xlogo >/dev/null
kill "$LAST_PID"
expect_trace "the exposure" '^exposed ' 2
shot after "$WIN"
expect_eq "pixels that differ after the exposure" 0 \
  "$(compare -metric AE "$T/before.png" "$T/after.png" null: 2>&1)"
EOF

test_case 'a right press shows the popup menu and Escape takes it away' <<'EOF'
at top
xdotool mousemove "$PX" "$PY" click 3
expect_trace "the popup" '^popup$'
shot popup
xdotool key Escape
expect_trace "the popdown" '^popdown$'
EOF

test_done
