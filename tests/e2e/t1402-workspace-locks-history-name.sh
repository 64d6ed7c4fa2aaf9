#!/usr/bin/env bash
# Looking after one workspace with the workspace command: the locks left by
# dead commands are listed and removed (only those chosen, only after a yes
# or with -f), the history log is printed whole or filtered by command and
# user as the history viewer filters, and the short name is set and shown
# without losing the description beside it.
. "$TEST_LIB"
e2e_start

user=$(id -un)
workspace create "$T/w" >/dev/null || fail "create"

test_case "dead commands' locks are listed, and only the chosen go, after a yes or with -f" <<'EOF'
run workspace locks -w "$T/w"
expect_eq "none" "Workspace \"$T/w\" has no locks" "$OUT"
old=$(( $(date +%s) - 2 * 86400 - 3600 ))
write_lock="write putback 11 elsewhere someone $old"
read_lock="read bringover 12 nearby other $old"
printf 'VERSION 1\n%s\n%s\n' "$write_lock" "$read_lock" >w/Brindle_wsdata/locks
shown="1)     User someone has been running a putback command (pid 11)
        on elsewhere for 2 days, 1 hours, 0 minutes
2)     User other has been running a bringover command (pid 12)
        on nearby for 2 days, 1 hours, 0 minutes"
run workspace locks -w "$T/w"
expect_eq "numbered" "$shown" "$OUT"

refused "workspace: Workspace \"$T/w\" has no lock 3  (Error 2084)" workspace locks -w "$T/w" -f -r 2 -r 3
expect_run 1 sh -c "echo no | workspace locks -w '$T/w' -r 1"
expect_contains "asked with a warning" "1)     User someone has been running a putback command (pid 11)
        on elsewhere for 2 days, 1 hours, 0 minutes
Removing a command's lock while the command is running may
corrupt SCCS files in either the parent or the child workspace.
Do you still want to remove locks ? [y/n] No locks removed" "$OUT"
expect_eq "both stay" "$write_lock
$read_lock" "$(md_lines w/Brindle_wsdata/locks)"
expect_run 0 sh -c "echo y | workspace locks -w '$T/w' -r 1"
expect_eq "only the chosen one goes" "$read_lock" "$(md_lines w/Brindle_wsdata/locks)"
run workspace locks -w "$T/w" -f -r 1
expect_eq "none left" "" "$(md_lines w/Brindle_wsdata/locks)"
EOF

test_case 'the history log whole, and filtered by command and user' <<'EOF'
freezept create -w "$T/w" -k "$T/fp" -c "before" >/dev/null || fail "freezept"
log=$(md_lines w/Brindle_wsdata/history)
run workspace history -w "$T/w"
expect_eq "the whole log" "$log" "$OUT"
# The records of one command, cut from the log by their COMMAND lines.
records_of() { printf '%s\n' "$log" | awk -v c="$1" '/^COMMAND /{keep = ($2 ~ c)} keep'; }
expect_contains "the first removal is recorded" "-r 1 
removed lock: $write_lock
CWD $T" "$(records_of workspace)"
expect_contains "the second too" "-f -r 1 
removed lock: $read_lock
CWD $T" "$(records_of workspace)"
while IFS='|' read -r args want; do
  eval "run workspace history -w \"\$T/w\" $args"
  expect_eq "filter $args" "$(records_of "$want")" "$OUT"
done <<ROWS
-c WORK|workspace
-c freezept|freezept
-c work -u $user|workspace
ROWS
expect_eq "one freezept record" 1 "$(records_of freezept | grep -c '^COMMAND')"
run workspace history -w "$T/w" -u "not-$user"
expect_eq "nobody else" "" "$OUT"
EOF

test_case 'the short name is set, shown and removed beside the description' <<'EOF'
printf 'VERSION 1\nDESCRIPTION\nthe integration area\n' >w/Brindle_wsdata/description
run workspace name -w "$T/w"
expect_eq "no name yet" "" "$OUT"
run workspace name -w "$T/w" "gate 7"
run workspace name -w "$T/w"
expect_eq "shown" "gate 7" "$OUT"
expect_eq "the description stays" "NAME
gate 7
DESCRIPTION
the integration area" "$(md_lines w/Brindle_wsdata/description)"
run workspace name -w "$T/w" "two
lines"
expect_exit 1
expect_eq "why" "workspace: A workspace name can't hold a newline  (Error 2070)" "$ERR"
run workspace name -w "$T/w" ""
expect_eq "name removed" "DESCRIPTION
the integration area" "$(md_lines w/Brindle_wsdata/description)"
EOF

test_case "an unknown subcommand gets the command's usage, a bad option its subcommand's" <<'EOF'
expect_run 1 workspace frobnicate
expect_contains "usage" "Usage: workspace [ws_subcommand ...]
	workspace create ws ..." "$ERR"
run workspace locks -w "$T/w" -r x
expect_eq "one subcommand's usage" "Usage: workspace locks [-w ws] [-f] [[-r n]...]" "$ERR"
EOF

test_done
