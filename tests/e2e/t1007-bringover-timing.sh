#!/usr/bin/env bash
# With BRINDLE_TIMING in the environment a bringover ends with its timers, one
# line each in a fixed order, after its own output; without it, none.
. "$TEST_LIB"
e2e_start
make_ws parent
sccs_new parent t.c 't'

test_case 'no timers by default' <<'EOF'
expect_run 0 bringover -p "$T/parent" -w "$T/child" t.c
expect_eq "no timer lines" "" "$(printf '%s\n' "$OUT" | grep ' usec, count = ')"
EOF

test_case 'with BRINDLE_TIMING every timer, in order, after the output' <<'EOF'
# The file is unchanged now: the summary counts it, and the timers follow.
expect_run 0 env BRINDLE_TIMING=1 bringover -w "$T/child" t.c
expect_eq "timer lines in order" "Examined files: 1
Examined files: 1
To do the command:
  To determine files:
    To create ws_files:
    To examine creates:
      To build hash:
        To read src nt:
        To read dst nt:
      To match files:
        To verify smids:
          To get smids:
      To edit nt's:
      To execute actions:
        To add kes_files:
        To write src nt:
        To write dst nt:
    To readir dirs:
    To deter. states:
    To sccsmerge test:
  To execute actions:
    To sccsmerge update:
    To copy files:
    To smart copy files:
    To do smarts():
    To do SCCS gets:
    To do utimes before gets:
    To exec commands:
To do mallocs
To do free" "$(printf '%s\n' "$OUT" | grep -e ' usec, count = ' -e '^Examined files:' | sed 's/ *[0-9]* sec .*//')"
expect_contains "the command timer ran once" "count =     1" "$(printf '%s\n' "$OUT" | grep '^To do the command:')"
expect_contains "the file list timer ran once" "count =     1" "$(printf '%s\n' "$OUT" | grep '^  To determine files:')"
EOF

test_done
