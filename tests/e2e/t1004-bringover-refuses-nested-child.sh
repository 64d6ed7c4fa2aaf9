#!/usr/bin/env bash
# A workspace inside another one is refused, before anything is made, in both
# directions: a child inside its parent's tree (or any workspace), and a child
# whose tree would hold its own parent.
. "$TEST_LIB"
e2e_start
make_ws outer/parent
sccs_new outer/parent x.c 'x'

test_case 'a child inside its parent is refused' <<'EOF'
expect_run 1 bringover -p "$T/outer/parent" -w "$T/outer/parent/sub/child" x.c
expect_eq "nested create" "bringover: Cannot create workspace \"$T/outer/parent/sub/child\" because
it would be nested within workspace \"$T/outer/parent\"  (Error 2063)" "$ERR"
expect_no_file outer/parent/sub
EOF

test_case 'a child around its parent is refused' <<'EOF'
expect_run 1 bringover -p "$T/outer/parent" -w "$T/outer" x.c
expect_eq "nested parent" "bringover: Workspace \"$T/outer/parent\" is nested within \"$T/outer\"  (Error 2063)" "$ERR"
expect_no_file outer/Brindle_wsdata
EOF

test_case 'a preview makes no child, so it is not refused' <<'EOF'
expect_run 0 bringover -n -p "$T/outer/parent" -w "$T/outer" x.c
EOF

test_done
