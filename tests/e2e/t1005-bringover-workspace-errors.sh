#!/usr/bin/env bash
# Every way the workspaces of a bringover can be wrong, each with its code and
# text on standard error and the status 1, and the warnings on standard output
# that let the command go on.
. "$TEST_LIB"
e2e_start
make_ws parent
sccs_new parent f.c 'f'
expect_run 0 bringover -p "$T/parent" -w "$T/child" f.c
mkdir plain

test_case 'no workspace named anywhere, or -p naming none' <<'EOF'
refused "bringover: Must specify a workspace either with the -w option,
via the BRINDLE_WS environment variable,
or via the current working directory  (Error 2001)" sh -c 'cd plain && bringover f.c'
refused "bringover: \"$T/plain\" is not a workspace  (Error 2610)" bringover -p "$T/plain" -w "$T/child" f.c
refused "bringover: \"$T/nothing\" is not a workspace  (Error 2610)" bringover -p "$T/nothing" -w "$T/child" f.c
EOF

test_case 'a child without a parent, or whose parent is gone' <<'EOF'
make_ws orphan
refused "bringover: Workspace \"$T/orphan\" doesn't have a parent workspace  (Error 2004)" \
  bringover -w "$T/orphan" f.c
make_ws lost
printf 'VERSION 1\n%s\n' "$T/gone" >lost/Brindle_wsdata/parent
refused "bringover: \"$T/gone\" is not a workspace  (Error 2003)" bringover -w "$T/lost" f.c
EOF

test_case '-p other than the recorded parent warns and is the source this once' <<'EOF'
make_ws other
expect_run 0 bringover -p "$T/other" -w "$T/child" f.c
expect_contains "-p differs warning" "bringover: 
Parent defined with the option -p :
 \"$T/other\"
differs from native parent :
  \"$T/parent\" 
  (Warning 2020)" "$OUT"
expect_contains "-p workspace is the source" "Parent workspace: $T/other" "$OUT"
expect_eq "recorded parent kept" "VERSION 1
$(uname -n):$T/parent" "$(cat child/Brindle_wsdata/parent)"
EOF

test_case 'with putback validation on only putbacks may come in; a preview warns' <<'EOF'
printf 'VERSION 2\nputback-validation  on\n' >child/Brindle_wsdata/putback_validation
refused "bringover: Only putback to \"$T/child\" is currently allowed  (Error 2610)" bringover -w "$T/child" f.c
expect_run 0 bringover -n -w "$T/child" f.c
expect_contains "validation warning" "bringover: Only putback to \"$T/child\" is currently allowed  (Warning 2065)" "$OUT"
rm child/Brindle_wsdata/putback_validation
EOF

test_case "the child's own access file may refuse bringovers into it" <<'EOF'
cp child/Brindle_wsdata/access_control saved_access
sed -i "s/^bringover-to.*/bringover-to\t\t-$(id -un)/" child/Brindle_wsdata/access_control
refused "bringover: User $(id -un) does not have access to bringover to workspace \"$T/child\"  (Error 2065)" \
  bringover -w "$T/child" f.c
cp saved_access child/Brindle_wsdata/access_control
EOF

test_case 'bad options and unreadable comment and include files' <<'EOF'
refused "Usage: bringover [-w child_ws] [-p parent_ws] [-c comment] [-m comment_file]
	[[-f flp]...] [-n] [-g] [-q] [-v] [-d] [-B] [-C] [-i include_file] [-x exclude_file] [files and dirs]" \
  bringover -z -w "$T/child"
expect_eq "usage only on stderr" "" "$OUT"
expect_run 1 bringover -w
expect_contains "missing argument gives usage" "Usage: bringover " "$ERR"
refused "bringover: Open of comment file \"$T/no-comment\" for reading failed  (Error 1001) - No such file or directory  (System error 2)" \
  bringover -m "$T/no-comment" -w "$T/child" f.c
refused "bringover: Open of include file \"$T/no-list\" for reading failed  (Error 1001) - No such file or directory  (System error 2)" \
  bringover -i "$T/no-list" -w "$T/child"
expect_contains "the workspaces were known" "Child workspace:  $T/child" "$OUT"
EOF

test_done
