#!/usr/bin/env bash
# Creating a child needs something to bring over, a file, a directory or a file
# list program, and a parent: without them the command fails before any
# directory is made; a file list program alone is enough.
. "$TEST_LIB"
e2e_start
make_ws parent
sccs_new parent a.c 'a'

test_case 'a create without files fails before anything is made' <<'EOF'
refused "bringover: Must specify at least one file, directory or -f argument
to a bringover that creates a child workspace  (Error 2048)" bringover -p "$T/parent" -w "$T/child"
expect_eq "no output beyond it" "" "$OUT"
expect_no_file child
EOF

test_case 'without -p there is no parent to make the child from' <<'EOF'
refused "bringover: \"$T/child\" is not a workspace  (Error 2003)" bringover -w "$T/child" a.c
expect_no_file child
EOF

test_case 'a file list program alone is enough' <<'EOF'
printf '#!/bin/sh\necho a.c\n' >"$T/list-files"
chmod 755 "$T/list-files"
expect_run 0 bringover -p "$T/parent" -w "$T/child" -f "$T/list-files"
expect_file child/Brindle_wsdata/access_control
expect_contains "child linked" "$T/child" "$(cat parent/Brindle_wsdata/children)"
EOF

test_done
