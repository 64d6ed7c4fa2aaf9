#!/usr/bin/env bash
# Conflicts that real bringovers left, settled in brindletool's resolve pane,
# on a private message bus and off it, with the settings changed while the pane
# is up, checked-out and binary files among them.  A stub three-way tool stands
# in for the human; a real putback carries the resolutions; CSSC judges.
. "$GUI_LIB"
GUI_SCREEN=1280x1024x24 gui_start
cd "$T" || die "no scratch"
make_ws parent
files="a-child b-parent c-merge d-checkout g-checkout h-direct"
for f in $files; do sccs_new parent "src/$f.c" "$(printf 'one\ntwo\nthree')" || die "setup of $f"; done
(cd parent/src && printf 'one\n' >e-binary.dat && admin -b -ie-binary.dat -y'first version of src/e-binary.dat' SCCS/s.e-binary.dat &&
  rm e-binary.dat) >/dev/null 2>&1 || die "the binary file"
for ws in child child2; do
  bringover -p "$T/parent" -w "$T/$ws" src >/dev/null 2>&1 || die "the $ws"
done
child_text=$(printf 'child\none\ntwo\nthree') parent_text=$(printf 'one\ntwo\nthree\nparent')
merged_text="$child_text
merged by hand"
edit_both() {  # edit_both CHILD FILE...
  local ws=$1 f
  shift
  for f; do
    sccs_edit parent "src/$f" "$parent_text" "parent's $f" &&
      sccs_edit "$ws" "src/$f" "$child_text" "child's $f" || die "edits of $f"
  done
}
edit_both child a-child.c b-parent.c c-merge.c d-checkout.c e-binary.dat
edit_both child2 g-checkout.c h-direct.c
for ws in child child2; do
  run bringover -w "$T/$ws" src
  [ "$STATUS" = 4 ] || die "the bringover that makes the conflicts in $ws: $OUT $ERR"
done
# The user has two of them checked out.
(cd child/src && get -e SCCS/s.d-checkout.c && cd ../../child2/src && get -e SCCS/s.g-checkout.c) >/dev/null 2>&1 ||
  die "the check-outs"
mkdir -p "$T/home" && printf '# one file at a time\nset noautoadvance\nset checkin_comments\n' >"$T/home/.brindle_resrc"

private_bus
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

test_case 'on the bus: comments, settings changed on the fly, one reused twinpane, a binary file; then a putback' <<'EOF'
click_node "$T/child"
choose a r
expect_trace "five files in conflict" '^trans conflicts 5$'
expect_trace "the first taken up" '^resolve file src/a-child.c$'
expect_trace "counted" '^trans status 5 of 5 files unresolved$'
shot resolve-pane
mark
click trans_resolve_child_btn
opened checkin_comment_dlg
press checkin_comment_dlg.checkin_comment
xdotool key ctrl+End && xdotool type --delay 5 'and a line of mine'
shot resolve-checkin-comment
press checkin_comment_dlg.ok
expect_trace "the child's version" '^resolve accepted child: src/a-child.c$'
expect_trace "one fewer" '^trans status 4 of 5 files unresolved$'
row_of_list 1
expect_trace "the user picks the next" '^resolve file src/b-parent.c$'
expect_eq "and only the user: no going on by itself" 1 "$(tail -n +$((MARK + 1)) "$TR" | grep -c '^resolve file')"
click trans_resolve_parent_btn
expect_trace "the parent's version, with no comment asked" '^resolve accepted parent: src/b-parent.c$'
open_dialog bw_props_shell o w
press bw_props_shell.category_resolve
expect_trace "the resolve page" '^page bw_props_shell resolve_page$'
for t in autoadvance checkin_comments reuse_twinpane; do press "bw_props_shell.$t"; done
press bw_props_shell.ok
expect_trace "saved" '^footer bw_props_shell Resolve props saved to '
mark
row_of_list 1
expect_trace "picked" '^resolve file src/c-merge.c$'
click trans_resolve_merge_btn
expect_trace "twinpane announces itself" '^resolve message Oakline_Twinpane_Started$'
expect_trace "merged, no comment asked now" '^resolve merged: src/c-merge.c$'
expect_trace "the pane goes on by itself" '^resolve file src/d-checkout.c$'
opened checked_out_file_dlg
press checked_out_file_dlg.checked_out_comment
xdotool type --delay 5 'checked in from the pane'
shot resolve-checked-out
press checked_out_file_dlg.check_in
expect_trace "checked in, then merged in the same twinpane" '^resolve merged: src/d-checkout.c$'
expect_trace "the binary file" '^resolve file src/e-binary.dat$'
expect_trace "is offered the two versions" '^dialog Lathe Weaving:: Binary File: File is binary\.'
expect_trace "and twinpane is told to go" '^resolve message Oakline_Twinpane_Quitted$'
dialog_ok "Lathe Weaving:: Binary File"
expect_trace "the child's binary version" '^resolve accepted child: src/e-binary.dat$'
expect_trace "all done" '^trans status Resolve completed$'
shot resolve-pane-done
expect_eq "reused: the Load went out first, and twinpane started only when none took it" \
  "resolve message sent Oakline_Twinpane_Load" "$(grep -E '^resolve (message sent|tool started)' "$TR" | head -n1)"
