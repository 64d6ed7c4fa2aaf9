#!/usr/bin/env bash
# Hand-copied history files share an identity until workspace updatenames
# gives the copies identities of their own: the file the old name table knew
# keeps it; when that file has gone the user says which copy it became, or
# that none did; a quit writes nothing.  CSSC judges every file afterwards,
# and the new name table agrees with the files.  In a child, copies whose
# original has gone stop a bringover until updatenames has run; the next one
# then matches every file with its parent's.
. "$TEST_LIB"
e2e_start

workspace create "$T/w" >/dev/null || fail "create"
sccs_new w src/a.c 'alpha'
# Two lines: roots made in one second by one user with one comment differ
# only by their line counts.
sccs_new w "doc/read me" 'text
more'
H=w/src/SCCS
table() { grep -v '^VERSION ' w/Brindle_wsdata/nametable | sort; }
smid_of() { table | awk -v n="$1" '{ s = $(NF-3) " " $(NF-2) " " $(NF-1) " " $NF;
  name = $0; sub(/ [^ ]+ [^ ]+ [^ ]+ [^ ]+$/, "", name); if (name == n) print s }'; }
first_comment() { (cd "w/$(dirname "$1")" && prs -d':C:' -r1.1 "SCCS/s.$(basename "$1")") | head -1; }
# every name of the table once, every SmID once, and each file judged sound
table_sound() {
  [ "$(table | wc -l)" = "$1" ] || fail "$2: $1 records expected"
  [ "$(table | awk '{print $(NF-3), $(NF-2), $(NF-1), $NF}' | sort -u | wc -l)" = "$1" ] ||
    fail "$2: a SmID twice"
  while read -r name; do
    sccs_sound w "$name" || fail "$2: val of $name"
  done < <(table | sed 's/ [^ ]* [^ ]* [^ ]* [^ ]*$//')
}

test_case 'the first table names every file once, by its own SmID' <<'EOF'
expect_run 0 workspace updatenames "$T/w"
expect_eq "told" "Updating names in name table of workspace \"$T/w\"" "$OUT"
table_sound 2 "first table"
id_a=$(smid_of src/a.c)
comment_a=$(first_comment src/a.c)
EOF

test_case 'a copy beside its original: only the copy changes' <<'EOF'
cp "$H/s.a.c" "$H/s.copy.c"
cp "$H/s.a.c" "$T/a.before"
expect_run 0 workspace updatenames "$T/w"
expect_eq "the copy is named" "Updating names in name table of workspace \"$T/w\"
differentiate: src/copy.c" "$OUT"
cmp -s "$H/s.a.c" "$T/a.before" || fail "the original is untouched"
expect_eq "the original keeps its identity" "$id_a" "$(smid_of src/a.c)"
expect_eq "the copy is marked" "Brindle Uniquification: src/copy.c" "$(first_comment src/copy.c)"
expect_eq "the copy's text" "alpha" "$(sccs_text w src/copy.c)"
table_sound 3 "after the copy"
expect_contains "logged" "differentiate: src/copy.c" "$(cat w/Brindle_wsdata/history)"
EOF

test_case 'the original gone: a quit writes nothing, and the user says which copy it became' <<'EOF'
mv "$H/s.a.c" "$H/s.b.c"
cp "$H/s.b.c" "$H/s.c.c"
before=$(tree_sum w | grep -v Brindle_wsdata/history)
expect_run 0 sh -c "echo q | workspace updatenames '$T/w'"  # a quit is no failure
prompt=$OUT
expect_contains "the question" "The following SCCS file no longer exists in the workspace.
	src/a.c
Either the file has been renamed or it has been removed from this workspace.
Enter the number corresponding to the file's current name or 'q' to quit:" "$prompt"
expect_contains "the way out" "	 3 <File does not exist in this workspace.>
workspace: Name table of workspace \"$T/w\" not updated" "$prompt"
expect_eq "a quit writes nothing" "$before" "$(tree_sum w | grep -v Brindle_wsdata/history)"
# The candidates come in the order of the directory: find b's number.
n_b=$(printf '%s\n' "$prompt" | sed -n 's/^	 *\([0-9]\) src\/b\.c$/\1/p')
[ -n "$n_b" ] || fail "src/b.c offered"
expect_run 0 sh -c "printf 'x\n9\n$n_b\n' | workspace updatenames '$T/w'"
expect_eq "asked until answered" 3 "$(printf '%s\n' "$OUT" | grep -o 'workspace: ' | wc -l)"
expect_contains "only c changes" "differentiate: src/c.c" "$OUT"
expect_eq "b is a" "$id_a" "$(smid_of src/b.c)"
expect_eq "b unmarked" "$comment_a" "$(first_comment src/b.c)"
expect_eq "c marked" "Brindle Uniquification: src/c.c" "$(first_comment src/c.c)"
table_sound 4 "after the choice"
EOF

