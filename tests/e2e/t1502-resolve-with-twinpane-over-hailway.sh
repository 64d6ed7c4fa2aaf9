#!/usr/bin/env bash
# Conflicts that a bringover left, settled through twinpane over a private
# message bus: resolve starts "twinpane -T <its id>", sends it each file by a Load and
# takes the decision from its Saved report; one tool serves file after file,
# and a tool that ends without a decision leaves the file in conflict and the
# question comes back.  A stub three-way tool stands in for the human; then
# diff3 merges for real.  The user's .brindle_resrc asks for check-in comments.
. "$TEST_LIB"
e2e_start

make_ws parent
for f in a-first b-second c-diff3; do sccs_new parent "src/$f.c" "$(printf 'one\ntwo\nthree')" || die "setup of $f"; done
expect_run 0 bringover -p "$T/parent" -w "$T/child" src
# Each side changes every file, on lines of its own, so that diff3 can merge.
for f in a-first b-second c-diff3; do
  sccs_edit parent "src/$f.c" "$(printf 'one\ntwo\nthree\nparent')" "parent's src/$f.c" &&
    sccs_edit child "src/$f.c" "$(printf 'child\none\ntwo\nthree')" "child's src/$f.c" || die "edits of $f"
done
run bringover -w "$T/child" src
[ "$STATUS" = 4 ] || die "the bringover that makes the conflicts: $OUT $ERR"
mkdir "$T/home" && printf '# mine\nset checkin_comments\n' >"$T/home/.brindle_resrc"
export HOME=$T/home

private_bus

# The human at the three-way tool: the first time gives up, then merges.  It
# notes which twinpane ran it.
cat >"$T/tool" <<'EOF'
#!/bin/sh
{ printf '%s ' "$PPID"; tr '\0' ' ' </proc/$PPID/cmdline; echo; } >>"$HOME/tools-run"
[ -e "$HOME/gave-up" ] || { touch "$HOME/gave-up"; exit 1; }
{ head -n 1 "$2"; cat "$1"; echo 'by hand'; } >"$4"
EOF
chmod +x "$T/tool"
conflicts() { grep -v '^VERSION ' child/Brindle_wsdata/conflicts | tr '\n' ' '; }

test_case 'twinpane serves two files; the one it gave up on is asked about again' <<'EOF'
# a-first: merge (the tool gives up), merge again, a comment; b-second: merge,
# the default comment.
expect_run 0 answers 'm\nm\nmerged over the bus\n\nm\n\n' \
  env TWINPANE_TOOL="$T/tool %B %L %O %M" resolve -w "$T/child" src/a-first.c src/b-second.c
expect_contains "given up" "No decision from the merge tool: src/a-first.c is still in conflict." "$OUT"
expect_contains "both merged" "merged: src/a-first.c
" "$OUT"
expect_contains "both merged" "merged: src/b-second.c" "$OUT"
expect_eq "three runs of the tool, each under a twinpane on the bus" "3" \
  "$(grep -c "^[0-9]* $BRINDLE_BIN/twinpane -T [0-9]* $" "$HOME/tools-run")"
tools=$(cut -d' ' -f1 "$HOME/tools-run" | xargs)
set -- $tools
[ "$1" != "$2" ] && [ "$2" = "$3" ] || fail "the tool that gave up quit, the next served both: $tools"
for f in a-first b-second; do
  expect_eq "$f merged" "child
one
two
three
by hand" "$(sccs_text child "src/$f.c")"
  sccs_sound child "src/$f.c" || fail "val of $f"
done
expect_eq "the user's comment, and the default" "merged over the bus
Merged changes between child workspace \"$T/child\" and
 parent workspace \"$T/parent\"." \
  "$(cd child/src && { prs -d':C:' -r1.3 SCCS/s.a-first.c; prs -d':C:' -r1.3 SCCS/s.b-second.c; } | sed '/^$/d')"
expect_eq "left" "src/c-diff3.c " "$(conflicts)"
expect_contains "logged" "merged: src/a-first.c
merged: src/b-second.c" "$(cat child/Brindle_wsdata/history)"
EOF

test_case 'diff3 merges for real; the editor stands in for the human' <<'EOF'
expect_run 0 answers 'm\n\n' env TWINPANE_TOOL=diff3 EDITOR=true resolve -w "$T/child"
expect_eq "both changes" "child
one
two
three
parent" "$(sccs_text child src/c-diff3.c)"
sccs_sound child src/c-diff3.c || fail "val"
expect_eq "none left" "" "$(conflicts)"
expect_eq "no temporary files left" "" "$(ls child/src | grep -v '^SCCS$' | grep -v '\.c$')"
EOF

test_done
