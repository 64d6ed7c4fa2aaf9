#!/usr/bin/env bash
# Without -w the child is BRINDLE_WS, else the workspace around the current
# directory; without operands the child's args file names the files, and a
# child without one is warned about and nothing is examined.
. "$TEST_LIB"
e2e_start
make_ws parent
sccs_new parent d/g.c 'g'
expect_run 0 bringover -p "$T/parent" -w "$T/child" d
mkdir -p child/d/deeper
rm child/Brindle_wsdata/args  # the setup's operand went into it

test_case 'from inside the child, without an args file: a warning and nothing examined' <<'EOF'
expect_run 0 sh -c 'cd child/d/deeper && bringover'
expect_contains "child found from the current directory" "Child workspace:  $T/child" "$OUT"
expect_contains "no args file" \
  "bringover: Workspace $T/child does not have Brindle_wsdata/args file  (Warning 2612)" "$OUT"
expect_contains "nothing examined" "Examined files: 0" "$OUT"
EOF

test_case 'BRINDLE_WS names the child, whose record names the parent' <<'EOF'
printf 'VERSION 1\n# nothing yet\n' >child/Brindle_wsdata/args
expect_run 0 env BRINDLE_WS="$T/child" bringover
expect_contains "child from the environment" "Child workspace:  $T/child" "$OUT"
expect_contains "empty args file" \
  "bringover: Workspace $T/child has empty Brindle_wsdata/args file  (Warning 2612)" "$OUT"
expect_contains "parent from the child's record" "Parent workspace: $T/parent" "$OUT"
EOF

test_case '-w wins over the environment' <<'EOF'
make_ws elsewhere
expect_run 0 env BRINDLE_WS="$T/elsewhere" bringover -w "$T/child" d
expect_contains "-w wins" "Child workspace:  $T/child" "$OUT"
EOF

test_case '-V gives the version' <<'EOF'
expect_run 0 bringover -V
expect_eq "version" "bringover: 6.02" "$OUT"
EOF

test_done
