#!/usr/bin/env bash
# Every way the workspaces of a bringover can be wrong, each with its code and
# text on standard error and the status 1, and the warnings on standard
# output that let the command go on.
. "$E2E_LIB"
e2e_start

make_ws parent
sccs_new parent f.c 'f'
run bringover -p "$T/parent" -w "$T/child" f.c
expect_exit "setup: create child" 0

# No workspace named anywhere.
mkdir plain
run sh -c 'cd plain && bringover f.c'
expect_exit "no workspace" 1
expect_eq "no workspace" "bringover: Must specify a workspace either with the -w option,
via the BRINDLE_WS environment variable,
or via the current working directory  (Error 2001)" "$ERR"

# -p that names no workspace: a plain directory, and a path that is nothing.
run bringover -p "$T/plain" -w "$T/child" f.c
expect_exit "-p plain directory" 1
expect_eq "-p plain directory" "bringover: \"$T/plain\" is not a workspace  (Error 2610)" "$ERR"
run bringover -p "$T/nothing" -w "$T/child" f.c
expect_exit "-p missing" 1
expect_contains "-p missing" "is not a workspace  (Error 2610)" "$ERR"

# A child with no parent recorded, and one whose recorded parent is gone.
make_ws orphan
run bringover -w "$T/orphan" f.c
expect_exit "orphan" 1
expect_eq "orphan" "bringover: Workspace \"$T/orphan\" doesn't have a parent workspace  (Error 2004)" "$ERR"

make_ws lost
printf 'VERSION 1\n%s\n' "$T/gone" >lost/Brindle_wsdata/parent
run bringover -w "$T/lost" f.c
expect_exit "parent gone" 1
expect_eq "parent gone" "bringover: \"$T/gone\" is not a workspace  (Error 2003)" "$ERR"

# -p other than the recorded parent: a warning, and the -p workspace is the
# source this time without becoming the recorded parent.
make_ws other
run bringover -p "$T/other" -w "$T/child" f.c
expect_exit "-p differs" 0
expect_contains "-p differs warning" "bringover: 
Parent defined with the option -p :
 \"$T/other\"
differs from native parent :
  \"$T/parent\" 
  (Warning 2020)" "$OUT"
expect_contains "-p workspace is the source" "Parent workspace: $T/other" "$OUT"
expect_contains "recorded parent kept" "$T/parent" "$(cat child/Brindle_wsdata/parent)"
case "$(cat child/Brindle_wsdata/parent)" in
  *"$T/other"*) fail "-p was recorded as the parent" ;;
esac

# Putback validation on: only putbacks may come in; a preview only warns.
printf 'VERSION 2\nputback-validation  on\n' >child/Brindle_wsdata/putback_validation
run bringover -w "$T/child" f.c
expect_exit "validation on" 1
expect_eq "validation on" "bringover: Only putback to \"$T/child\" is currently allowed  (Error 2610)" "$ERR"
run bringover -n -w "$T/child" f.c
expect_exit "validation on, preview" 0
expect_contains "validation warning" "bringover: Only putback to \"$T/child\" is currently allowed  (Warning 2065)" "$OUT"
rm child/Brindle_wsdata/putback_validation

# The child's own access file may refuse bringovers into it.
cp child/Brindle_wsdata/access_control saved_access
sed -i "s/^bringover-to.*/bringover-to\t\t-$(id -un)/" child/Brindle_wsdata/access_control
run bringover -w "$T/child" f.c
expect_exit "bringover-to refused" 1
expect_eq "bringover-to refused" "bringover: User $(id -un) does not have access to bringover to workspace \"$T/child\"  (Error 2065)" "$ERR"
cp saved_access child/Brindle_wsdata/access_control

# Options: an unknown one, a missing argument, an unreadable comment file.
run bringover -z -w "$T/child"
expect_exit "unknown option" 1
expect_eq "usage" "Usage: bringover [-w child_ws] [-p parent_ws] [-c comment] [-m comment_file]
	[[-f flp]...] [-n] [-g] [-q] [-v] [-d] [-B] [-C] [-i include_file] [-x exclude_file] [files and dirs]" "$ERR"
expect_eq "usage only on stderr" "" "$OUT"
run bringover -w
expect_exit "missing argument" 1
expect_contains "missing argument gives usage" "Usage: bringover " "$ERR"
run bringover -m "$T/no-comment" -w "$T/child" f.c
expect_exit "comment file" 1
expect_eq "comment file" "bringover: Open of comment file \"$T/no-comment\" for reading failed  (Error 1001) - No such file or directory  (System error 2)" "$ERR"
run bringover -i "$T/no-list" -w "$T/child"
expect_exit "include file" 1
expect_eq "include file" "bringover: Open of include file \"$T/no-list\" for reading failed  (Error 1001) - No such file or directory  (System error 2)" "$ERR"
expect_contains "the workspaces were known" "Child workspace:  $T/child" "$OUT"

e2e_finish
