#!/usr/bin/env bash
# A newcomer makes a child of a parent that holds SCCS files: the child gets
# its metadata directory with the two default files, both workspaces record
# the link, the output names both, and every history comes over whole, the
# parent's gaining only the name history that any reader may write.
. "$TEST_LIB"
e2e_start

test_case 'a bringover from a parent of SCCS files makes the child and names both' <<'EOF'
make_ws parent
sccs_new parent src/main.c 'int main() { return 0; }'
sccs_new parent src/util.c 'int util;'
sccs_edit parent src/util.c 'int util = 1;' 'initialise util'
sccs_new parent README 'Read me.'
before=$(tree_sum parent)
umask 022
expect_run 0 bringover -p "$T/parent" -w "$T/child" src README
expect_eq "output of a create" "Parent workspace: $T/parent
Child workspace:  $T/child
Updating names in parent workspace's name table

cd $T/parent/src; $BRINDLE_BIN/def.dir.flp

Examined files: 3

Bringing over contents changes: 3

create: src/main.c
create: src/util.c
create: README

Examined files: 3

Contents Summary:
       3   create

Names Summary:
       3   update parent's name history
       3   update children's name history" "$OUT"
expect_eq "no errors" "" "$ERR"
expect_eq "the root gets the user's mask" 0755 "$(stat -c %04a child)"
EOF

test_case 'the child starts with the default access and notification files' <<'EOF'
user=$(id -un)
expected_access=$(
  printf 'VERSION 2\n'
  printf '#\n# A workspace'"'"'s access control file.\n# The format is:\n#\n#\toperation [values]\n#\t...\n#\n'
  printf '# where <operation> describes an operation and <values> is a colon (:),\n'
  printf '# comma(,), or space separated list of user and/or netgroup names.  A \n'
  printf '# value beginning with a "@" names a netgroup.\n#\n'
  printf '# The values are processed left to right.  If a username appears\n'
  printf '# in the value list or in a netgroup, then the user is granted\n'
  printf '# permission for that operation.  A username or netgroup name\n'
  printf '# beginning with a "-" is denied permission for that operation.\n'
  printf '# A value of just "-" denies everyone permission for that operation.\n'
  printf '# If there are no values, then all users are granted permission.\n'
  printf '#\n# The operations have the following meanings:\n'
  printf '#   bringover-from\t\tPermission for this workspace to be the parent\n'
  printf '#\t\t\t\tduring a bringover command\n'
  printf '#   bringover-to\t\tPermission for this workspace to be the child\n'
  printf '#\t\t\t\tduring a bringover command\n'
  printf '#   putback-from\t\tPermission for this workspace to be the child\n'
  printf '#\t\t\t\tduring a putback command\n'
  printf '#   putback-to\t\t\tPermission for this workspace to be the parent\n'
  printf '#\t\t\t\tduring a putback command\n'
  printf '#   undo\t\t\tPermission to undo a bringover or putback into\n'
  printf '#\t\t\t\tinto this workspace\n'
  printf '#   workspace-delete\t\tPermission to delete this workspace via the\n'
  printf '#\t\t\t\tworkspace delete command\n'
  printf '#   workspace-move\t\tPermission to move this workspace via the\n'
  printf '#\t\t\t\tworkspace move command\n'
  printf '#   workspace-reparent\t\tPermission to reparent this workspace via the\n'
  printf '#\t\t\t\tworkspace reparent command\n'
  printf '#   workspace-reparent-to\tPermission for this workspace to receive a new\n'
  printf '#\t\t\t\tchild workspace via th workspace reparent\n'
  printf '#\t\t\t\tcommand\n#\n\n'
  printf 'bringover-from\t\t\n'
  printf 'bringover-to\t\t%s\n' "$user"
  printf 'putback-from\t\t\n'
  printf 'putback-to\t\t\n'
  printf 'undo\t\t\t\n'
  printf 'workspace-delete\t%s\n' "$user"
  printf 'workspace-move\t\t%s\n' "$user"
  printf 'workspace-reparent\t%s\n' "$user"
  printf 'workspace-reparent-to\t\n'
  echo x
)
expect_eq "default access_control" "$expected_access" "$(cat child/Brindle_wsdata/access_control; echo x)"

expected_notification=$(
  printf 'VERSION 1\n'
  printf '#\n# A workspace'"'"'s notification file.\n#\n'
  printf '# Note: Because this file is edited manually, you may\n'
  printf '#       want to maintain it using SCCS.\n#\n'
  printf '# The format for each entry is:\n#\n'
  printf '#       email_address event ...\n#       BEGIN\n#       file1\n#       dir\n'
  printf '#       .\n#       .\n#       .\n#       END\n#\n'
  printf '# where <email_address> is the address to which the mail will be sent;\n'
  printf '# <event> is one of the following:\n'
  for e in bringover-from bringover-to putback-from putback-to undo workspace-delete \
           workspace-move workspace-reparent workspace-reparent-to; do
    printf '#       %s\n' "$e"
  done
  printf '#\n# The bringover, putback, and undo events can include a list of files and\n'
  printf '# directories to be associated with the event.  When a directory is listed,\n'
  printf '# all files hierarchically beneath it are registered.  The list must be\n'
  printf '# delimited by BEGIN and END statements.  To get registration for all files\n'
  printf '# in the workspace, use a list of ".", an empty list, or no list.\n#\n'
  printf '# The following is a sample notification file:\n#\n'
  printf '#       user1@host1 bringover-to\n#       BEGIN\n#       dir/foo.cc\n'
  printf '#       dir/bar.cc\n#       END\n#       user2@host2 bringover-to putback-to\n'
  printf '#       BEGIN\n#       .\n#       END\n#       user2@host2 workspace-move\n#\n\n'
  echo x
)
expect_eq "default notification" "$expected_notification" \
  "$(cat child/Brindle_wsdata/notification; echo x)"
EOF

test_case 'each side records the other by its network name, once' <<'EOF'
expect_eq "parent file" "VERSION 1
$(uname -n):$T/parent" "$(cat child/Brindle_wsdata/parent)"
expect_eq "children file" "VERSION 1
$(uname -n):$T/child" "$(cat parent/Brindle_wsdata/children)"
EOF

test_case "every history came over whole; the parent's only gained its name history" <<'EOF'
# Besides its list of children, history log, locks file and name table, only
# the parent's histories changed, by the name history each gained; their
# deltas and texts are those of before, and the child has the same.
expect_eq "parent's other files untouched" "$(printf '%s\n' "$before" | grep -v /s\.)" \
  "$(tree_sum parent | grep -v -e /s\. -e Brindle_wsdata/children -e Brindle_wsdata/history \
       -e Brindle_wsdata/locks -e Brindle_wsdata/nametable)"
for f in src/main.c src/util.c README; do
  for ws in parent child; do sccs_sound "$ws" "$f" || fail "val of $f in $ws"; done
  expect_eq "same text of $f" "$(sccs_text parent "$f")" "$(sccs_text child "$f")"
  expect_eq "same deltas of $f" "$(sccs_sids parent "$f")" "$(sccs_sids child "$f")"
done
expect_eq "parent history kept" "1.2 1.1 " "$(sccs_sids parent src/util.c)"
expect_eq "the clear files" "int main() { return 0; }" "$(cat child/src/main.c)"
EOF

test_case 'a second bringover is no create: the child keeps its one link' <<'EOF'
expect_run 0 bringover -p "$T/parent" -w "$T/child" src
expect_contains "nothing more" "No changes to bring over" "$OUT"
expect_eq "still one child line" 2 "$(wc -l <parent/Brindle_wsdata/children)"
EOF

test_done
