#!/usr/bin/env bash
# Without -w the child is BRINDLE_WS, else the workspace around the current
# directory; without operands the child's args file names the files, and a
# child without one is warned about and nothing is examined.
. "$E2E_LIB"
e2e_start

make_ws parent
sccs_new parent d/g.c 'g'
run bringover -p "$T/parent" -w "$T/child" d
expect_exit "setup" 0
mkdir -p child/d/deeper
rm child/Brindle_wsdata/args  # the setup's operand went into it

run sh -c 'cd child/d/deeper && bringover'
expect_exit "from inside the child" 0
expect_contains "child found from the current directory" "Child workspace:  $T/child" "$OUT"
expect_contains "no args file" \
  "bringover: Workspace $T/child does not have Brindle_wsdata/args file  (Warning 2612)" "$OUT"
expect_contains "nothing examined" "Examined files: 0" "$OUT"

printf 'VERSION 1\n# nothing yet\n' >child/Brindle_wsdata/args
run env BRINDLE_WS="$T/child" bringover
expect_exit "from BRINDLE_WS" 0
expect_contains "child from the environment" "Child workspace:  $T/child" "$OUT"
expect_contains "empty args file" \
  "bringover: Workspace $T/child has empty Brindle_wsdata/args file  (Warning 2612)" "$OUT"
expect_contains "parent from the child's record" "Parent workspace: $T/parent" "$OUT"

# -w wins over the environment.
make_ws elsewhere
run env BRINDLE_WS="$T/elsewhere" bringover -w "$T/child" d
expect_exit "-w wins" 0
expect_contains "-w wins" "Child workspace:  $T/child" "$OUT"

run bringover -V
expect_exit "version" 0
expect_eq "version" "bringover: 6.02" "$OUT"

e2e_finish
