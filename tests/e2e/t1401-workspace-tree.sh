#!/usr/bin/env bash
# The workspace command builds and changes the tree of workspaces as the
# graphical tool drives it: create, parent, move (also onto another file
# system), delete and list, with names that hold blanks.  Operations that
# access control or a command lock forbid are refused with their exact texts
# and change nothing.
. "$TEST_LIB"
e2e_start
SHM=$(mktemp -d /dev/shm/brindle-e2e.XXXXXX) || { echo "SKIP: no /dev/shm"; exit 77; }
trap 'chmod -R u+rwx "$T" "$SHM" 2>/dev/null; rm -rf "$T" "$SHM"' EXIT

user=$(id -un)
host=$(uname -n)
# deny WS OPERATION: nobody may; allow WS OPERATION: everybody may.
deny() { sed -i "s/^$2\([[:space:]].*\)\{0,1\}\$/$2\t-/" "$1/Brindle_wsdata/access_control"; }
allow() { sed -i "s/^$2[[:space:]].*\$/$2/" "$1/Brindle_wsdata/access_control"; }

test_case 'create makes workspaces, and refuses nested and existing ones' <<'EOF'
expect_run 0 workspace create "$T/top" "$T/my child"
expect_eq "each path made is printed" "$T/top
$T/my child" "$OUT"
refused "workspace: Cannot create workspace \"$T/top/inner\" because
it would be nested within workspace \"$T/top\"  (Error 2063)
workspace: Workspace \"$T/top\" already exists  (Error 2015)" workspace create "$T/top/inner" "$T/top"
expect_no_file top/inner
EOF

test_case 'parent links the two both ways and logs it in the child' <<'EOF'
sccs_new "my child" "src dir/a b.c" 'alpha'
sccs_new "my child" main.c 'int main;'
expect_run 0 workspace parent -p "$T/top" "$T/my child"
expect_eq "silent" "" "$OUT$ERR"
run workspace parent "$T/my child"
expect_eq "the parent is shown" "$T/top" "$OUT"
expect_eq "the parent names its child" "$host:$T/my child" "$(md_lines top/Brindle_wsdata/children)"
run workspace history -w "$T/my child" -c workspace
expect_contains "recorded in the child" "COMMAND workspace parent -p $T/top $T/my child 
CWD $T" "$OUT"
expect_contains "with both workspaces" "PARENT_WORKSPACE  ($T/top) ($host:$T/top)
CHILD_WORKSPACE  ($T/my child) ($host:$T/my child)" "$OUT"
EOF

test_case 'what access control forbids is refused with its text and changes nothing' <<'EOF'
workspace create "$T/other" >/dev/null || fail "create other"
deny "my child" workspace-reparent
deny other workspace-reparent-to
deny "my child" workspace-delete
deny "my child" workspace-move
before=$(tree_sum . | grep -v access_control)
while IFS='|' read -r what words text; do
  eval "run workspace $words"
  expect_exit 1 "$what"
  expect_eq "$what" "workspace: User $user does not have access to $text  (Error 2065)" "$ERR"
done <<ROWS
unparent|parent -u "\$T/my child"|change the parent of workspace "$T/my child"
new parent|parent -f -p "\$T/other" "\$T/my child"|change the parent of workspace "$T/my child"
delete|delete -f "\$T/my child"|delete workspace "$T/my child"
move|move "\$T/my child" "\$T/moved"|move workspace "$T/my child"
ROWS
allow "my child" workspace-reparent
run workspace parent -p "$T/other" "$T/my child"
expect_eq "the new parent refuses" "workspace: User $user does not have access to change the parent to workspace \"$T/other\"  (Error 2065)" "$ERR"
expect_eq "refusals changed nothing" "$before" "$(tree_sum . | grep -v access_control)"
allow "my child" workspace-delete
allow "my child" workspace-move
EOF