expect_eq "one twinpane served both merges" 1 "$(grep -c '^resolve tool started' "$TR")"
expect_eq "no conflicts left" "" "$(md_lines child/Brindle_wsdata/conflicts)"
expect_eq "the user's comment, kept whole" "Accepted child's version in workspace \"$T/child\".
and a line of mine" "$(cd child/src && prs -r -d':C:' SCCS/s.a-child.c)"
expect_contains "the check-in of the checked-out file" "checked in from the pane" \
  "$(cd child/src && prs -e -d':C:' SCCS/s.d-checkout.c)"
got=; for f in a-child.c b-parent.c c-merge.c d-checkout.c e-binary.dat; do got+="$(sccs_text child "src/$f")|"; done
expect_eq "child, parent, the stub's merges, the binary child" \
  "$child_text|$parent_text|$merged_text|$merged_text|$child_text|" "$got"
expect_eq "each resolution in the history log" \
  "accepted child: src/a-child.c|accepted parent: src/b-parent.c|merged: src/c-merge.c|merged: src/d-checkout.c|accepted child: src/e-binary.dat" \
  "$(grep -oE '(accepted (child|parent)|merged): src/[a-z.-]+' child/Brindle_wsdata/history | paste -sd '|')"
expect_eq "no temporary files or check-outs left" "" \
  "$(find child/src -type f ! -name 's.*' ! -name '*.c' ! -name '*.dat')"
expect_run 0 putback -w "$T/child" -c 'resolved in the pane' src
for f in a-child.c b-parent.c c-merge.c d-checkout.c e-binary.dat; do
  sccs_sound child "src/$f" || fail "val of the child's $f"
  sccs_sound parent "src/$f" || fail "val of the parent's $f"
  expect_eq "$f in the parent" "$(sccs_text child "src/$f")" "$(sccs_text parent "src/$f")"
done
EOF

test_case 'off the bus: twinpane per file decides by its exit status; a checked-out file skipped, then unchecked out' <<'EOF'
tool_stop
BRINDLE_NO_HAILWAY=1 tool_start "$T/child2"
expect_trace "the tool is up" '^footer left 1 workspace loaded$'
click_node "$T/child2"
choose a r
expect_trace "two files in conflict" '^trans conflicts 2$'
expect_trace "the checked-out one first" '^resolve file src/g-checkout.c$'
mark
click trans_resolve_merge_btn
opened checked_out_file_dlg
press checked_out_file_dlg.skip
expect_trace "skipped to the next" '^resolve file src/h-direct.c$'
expect_trace "twinpane decided by exit status" '^resolve tool exit 48$'
expect_trace "merged" '^resolve merged: src/h-direct.c$'
expect_trace "back to the skipped one" '^resolve file src/g-checkout.c$' 2
expect_trace "asked again" '^mapped checked_out_file_dlg$' 2
press checked_out_file_dlg.uncheck_out
expect_trace "merged after the uncheck out" '^resolve merged: src/g-checkout.c$'
expect_trace "all done" '^trans status Resolve completed$'
expect_eq "nothing went over the bus" 0 "$(grep -c '^resolve message\|^hailway joined' "$TR")"
expect_eq "no conflicts left" "" "$(md_lines child2/Brindle_wsdata/conflicts)"
expect_no_file child2/src/SCCS/p.g-checkout.c
for f in g-checkout h-direct; do
  sccs_sound child2 "src/$f.c" || fail "val of $f"
  expect_eq "the stub's merge of $f" "$merged_text" "$(sccs_text child2 src/$f.c)"
done
EOF
tool_stop
test_done
