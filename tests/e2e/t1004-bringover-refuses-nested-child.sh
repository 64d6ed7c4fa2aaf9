#!/usr/bin/env bash
# A workspace inside another one is refused, before anything is made, in
# both directions: a child inside its parent's tree (or any workspace), and
# a child whose tree would hold its own parent.
. "$E2E_LIB"
e2e_start

make_ws outer/parent
sccs_new outer/parent x.c 'x'

run bringover -p "$T/outer/parent" -w "$T/outer/parent/sub/child" x.c
expect_exit "child inside parent" 1
expect_eq "nested create" "bringover: Cannot create workspace \"$T/outer/parent/sub/child\" because
it would be nested within workspace \"$T/outer/parent\"  (Error 2063)" "$ERR"
expect_no_file "no child directory" outer/parent/sub

run bringover -p "$T/outer/parent" -w "$T/outer" x.c
expect_exit "parent inside child" 1
expect_eq "nested parent" "bringover: Workspace \"$T/outer/parent\" is nested within \"$T/outer\"  (Error 2063)" "$ERR"
expect_no_file "no metadata in the outer directory" outer/Brindle_wsdata

# A preview does not make the child, so it is not refused either.
run bringover -n -p "$T/outer/parent" -w "$T/outer" x.c
expect_exit "preview of the nested create" 0

e2e_finish
