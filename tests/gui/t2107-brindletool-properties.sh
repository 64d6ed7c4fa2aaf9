#!/usr/bin/env bash
# Properties edited in brindletool and seen on disk: the tool's own settings in
# .brindletoolrc and the resolve settings in .brindle_resrc, taken again by a
# new start, and each page of a workspace's properties written into its
# metadata file; unwritable or malformed files are told and the tool runs on.
. "$GUI_LIB"
gui_start
export BRINDLE_NO_HAILWAY=1
make_forest
rc=$T/home/.brindletoolrc
md=$T/c1/Brindle_wsdata
tool_start p c1
expect_trace "the tool is up" '^footer left 2 workspaces loaded$'

test_case 'tool properties: refusals, then Apply writes .brindletoolrc and a new start takes it' <<'EOF'
open_dialog bw_props_shell o w
press bw_props_shell.dbl_click_other
press bw_props_shell.apply
expect_trace "an empty Other: is refused" \
  '^footer bw_props_shell Workspace Double Click action should contain a valid command\.$'
expect_no_file "$rc"
fill bw_props_shell.dbl_other 'printenv BRINDLE_CURR_ITEM'
press bw_props_shell.orientation_horizontal
shot tool-props
press bw_props_shell.apply
expect_trace "saved" "^footer bw_props_shell Tool props saved to $rc\$"
expect_trace "the canvas follows" '^layout 2 horizontal$'
press bw_props_shell.category_history_viewer
expect_trace "the history viewer's page" '^page bw_props_shell history_page$'
# Release is off already: the others off leave no column.
for i in 0 1 2 3 5; do press bw_props_shell.show_$i; done
press bw_props_shell.ok
expect_trace "no column at all is refused" \
  '^footer bw_props_shell History Viewer Properties not saved$'
press bw_props_shell.cancel
expect_eq "what the file holds" \
  "brindletool.history_viewer_show_time:	True
brindletool.normal_double_click:	printenv BRINDLE_CURR_ITEM
brindletool.orientation:	Horizontal" \
  "$(grep -E 'normal_double|orientation|show_time' "$rc" | sort)"
tool_stop
tool_start p c1
expect_trace "a new start takes the saved orientation" '^layout 2 horizontal$'
EOF

test_case 'the Resolve page writes .brindle_resrc; a new start takes it; a bad one is told' <<'EOF'
rs=$T/home/.brindle_resrc
resolve_page() {
  open_dialog bw_props_shell o w
  press bw_props_shell.category_resolve
  expect_trace "the resolve page" '^page bw_props_shell resolve_page$'
}
resolve_page
press bw_props_shell.autoadvance
press bw_props_shell.checkin_comments
shot tool-props-resolve
press bw_props_shell.apply
expect_trace "saved" "^footer bw_props_shell Resolve props saved to $rs\$"
expect_eq "one line a setting, in order, byte for byte" "" \
  "$(printf 'set %s\n' nostart_twinpane noautoadvance checkin_comments noreuse_twinpane noautosave | cmp - "$rs" 2>&1)"
press bw_props_shell.cancel
tool_stop
tool_start p c1
resolve_page
press bw_props_shell.reuse_twinpane
press bw_props_shell.ok
expect_trace "saved again" "^footer bw_props_shell Resolve props saved to $rs\$"
expect_eq "the new start had the saved settings, byte for byte" "" \
  "$(printf 'set %s\n' nostart_twinpane noautoadvance checkin_comments reuse_twinpane noautosave | cmp - "$rs" 2>&1)"
tool_stop
printf 'set autosave\nset reuse_twinpane\ngarbage here\n' >"$rs" && cp "$rs" "$T/rs.bad"
tool_start p c1
expect_trace "the bad line is told" \
  "^dialog Error Dialog: Attempt to read resolve properties file \\($rs\\) resulted in the following error: .*Can't parse line in file .*: garbage here"
dialog_ok "Error Dialog"
expect_trace "the tool runs on" '^footer left 2 workspaces loaded$'
expect_eq "the bad file is left as it was" "" "$(cmp "$rs" "$T/rs.bad" 2>&1)"
resolve_page
press bw_props_shell.apply
expect_trace "saved over it" "^footer bw_props_shell Resolve props saved to $rs\$"
expect_eq "the defaults stood, not the lines before the bad one, byte for byte" "" \
  "$(printf 'set %s\n' nostart_twinpane autoadvance nocheckin_comments noreuse_twinpane noautosave | cmp - "$rs" 2>&1)"
rm "$rs" && mkdir "$rs"
press bw_props_shell.apply
error_told "an unwritable .brindle_resrc" 'Attempt to write resolve props resulted in the following error: '
expect_eq "nothing left beside it" "" "$(ls -a "$T/home" | grep 'brindle_resrc\.')"
rmdir "$rs"
press bw_props_shell.cancel
EOF

