#!/usr/bin/env bash
# What stops a putback: a grandchild puts back into a middle workspace whose
# files are in every state that blocks.  One run prints every list, in its
# order, changes nothing, and names the bringover that clears the way.  Two
# processes: a putback holding the parent's write lock shuts out a second
# putback and a bringover from it (2021), and nothing either had is lost.
. "$TEST_LIB"
e2e_start

make_ws top
for f in c f g h k m r; do new_file top "src/$f.c" "$f" || die "names of $f"; done
expect_run 0 bringover -p "$T/top" -w "$T/mid" src
expect_run 0 bringover -p "$T/mid" -w "$T/leaf" src

# Unresolved in the leaf: both edit g, and the leaf brings mid's over.
sccs_edit mid src/g.c 'g: mid' 'mid edits g'
sccs_edit leaf src/g.c 'g: leaf' 'leaf edits g'
run bringover -w "$T/leaf" src/g.c && [ "$STATUS" = 4 ] || die "leaf conflict: $OUT $ERR"
# Unresolved in mid (and so changed there): both edit f, mid brings top's over.
sccs_edit top src/f.c 'f: top' 'top edits f'
sccs_edit mid src/f.c 'f: mid' 'mid edits f'
run bringover -w "$T/mid" src/f.c && [ "$STATUS" = 4 ] || die "mid conflict: $OUT $ERR"
sccs_edit mid src/h.c 'h: mid' 'changed in mid'
sccs_new mid src/nw.c 'new in mid'
rm -f mid/src/r.c && mv_file mid src/r.c src/r2.c
rm "$(sfile mid src/c.c)" mid/src/c.c && mkdir mid/src/c.c
(cd mid/src && get -e SCCS/s.k.c >/dev/null 2>&1 && echo 'k: editing in mid' >k.c)
(cd leaf/src && get -e SCCS/s.m.c >/dev/null 2>&1 && echo 'm: editing in leaf' >m.c)
sccs_edit leaf src/h.c 'h: leaf' 'the leaf has work to put back'

test_case 'every reason is listed, in order, with the bringover it needs; nothing moves' <<'EOF'
# The name table is a cache, and learns mid's rename on the way.
before=$(tree_sum mid | grep -v ' ./Brindle_wsdata/nametable$')
expect_run 2 putback -w "$T/leaf" -c 'blocked all round'
expect_eq "the lists, in order" "\
The following files have different file types in the workspaces:
	src/c.c (file/directory)
The following files are currently checked out and have been edited in workspace
\"$T/mid\":
	src/k.c
The following files are currently checked out and have been edited in workspace
\"$T/leaf\":
	src/m.c
The following files need to be resolved in workspace
\"$T/leaf\":
	src/g.c
Use \"$BRINDLE_BIN/resolve -w $T/leaf\" to resolve conflicts
The following files need to be resolved in workspace
\"$T/mid\":
	src/f.c
Use \"$BRINDLE_BIN/resolve -w $T/mid\" to resolve conflicts
The following files are new in workspace
\"$T/mid\" and must be brought over:
	src/nw.c
The following files have changed in workspace
\"$T/mid\" and must be brought over:
	src/f.c
	src/h.c
The following files have been renamed in workspace
\"$T/mid\" and must be brought over:
	src/r2.c
Your putback command was blocked and no files were putback.
The bringover that needs to be done is:
	$BRINDLE_BIN/bringover -w $T/leaf src/f.c src/h.c src/r2.c src/nw.c" "$(printf '%s\n' "$ERR" | grep -v '^$')"
expect_eq "mid untouched" "$before" "$(tree_sum mid | grep -v ' ./Brindle_wsdata/nametable$')"
expect_run 2 putback -n -w "$T/leaf"
expect_contains "a preview says it would be" "Your putback command would be blocked." "$ERR"
EOF

test_case 'two putbacks into one parent: the second is refused while the first holds the lock, and nothing is lost' <<'EOF'
make_ws p
sccs_new p src/x.c x
sccs_new p src/y.c y
for c in c1 c2; do run bringover -p "$T/p" -w "$T/$c" src; expect_exit 0 "$c made"; done
sccs_edit c1 src/x.c 'x: c1' 'c1 edits x'
sccs_edit c2 src/y.c 'y: c2' 'c2 edits y'
# The validation program runs under the parent's write lock: it says so
# through one pipe and waits on another.
mkfifo "$T/held" "$T/go"
printf '#!/bin/sh\necho held >%s\nread x <%s\n' "$T/held" "$T/go" >"$T/hold"
chmod +x "$T/hold"
printf 'VERSION 2\nputback-validation on\nauto-approved no\nvalidation-program %s\n' "$T/hold" \
  >p/Brindle_wsdata/putback_validation
putback -w "$T/c1" -c 'first' -M MR-1 >"$T/first.out" 2>&1 &
first=$!
read -r word <"$T/held"
expect_eq "the first holds the lock" held "$word"
p_before=$(tree_sum p/src)
expect_run 1 putback -w "$T/c2" -c 'second' -M MR-2
expect_contains "refused by the lock" "Cannot obtain a write lock in workspace \"$T/p\"" "$ERR"
expect_contains "with its code" "(Error 2021)" "$ERR"
expect_run 1 bringover -w "$T/c2" src  # a bringover from the locked parent
expect_contains "refused too" "Cannot obtain a read lock in workspace \"$T/p\"" "$ERR"
expect_eq "c2 as it was" "y: c2" "$(sccs_text c2 src/y.c)"
expect_eq "the parent unchanged meanwhile" "$p_before" "$(tree_sum p/src)"
echo go >"$T/go"
wait "$first"
expect_eq "the first went through" 0 "$?"
rm p/Brindle_wsdata/putback_validation
expect_run 3 putback -b -w "$T/c2" -c 'second, again'
expect_run 0 putback -w "$T/c2" -c 'second, at last'
sccs_holds "x from c1" c1 src/x.c p src/x.c
sccs_holds "y from c2" c2 src/y.c p src/y.c
EOF

test_done
