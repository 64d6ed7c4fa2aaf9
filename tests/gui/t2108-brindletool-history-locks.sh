#!/usr/bin/env bash
# A long history log browsed, filtered and searched in brindletool's history
# viewer, a damaged log told in a dialog; and a stale command lock that keeps a
# bringover out, removed in the locks editor so that the bringover then runs.
. "$GUI_LIB"
gui_start
export BRINDLE_NO_HAILWAY=1
make_forest
log=$T/c1/Brindle_wsdata/history
# 300 more records in the log's own format: every third a putback blocked (2),
# users alternating, one comment holding the needle.
for i in $(seq 1 300); do
  case $((i % 3)) in 0) op=putback st=2 ;; 1) op=bringover st=0 ;; 2) op=freezept st=1 ;; esac
  user=alice; [ $((i % 2)) = 0 ] && user=bob
  comment="routine change $i"; [ "$i" = 150 ] && comment="fix the needle-42 crash"
  printf 'COMMAND /usr/bin/%s -w %s\nBEGIN COMMENT\n%s\nEND COMMENT\nCWD %s\nRELEASE 6.02\nHOST h%d\nUSER %s\nSTART (Mon Jan  1 10:%02d:00 2024 UTC) (x)\nSTATUS %s\n' \
    "$op" "$T/c1" "$comment" "$T/c1" $((i % 4)) "$user" $((i % 60)) "$st"
done >>"$log"
records=$(grep -c '^COMMAND' "$log")
tool_start p c1 c2
expect_trace "the tool is up" '^footer left 3 workspaces loaded$'

test_case 'the whole log, a filter by user and status, and a search in the comments' <<'EOF'
click_node "$T/c1"
open_dialog browser_dlg w v
expect_trace "every record" "^footer browser_dlg $records entries selected\.\$"
expect_trace "the latest is shown first" "^history selected $records\$"
shot history
press browser_dlg.filter_tgl_1
fill browser_dlg.filter_value_1 bob
press browser_dlg.filter_tgl_4
fill browser_dlg.filter_value_4 Blocked
mark
press browser_dlg.apply_filter_btn
expect_trace "bob's blocked putbacks: every sixth" '^footer browser_dlg 50 entries selected\.$'
expect_eq "each line is one" 50 "$(tail -n +$((MARK + 1)) "$TR" | grep -cE '^entry .* putback +bob +h[0-3] +Blocked')"
press browser_dlg.filter_tgl_1
press browser_dlg.filter_tgl_4
press browser_dlg.apply_filter_btn
press browser_dlg.find_cmt_btn
opened findcmt_dlg
fill findcmt_dlg.find_string needle-42
mark
press findcmt_dlg.find_next
expect_trace "the record that holds it" "^history selected $((records - 300 + 150))\$"
expect_trace "the text selected in it" "^found $((records - 300 + 150)) 8\$"
press findcmt_dlg.cancel
press browser_dlg.close
EOF

test_case 'a damaged log is told in a dialog, and the viewer stays empty' <<'EOF'
sed -i '1s/.*/VERSION 9/' "$T/c2/Brindle_wsdata/history"
click_node "$T/c2"
choose w v
expect_trace "the error" '^dialog Error: .*Version mismatch'
dialog_ok Error
expect_trace "no entries" '^caption Time'
expect_eq "no record listed" 0 "$(tail -n +$((MARK + 1)) "$TR" | grep -c '^entry ')"
press browser_dlg.close
EOF

test_case 'a stale lock refuses a bringover; removed in the editor, the bringover runs' <<'EOF'
printf 'write bringover 999999 elsewhere root %s\n' "$(date +%s)" >>"$T/c1/Brindle_wsdata/locks"
expect_run 1 "$BRINDLE_BIN/bringover" -p "$T/p" -w "$T/c1" src  # the lock keeps the bringover out
expect_contains "the refusal names the lock's command" "bringover" "$OUT$ERR"
click_node "$T/c1"
open_dialog edit_locks_dlg w l
expect_trace "the lock" '^lock write +bringover +999999 +root +elsewhere '
expect_trace "counted" '^footer edit_locks_dlg 1 lock selected\.$'
pick_item edit_locks_dlg.locks_list 1
press edit_locks_dlg.delete
expect_trace "marked, not yet removed" '^footer edit_locks_dlg 1 of 1 locks deleted\.$'
expect_eq "the file still holds it" 1 "$(md_lines "$T/c1/Brindle_wsdata/locks" | wc -l)"
shot edit-locks
press edit_locks_dlg.apply
expect_trace "the warning" '^dialog Warning: Removing a command.s lock'
dialog_ok Warning
expect_trace "removed" '^footer edit_locks_dlg 1 of 1 locks removed\.$'
expect_eq "the file is empty" 0 "$(md_lines "$T/c1/Brindle_wsdata/locks" | wc -l)"
expect_run 0 "$BRINDLE_BIN/bringover" -p "$T/p" -w "$T/c1" src  # the bringover runs
EOF

test_done