test_case 'none of the copies is the original: each gets an identity, and -H a name history' <<'EOF'
D=w/doc/SCCS
id_doc=$(smid_of "doc/read me")
mv "$D/s.read me" "$D/s.read you"
cp "$D/s.read you" "$D/s.read them"
expect_run 0 sh -c "echo 3 | workspace updatenames -H '$T/w'"
for name in "doc/read you" "doc/read them"; do
  expect_eq "$name marked" "Brindle Uniquification: $name" "$(first_comment "$name")"
  [ "$(smid_of "$name")" != "$id_doc" ] || fail "$name has a new identity"
  expect_eq "$name text" "text
more" "$(sccs_text w "$name")"
done
table_sound 5 "after none"
# -H gave every file a name history holding its present name.
while read -r name; do
  s="w/$(dirname "$name")/SCCS/s.$(basename "$name")"
  grep -qxF "$(printf '\001c Name history : 1 0 %s' "$name")" "$s" ||
    fail "name history of $name"
done < <(table | sed 's/ [^ ]* [^ ]* [^ ]* [^ ]*$//')
EOF

test_case 'killed while it asks: nothing written, the lock goes, the log says why' <<'EOF'
mv "$H/s.b.c" "$H/s.g.c"
cp "$H/s.g.c" "$H/s.h.c"
before=$(tree_sum w | grep -v Brindle_wsdata/history)
mkfifo answer
workspace updatenames "$T/w" <answer >asked.out 2>&1 &
pid=$!
exec 3>answer
wait_for "the question" grep -q "Enter the number" asked.out
kill -TERM "$pid"
wait "$pid"
STATUS=$?
exec 3>&-
expect_exit 1
expect_eq "nothing written" "$before" "$(tree_sum w | grep -v Brindle_wsdata/history)"
expect_eq "no lock left" "" "$(grep -v '^VERSION ' w/Brindle_wsdata/locks)"
expect_contains "the log says why" "Command exited due to signal 15
CWD $T" "$(cat w/Brindle_wsdata/history)"
expect_eq "and how it ended" "STATUS 1" "$(tail -1 w/Brindle_wsdata/history)"
EOF

test_case "a command's lock keeps it out" <<'EOF'
printf 'VERSION 1\nwrite putback 5 elsewhere someone %s\n' "$(date +%s)" >w/Brindle_wsdata/locks
cp "$H/s.c.c" "$H/s.d.c"
before=$(tree_sum w | grep -v Brindle_wsdata/history)
expect_run 1 workspace updatenames "$T/w"
expect_contains "refused" "workspace: Cannot obtain a write lock in workspace \"$T/w\"" "$ERR"
expect_eq "nothing changed" "$before" "$(tree_sum w | grep -v Brindle_wsdata/history)"
EOF

test_case 'copies in a child whose original has gone: bringover refuses, updatenames repairs, the next one matches every file' <<'EOF'
make_ws p
sccs_new p src/a.c 'alpha'
sccs_new p src/b.c 'beta'
expect_run 0 bringover -p "$T/p" -w "$T/c" src
C=c/src/SCCS
mv "$C/s.a.c" "$C/s.moved.c" && cp "$C/s.moved.c" "$C/s.copied.c" && rm -f c/src/a.c
sccs_edit p src/a.c 'alpha: parent' 'the parent edits a'
before=$(tree_sum c | grep -v Brindle_wsdata/history)
expect_run 1 bringover -w "$T/c" src
expect_contains "refused" "bringover: A history file (A) was copied (to file B).  The original history file (A) cannot be found.
Run the following command and then re-execute the \"bringover\" command:
	\"$BRINDLE_BIN/workspace updatenames $T/c\"
  (Error 2092)" "$ERR"
expect_eq "nothing changed in the child" "$before" "$(tree_sum c | grep -v Brindle_wsdata/history)"
# a.c became copied.c; moved.c is the copy.
n=$(printf 'q\n' | workspace updatenames "$T/c" | sed -n 's/^	 *\([0-9]\) src\/copied\.c$/\1/p')
expect_run 0 sh -c "echo $n | workspace updatenames '$T/c'"
expect_contains "the copy is told apart" "differentiate: src/moved.c" "$OUT"
expect_run 0 bringover -w "$T/c" src
expect_contains "matched by identity" "update: src/copied.c" "$OUT"
expect_contains "every file" "Examined files: 3" "$OUT"
case "$OUT" in *create:*|*conflict:*) fail "a file left unmatched: $OUT" ;; esac
expect_eq "the parent's change" "alpha: parent" "$(sccs_text c src/copied.c)"
expect_eq "the copy as it was" "alpha" "$(sccs_text c src/moved.c)"
expect_run 0 putback -w "$T/c" -c 'the copies go home'
sccs_holds "a, now copied.c" c src/copied.c p src/copied.c
sccs_holds "the copy, new in the parent" c src/moved.c p src/moved.c
expect_no_file "p/src/SCCS/s.a.c"
EOF

test_done