test_case "a command's lock keeps delete and move out" <<'EOF'
now=$(date +%s)
printf 'VERSION 1\nread bringover 4242 elsewhere someone %s\n' "$now" >"my child/Brindle_wsdata/locks"
for words in "delete -f" "move"; do
  expect_run 1 workspace $words "$T/my child" "$T/moved"
  expect_eq "$words names the lock" "workspace: Cannot obtain a write lock in workspace \"$T/my child\"
because it has the following locks:
    User someone has been running a bringover command (pid 4242)
        on elsewhere for 0 minutes
  (Error 2021)" "$(printf '%s\n' "$ERR" | head -5)"
done
expect_file "my child/SCCS/s.main.c"
expect_no_file moved
printf 'VERSION 1\n' >"my child/Brindle_wsdata/locks"
EOF

test_case 'list shows each workspace once with its status, and follows BRINDLE_WSPATH' <<'EOF'
printf 'VERSION 1\nwrite putback 1 elsewhere someone %s\n' "$now" >other/Brindle_wsdata/locks
printf 'VERSION 1\nsrc dir/a b.c\n' >"my child/Brindle_wsdata/conflicts"
mkdir -p plain/deeper
expect_run 1 workspace list "$T" "$T/my child/src dir" "$T/nowhere" "$T/plain"
expect_eq "each workspace once, with its status" "C$T/my child
L$T/other
 $T/top" "$OUT"
expect_eq "the bad name" "workspace: \"$T/nowhere\" is not a workspace or a directory  (Error 2041)" "$ERR"
run env BRINDLE_WSPATH="$T/top::$T/other" workspace list
expect_eq "the tool's path" " $T/top
L$T/other" "$OUT"
printf 'VERSION 1\n' >other/Brindle_wsdata/locks
EOF

test_case 'a move onto another file system keeps histories, links, locks and conflicts' <<'EOF'
if [ "$(stat -c %d "$T")" = "$(stat -c %d "$SHM")" ]; then
  echo "NOTE: $SHM is on the file system of $T: the copying move is not exercised"
fi
text_a=$(sccs_text "my child" "src dir/a b.c")
expect_run 0 workspace move "$T/my child" "$SHM/moved child"
expect_eq "silent" "" "$OUT$ERR"
expect_no_file "my child"
new="$SHM/moved child"
sccs_sound "$new" "src dir/a b.c" || fail "history sound after the copy"
sccs_sound "$new" main.c || fail "second history sound"
expect_eq "same text" "$text_a" "$(sccs_text "$new" "src dir/a b.c")"
expect_eq "the parent follows" "$host:$new" "$(md_lines top/Brindle_wsdata/children)"
run workspace parent "$new"
expect_eq "the child keeps its parent" "$T/top" "$OUT"
expect_file "$new/Brindle_wsdata/locks"
expect_eq "the move's lock is released there" "" "$(md_lines "$new/Brindle_wsdata/locks")"
expect_eq "conflicts came along" "src dir/a b.c" "$(md_lines "$new/Brindle_wsdata/conflicts")"
run workspace history -w "$new" -c workspace
expect_contains "the move is in the moved log" "COMMAND workspace move $T/my child $new " "$OUT"
EOF

test_case 'delete asks first, takes only the metadata with -d, and names a missing workspace' <<'EOF'
expect_run 1 sh -c "echo n | workspace delete '$new'"
expect_eq "asked" "Delete workspace \"$new\" with all its files? [y/n] Workspace \"$new\" not deleted" "$OUT"
expect_file "$new/Brindle_wsdata"
expect_run 0 sh -c "echo y | workspace delete -d '$new'"
expect_no_file "$new/Brindle_wsdata"
sccs_sound "$new" main.c || fail "sources stay"
expect_eq "the parent forgot it" "" "$(md_lines top/Brindle_wsdata/children)"
expect_run 1 workspace delete -f "$T/top" "$T/nowhere"
expect_no_file top
expect_eq "the missing one" "workspace: Workspace \"$T/nowhere\" does not exist  (Error 2016)" "$ERR"
EOF

test_done
