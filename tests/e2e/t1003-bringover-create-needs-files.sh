#!/usr/bin/env bash
# Creating a child needs something to bring over: a file, a directory or a
# file list program.  Without one the command fails before any directory is
# made; a file list program alone is enough.
. "$E2E_LIB"
e2e_start

make_ws parent
sccs_new parent a.c 'a'

run bringover -p "$T/parent" -w "$T/child"
expect_exit "create without files" 1
expect_eq "message on stderr" "bringover: Must specify at least one file, directory or -f argument
to a bringover that creates a child workspace  (Error 2048)" "$ERR"
expect_eq "no output beyond it" "" "$OUT"
expect_no_file "nothing made" child

# Without -p there is no parent to make the child from.
run bringover -w "$T/child" a.c
expect_exit "create without parent" 1
expect_eq "not a workspace" "bringover: \"$T/child\" is not a workspace  (Error 2003)" "$ERR"
expect_no_file "still nothing made" child

cat >"$T/list-files" <<'FLP'
#!/bin/sh
echo a.c
FLP
chmod 755 "$T/list-files"
run bringover -p "$T/parent" -w "$T/child" -f "$T/list-files"
expect_exit "create with -f only" 0
expect_file "child made" child/Brindle_wsdata/access_control
expect_contains "child linked" "$T/child" "$(cat parent/Brindle_wsdata/children)"

e2e_finish
