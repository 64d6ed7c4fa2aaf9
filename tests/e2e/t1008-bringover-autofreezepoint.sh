#!/usr/bin/env bash
# A child whose settings ask for freezepoints gets one from the freezept
# command before and after a bringover, each in its own file named by the
# time, with the bringover's comment; without the command the bringover
# stops before it starts.  putback and ws_undo take theirs in the workspace
# they change.
. "$TEST_LIB"
e2e_start
make_ws parent
sccs_new parent a.c 'a'
expect_run 0 bringover -p "$T/parent" -w "$T/child" a.c
printf 'VERSION 2\nbefore_bringover    yes\nafter_bringover     yes\n' \
  >child/Brindle_wsdata/freezept_control
# A freezept that records its arguments and makes the file it is given.
mkdir tools
cat >tools/freezept <<'FP'
#!/bin/sh
for a in "$@"; do printf '[%s]' "$a"; done >>"$(dirname "$0")/calls"
echo >>"$(dirname "$0")/calls"
while [ $# -gt 0 ]; do
  if [ "$1" = -k ]; then : >"$2"; fi
  shift
done
FP
chmod 755 tools/freezept

test_case 'a freezepoint before and after, each in a file named by the time' <<'EOF'
expect_run 0 env PATH="$T/tools:$PATH" bringover -w "$T/child" -c "line one" -c "it's two" a.c
expect_eq "two freezepoints" 2 "$(grep -c "^\[create\]" tools/calls)"
fps=$(cd child/Brindle_wsdata/Freezepoints && find . -name '*.fp' | sort)
expect_eq "two files" 2 "$(printf '%s\n' "$fps" | grep -c '^\./[0-9]\{4\}/[0-9][0-9]/[0-9][0-9]/[0-9]\{6\}\.fp$')"
first=$(printf '%s\n' "$fps" | head -1 | sed 's|^\./||')
expect_eq "arguments of the first" \
  "[create][-w][$T/child][-k][$T/child/Brindle_wsdata/Freezepoints/$first][-c][line one
it's two][-z][.]" "$(head -2 tools/calls)"
expect_contains "the command is shown" "freezept create -w $T/child -k " "$OUT"
before_line=$(printf '%s\n' "$OUT" | grep -n 'freezept create' | head -1 | cut -d: -f1)
parent_line=$(printf '%s\n' "$OUT" | grep -n '^Parent workspace:' | cut -d: -f1)
[ "$before_line" -lt "$parent_line" ] || fail "the first freezepoint comes before the transaction"
EOF

test_case 'a preview takes none' <<'EOF'
expect_run 0 bringover -n -w "$T/child" a.c
expect_eq "still two" 2 "$(grep -c "^\[create\]" tools/calls)"
EOF

test_case 'without the freezept command the bringover stops before it starts' <<'EOF'
# The built programs' directory holds the real freezept: a PATH without it.
expect_run 1 env PATH="$CSSC_DIR:/usr/bin:/bin" "$BRINDLE_BIN/bringover" -w "$T/child" a.c
expect_contains "command not found" "Could not find the \"freezept\" command in PATH" "$ERR"
expect_contains "code" "(Error 2028)" "$ERR"
expect_eq "said once" 1 "$(printf '%s\n' "$ERR" | grep -c 'Could not find')"
expect_eq "stopped before the transaction" "" "$OUT"
EOF

test_case 'a freezepoint that fails after the transaction makes the status 1' <<'EOF'
printf 'VERSION 2\nafter_bringover yes\n' >child/Brindle_wsdata/freezept_control
printf '#!/bin/sh\nexit 3\n' >tools/freezept
expect_run 1 env PATH="$T/tools:$PATH" bringover -w "$T/child" a.c
expect_contains "the transaction ran" "Examined files: 1" "$OUT"
expect_contains "the failure" "exited with status 3  (Error 2012)" "$ERR"
EOF

test_case 'putback and ws_undo take theirs in the workspace they change, before and after' <<'EOF'
printf '#!/bin/sh\necho "$3" >>"$(dirname "$0")/took"; : >"$5"\n' >tools/freezept
printf 'VERSION 2\nbefore_putback yes\nafter_putback yes\nbefore_undo yes\nafter_undo yes\n' \
  >parent/Brindle_wsdata/freezept_control
sccs_edit child a.c 'a: child' 'child edits a'
while IFS='|' read -r cmd; do
  : >tools/took
  expect_run 0 env PATH="$T/tools:$PATH" $cmd
  expect_eq "$cmd: in the parent, before and after" "$T/parent"$'\n'"$T/parent" "$(cat tools/took)"
done <<ROWS
putback -w $T/child -c back a.c
ws_undo -w $T/parent
ROWS
EOF

test_done
