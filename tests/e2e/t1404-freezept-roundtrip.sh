#!/usr/bin/env bash
# A freezepoint keeps the state of a workspace's histories; after new deltas,
# a rename by hand and data deltas added to every file, extract rebuilds the
# files as they were, judged against CSSC's get -p.  A bringover takes its
# automatic freezepoint through the real freezept.  Bad input is refused with
# its code and loses nothing.
. "$TEST_LIB"
e2e_start

workspace create "$T/w" >/dev/null || fail "create"
sccs_new w src/a.c 'one'
sccs_new w src/b.c 'bee
bee'
sccs_new w "doc/read me" 'text
more
lines'
sccs_edit w src/a.c 'one
two' 'second'
declare -A then
for f in src/a.c src/b.c "doc/read me"; do then[$f]=$(sccs_text w "$f"); done

test_case 'create, as the transactions call it: one line a history, logged, never replaced' <<'EOF'
run freezept create -w "$T/w" -k "$T/fp1" -c "line one
it's two" -z .
expect_exit 0
expect_eq "nothing said when the file is named" "" "$OUT$ERR"
sid_a=$(sccs_sids w src/a.c | cut -d' ' -f1)
expect_eq "the file" "VERSION 1
WORKSPACE $T/w
COMMENT line one
COMMENT it's two
SCOPE ." "$(grep -v '^DATE \|^FILE ' fp1)"
expect_eq "one line a file, by name" "FILE 1.1 doc/read me
FILE $sid_a src/a.c
FILE 1.1 src/b.c" "$(grep '^FILE ' fp1 | sed 's/ [0-9a-f]*\( [0-9a-f]*\)\{7\} / /')"
expect_contains "recorded in the log" "FREEZEPOINT_FILE $T/fp1" "$(cat w/Brindle_wsdata/history)"
cp fp1 fp1.copy
refused "freezept: Freezepoint file \"$T/fp1\" already exists  (Error 2086)" freezept create -w "$T/w" -k "$T/fp1"
cmp -s fp1 fp1.copy || fail "the first freezepoint is intact"
run freezept create -w "$T/w" -k "$T/fp-src" -z src/
expect_eq "a scope" "src/a.c src/b.c" "$(grep '^FILE ' fp-src | awk '{print $NF}' | tr '\n' ' ' | sed 's/ $//')"
EOF

test_case 'after a new delta, a rename and name histories, extract gives the files as they were' <<'EOF'
sccs_edit w src/a.c 'three' 'third'
mv w/src/SCCS/s.b.c w/src/SCCS/s.renamed.c
workspace updatenames -H "$T/w" >/dev/null || fail "updatenames"

expect_run 0 freezept extract -w "$T/w" -k "$T/fp1" "$T/out"
for f in src/a.c src/b.c "doc/read me"; do
  expect_eq "$f as it was" "${then[$f]}" "$(cat "out/$f")"
done
expect_eq "judged by get" "$(cd w/src && get -p -s -r"$sid_a" SCCS/s.a.c)" "$(cat out/src/a.c)"
sccs_sound w src/a.c || fail "val a.c"
EOF

test_case 'extract never writes over files; a history gone is named and the others come' <<'EOF'
refused "freezept: Directory \"$T/out\" is not new or empty  (Error 2081)" freezept extract -w "$T/w" -k "$T/fp1" "$T/out"

rm w/src/SCCS/s.renamed.c
expect_run 1 freezept extract -w "$T/w" -k "$T/fp1" "$T/out2"
expect_eq "named" "freezept: History file of \"src/b.c\" is not in workspace \"$T/w\"  (Error 2089)" "$ERR"
expect_eq "the others come" "${then[src/a.c]}" "$(cat out2/src/a.c)"
EOF

test_case 'damaged and newer freezepoints are refused with their codes and extract nothing' <<'EOF'
head -c -20 fp1 >cut.fp  # the last line loses its end
cut_line=$(($(wc -l <cut.fp) + 1))
sed 's/^VERSION 1$/VERSION 2/' fp1 >newer.fp
while IFS='|' read -r file text; do
  refused "freezept: $text" freezept extract -w "$T/w" -k "$T/$file" "$T/none"
  expect_no_file none
done <<ROWS
cut.fp|Freezepoint file "$T/cut.fp" is damaged at line $cut_line  (Error 2087)
newer.fp|Freezepoint file "$T/newer.fp" is version 2; this program reads version 1  (Error 2046)
ROWS
EOF

test_case "a bringover's freezepoint comes from the real freezept; list gives them oldest first" <<'EOF'
expect_run 0 bringover -p "$T/w" -w "$T/child" src
printf 'VERSION 2\nbefore_bringover    yes\n' >child/Brindle_wsdata/freezept_control
expect_run 0 bringover -w "$T/child" -c "nightly" src
run freezept create -w "$T/child" -c "by hand"
made=$OUT
run freezept list -w "$T/child"
expect_eq "two, oldest first" 2 "$(printf '%s\n' "$OUT" | wc -l)"
auto=$(printf '%s\n' "$OUT" | head -1)
expect_eq "the bringover's, with its comment" "nightly" "${auto##*	}"
case "$auto" in
  "$T/child/Brindle_wsdata/Freezepoints/"[0-9][0-9][0-9][0-9]/[0-9][0-9]/[0-9][0-9]/[0-9][0-9][0-9][0-9][0-9][0-9].fp"	"*) ;;
  *) fail "named by its time: $auto" ;;
esac
expect_contains "the one by hand" "$made	" "$(printf '%s\n' "$OUT" | tail -1)"
EOF

test_done