test_case 'each workspace page is written to its file and read back on a reload' <<'EOF'
click_node "$T/c1"
open_dialog ws_props_shell w o
# Access control: a user that exists, then one that does not.
pick_item ws_props_shell.access_list 1
fill ws_props_shell.access_entry "root -daemon"
press ws_props_shell.access_edit
fill ws_props_shell.access_entry "root nosuchuser9"
press ws_props_shell.access_edit
expect_trace "an unknown user" '^footer ws_props_shell The user: nosuchuser9 does not exist\.$'
shot ws-props-access
press ws_props_shell.apply
expect_trace "access saved" "^footer ws_props_shell Access entries saved to $md/access_control\$"
expect_eq "the file's entry" 1 "$(grep -cE '^bringover-from[[:space:]]+root:-daemon$' "$md/access_control")"
# Description.
press ws_props_shell.tabs_description
expect_trace "the description page" '^page ws_props_shell description_page$'
fill ws_props_shell.desc_name "release-2"
press ws_props_shell.desc_text
xdotool type 'the second release'
press ws_props_shell.apply
expect_trace "description saved" "^footer ws_props_shell Workspace description saved to $md/description\$"
expect_eq "the description file" "VERSION 1
NAME
release-2
DESCRIPTION
the second release" "$(cat "$md/description")"
# Putback validation.
press ws_props_shell.tabs_putback_validation
expect_trace "the validation page" '^page ws_props_shell pbval_page$'
press ws_props_shell.pbval_on_on
press ws_props_shell.pbval_auto_approved_by_validation_program
fill ws_props_shell.pbval_prog /bin/true
press ws_props_shell.apply
expect_trace "validation saved" "^footer ws_props_shell Putback validation properties saved to $md/putback_validation\$"
expect_eq "its settings" "putback-validation on|auto-approved no|validation-program /bin/true" \
  "$(grep -E '^(putback-validation|auto-approved|validation-program)' "$md/putback_validation" | tr -s ' ' | paste -sd'|')"
# Notification.
press ws_props_shell.tabs_notification
expect_trace "the notification page" '^page ws_props_shell notify_page$'
fill ws_props_shell.notify_addr "root@localhost"
fill ws_props_shell.notify_events "putback-to bringover-to"
fill ws_props_shell.notify_files "src/nosuch.c"
press ws_props_shell.notify_create
expect_trace "a file that is not there" '^footer ws_props_shell The file: src/nosuch\.c does not exist\.$'
fill ws_props_shell.notify_files ""
press ws_props_shell.notify_create
press ws_props_shell.apply
expect_trace "notification saved" "^footer ws_props_shell Notification entries saved to $md/notification\$"
expect_eq "the entry" 1 "$(grep -c '^root@localhost putback-to bringover-to$' "$md/notification")"
# Freezepointing.
press ws_props_shell.tabs_freezepointing
expect_trace "the freezepoint page" '^page ws_props_shell autofr_page$'
press ws_props_shell.autofr_1_yes
press ws_props_shell.ok
expect_trace "freezepoints saved" "^footer ws_props_shell Autofreezepoint properties saved to $md/freezept_control\$"
expect_eq "after_bringover yes, the rest no" "after_bringover yes|7 no" \
  "$(grep -E '^after_bringover' "$md/freezept_control" | tr -s ' ')|$(grep -cE '^(before|after)_[a-z]+ +no$' "$md/freezept_control") no"
EOF

test_case 'a reload shows what the files hold; unwritable files are told and change nothing' <<'EOF'
tool_stop
printf 'VERSION 1\nNAME\nfrom-outside\n' >"$md/description"
rm "$rc" && mkdir "$rc"
tool_start p c1
error_told "an unreadable .brindletoolrc" "Could not open tool properties file"
expect_trace "the tool runs on" '^footer left 2 workspaces loaded$'
click_node "$T/c1"
open_dialog ws_props_shell w o
press ws_props_shell.tabs_description
expect_trace "the page" '^page ws_props_shell description_page$'
expect_trace "the name as the file has it now" '^text desc_name from-outside$'
rm "$md/description" && mkdir "$md/description"
fill ws_props_shell.desc_name "lost"
press ws_props_shell.apply
error_told "an unwritable description" ''
expect_trace "the failure" "^footer ws_props_shell Writing of descriptive workspace name to $md/description failed\$"
rmdir "$md/description"
press ws_props_shell.cancel
open_dialog bw_props_shell o w
press bw_props_shell.apply
error_told "an unwritable .brindletoolrc" "Unable to write into file $rc\.\\\\nPlease check permission bits of this file\.\$"
expect_trace "the page is not saved" '^footer left Lathe Weaving Properties not saved$'
expect_eq "nothing left beside it" "" "$(ls -a "$T/home" | grep 'brindletoolrc\.')"
rmdir "$rc"
EOF

test_case 'Help opens our pages in the browser; About tells the version' <<'EOF'
# The browser is where a human would sit: a stand-in notes the page it gets.
mkdir -p "$T/browser"
printf '#!/bin/sh\necho "$1" >>%s/pages\n' "$T" >"$T/browser/xdg-open"
chmod +x "$T/browser/xdg-open"
tool_stop
PATH="$T/browser:$PATH" tool_start p
expect_trace "the tool is up" '^footer left 1 workspace loaded$'
menu h o
wait_for "the contents page" test -s "$T/pages"
menu o w
opened bw_props_shell
press bw_props_shell.help
wait_for "the page of the dialog" test "$(wc -l <"$T/pages")" = 2
expect_eq "the pages asked for" "index.html props.html" "$(xargs -n1 basename <"$T/pages" | paste -sd' ')"
while read -r page; do
  expect_contains "a page of ours: $page" "<title>Brindletool: " "$(cat "$page")"
done <"$T/pages"
press bw_props_shell.cancel
menu h a
expect_trace "About" '^dialog About Brindletool: Brindletool 1\.0\\n'
shot about
dialog_ok "About Brindletool"
EOF

test_done
