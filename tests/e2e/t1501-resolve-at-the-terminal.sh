#!/usr/bin/env bash
# The conflict loop end to end.  A parent and its child change the same line
# of the same files; the next bringover leaves them in conflict, and a putback
# is blocked until they are settled.  resolve settles them at the terminal, as
# the user answers or as a script says (-c, -p, -m): the chosen version
# becomes a new trunk delta, and the history log, the conflicts file and the
# record all say so; bad input is refused with its code and nothing is lost.
# Then the putback goes through and the parent holds every resolution.  CSSC
# judges every history file.  No message service here: the merge tool is
# "twinpane -x" with a scripted three-way tool.
. "$TEST_LIB"
e2e_start
unset DBUS_SESSION_BUS_ADDRESS

files="a-child b-merge c-parent d-settled e-skip x-one y-two z-bad"
make_ws parent
for f in $files; do sccs_new parent "src/$f.c" "$(printf 'one\ntwo\nthree')" || die "setup of $f"; done
expect_run 0 bringover -p "$T/parent" -w "$T/child" src
sccs_edit child src/a-child.c "$(printf 'one\ntwo\nthree\nagain')" "again" || die "edit"
for f in $files; do
  [ $f = d-settled ] && continue
  for ws in parent child; do
    sccs_edit $ws "src/$f.c" "$(sccs_text $ws "src/$f.c" | sed "s/^two\$/two: $ws/")" "$ws's src/$f.c" ||
      die "$ws's edit of $f"
  done
done
run bringover -w "$T/child" src
[ "$STATUS" = 4 ] || die "the bringover that makes the conflicts: $OUT $ERR"

# The user's three-way tool: it checks that it was given the versions that
# BRINDLE_RS_* name, each side's own, and writes a merge of its own.
cat >"$T/tool" <<'EOF'
#!/bin/sh
[ "$1 $2 $3 $4" = "$BRINDLE_RS_ANCEST $BRINDLE_RS_CHILD $BRINDLE_RS_PARENT $BRINDLE_RS_MERGED" ] &&
  grep -qx 'two' "$1" && grep -qx 'two: child' "$2" && grep -qx 'two: parent' "$3" ||
  echo "the tool's files are not those of BRINDLE_RS_*, or not each side's" >&2
sed 's/^two$/two: by hand/' "$1" >"$4"
EOF
chmod +x "$T/tool"
export TWINPANE_TOOL="$T/tool %B %L %O %M"
conflicts() { md_lines child/Brindle_wsdata/conflicts | tr '\n' ' '; }
record() { grep -ac 'Conflict from ws' "$(sfile child "src/$1.c")"; }
comment_of() { (cd child/src && prs -d':C:' -r"$2" "SCCS/s.$1.c"); }
# texts WS: each listed file's newest text, "one", the second line, "three"
# (and a-child its own last line), by get -p.
texts() {
  while read -r f text; do
    expect_eq "$1's $f" "one
$text
three$([ $f = a-child ] && printf '\nagain')" "$(sccs_text "$1" "src/$f.c")"
  done
}
last_record() { awk '/^COMMAND /{r = ""} {r = r $0 "\n"} END {printf "%s", r}' child/Brindle_wsdata/history; }

test_case 'a putback before the conflicts are settled is blocked, and names resolve' <<'EOF'
listed="src/a-child.c src/b-merge.c src/c-parent.c src/e-skip.c src/x-one.c src/y-two.c src/z-bad.c"
expect_eq "the bringover's list" "$listed " "$(conflicts)"
before=$(tree_sum parent)
expect_run 2 putback -w "$T/child" -c 'too early'
expect_eq "the block" "
The following files need to be resolved in workspace
\"$T/child\":
$(printf '\t%s\n' $listed)
Use \"$BRINDLE_BIN/resolve -w $T/child\" to resolve conflicts

Your putback command was blocked and no files were putback." "$ERR"
expect_eq "the parent untouched" "$before" "$(tree_sum parent)"
EOF

test_case 'the user settles file after file: child, merge, parent, skip, quit' <<'EOF'
# d-settled is listed though nothing conflicts.
echo src/d-settled.c >>child/Brindle_wsdata/conflicts
expect_run 4 answers 'c\nm\np\ns\nq\n' resolve -w "$T/child"  # files are left in conflict
expect_eq "the tool agrees with BRINDLE_RS_*" "" "$ERR"
question="(m)erge with the tool, accept the (c)hild's version, accept the (p)arent's version, (s)kip or (q)uit? "
expect_eq "what the user sees of the first file" "
Resolving src/a-child.c (1 of 8)

Changes in the child workspace \"$T/child\":
1.1.1.2	DATE USER N N	00001/00001/00003
child's src/a-child.c

1.1.1.1	DATE USER N N	00001/00000/00003
again

Changes in the parent workspace \"$T/parent\":
1.2	DATE USER N N	00001/00001/00002
parent's src/a-child.c

${question}Checking out src/a-child.c
Checking in src/a-child.c
accepted child: src/a-child.c" \
  "$(printf '%s\n' "$OUT" | sed -n '1,/^accepted child/p' |
    sed -E 's#\t[0-9]{2}/[0-9]{2}/[0-9]{2} [0-9:]{8} [^ ]+ [0-9]+ [0-9]+\t#\tDATE USER N N\t#')"
expect_contains "the others" "merged: src/b-merge.c" "$OUT"
expect_contains "a file without a record" "File \"src/d-settled.c\" is not in conflict according to its SCCS file; it is removed from the conflict list." "$OUT"
texts child <<ROWS
a-child two: child
b-merge two: by hand
c-parent two: parent
e-skip two: child
ROWS
expect_eq "a new trunk delta but for the parent's" "1.3 1.3 -" \
  "$(for f in a-child b-merge c-parent; do sccs_sids child "src/$f.c" | grep -o '1\.3' || echo -; done | xargs)"
expect_eq "the default comments" "Accepted child's version in workspace \"$T/child\".

Merged changes between child workspace \"$T/child\" and
 parent workspace \"$T/parent\"." "$(comment_of a-child 1.3; comment_of b-merge 1.3)"
expect_eq "records left" "0 0 0 1 1 1" \
  "$(for f in a-child b-merge c-parent e-skip x-one y-two; do printf '%s ' "$(record $f)"; done | sed 's/ $//')"
expect_eq "still in conflict" "src/e-skip.c src/x-one.c src/y-two.c src/z-bad.c " "$(conflicts)"
expect_contains "the history log" "COMMAND resolve -w $T/child 
accepted child: src/a-child.c
merged: src/b-merge.c
accepted parent: src/c-parent.c
CWD $T" "$(last_record)"
expect_contains "its status" "STATUS 4" "$(last_record)"
expect_eq "no temporary files left" "" "$(ls child/src | grep -E '\.[ACMP]\.|\.c\.')"
for f in $files; do sccs_sound child "src/$f.c" || fail "val of $f"; done
EOF

test_case 'bad input: the error and its code, and the workspace as it was' <<'EOF'
s=$T/$(sfile child src/z-bad.c)
cp "$s" "$T/z.saved"
listed=$(conflicts)
lock_line="write putback 11 elsewhere someone $(date +%s)"
while IFS='|' read -r fault args code error; do
  eval "$fault"
  before=$(tree_sum child | grep -v Brindle_wsdata/history)
  eval "run resolve $args"
  expect_exit 1 "$fault"
  expect_eq "$fault" "$error" "$(printf '%s\n' "$ERR" | head -n 1)"
  expect_contains "$fault: the code" "$code" "$ERR"
  expect_eq "$fault: nothing changed" "$before" "$(tree_sum child | grep -v Brindle_wsdata/history)"
  (cd child/src && { unget -s SCCS/s.z-bad.c; rm -f z-bad.c; }) 2>/dev/null
  cp "$T/z.saved" "$s"; chmod 444 "$s"; printf 'VERSION 1\n' >child/Brindle_wsdata/locks
done <<ROWS
(cd child/src && get -s SCCS/s.z-bad.c 2>/dev/null && chmod u+w z-bad.c)|-w child -c src/z-bad.c|(Error 2062)|resolve: Can't resolve file "$T/child/src/z-bad.c" because it is writable  (Error 2062)
(cd child/src && get -e -s SCCS/s.z-bad.c)|-w child -p src/z-bad.c|(Error 2072)|resolve: File "src/z-bad.c" is checked out; check it in or undo the check-out before resolving it  (Error 2072)
chmod u+w "$s" && head -n 4 "$T/z.saved" >"$s"|-w child -c src/z-bad.c|(Error 2055)|resolve: File "$s" has incomplete delta table  (Error 2055)
printf 'VERSION 1\n%s\n' "$lock_line" >child/Brindle_wsdata/locks|-w child -c|(Error 2021)|resolve: Cannot obtain a write lock in workspace "$T/child"
true|-w child -c /etc/passwd|(Error 2071)|resolve: File "/etc/passwd" is not in workspace "$T/child"  (Error 2071)
true|-w child -c ../parent/src/z-bad.c|(Error 2071)|resolve: File "../parent/src/z-bad.c" is not in workspace "$T/child"  (Error 2071)
true|-w "$T/nowhere"|(Error 2016)|resolve: Workspace "$T/nowhere" does not exist  (Error 2016)
true|-w child -c -p|Usage|Usage: resolve [-w ws] [-c] [-p] [-m merged_file] [files]
ROWS
expect_eq "still in conflict" "$listed" "$(conflicts)"
sccs_sound child src/z-bad.c || fail "val"
EOF

test_case 'scripts settle the rest, and the putback then carries every resolution to the parent' <<'EOF'
printf 'one\ntwo: given\nthree\n' >"$T/hand.c"
expect_run 0 resolve -w "$T/child" -m "$T/hand.c" "$T/child/src/e-skip.c"  # named by its full path
expect_file "$T/hand.c"
expect_run 0 sh -c 'cd child/src && exec resolve -p src/x-one.c'  # named from the workspace's root
expect_eq "the rest untouched" "src/y-two.c src/z-bad.c " "$(conflicts)"
expect_run 0 resolve -w "$T/child" -c
expect_eq "none left" "" "$(conflicts)"
expect_contains "logged" "merged: src/e-skip.c" "$(cat child/Brindle_wsdata/history)"
expect_run 0 putback -w "$T/child" -c 'settled'
expect_contains "the parent's log" "update: src/a-child.c
update: src/b-merge.c
update: src/c-parent.c
update: src/e-skip.c
update: src/x-one.c
update: src/y-two.c
update: src/z-bad.c" "$(cat parent/Brindle_wsdata/history)"
for f in $files; do sccs_holds "$f in the parent" child "src/$f.c" parent "src/$f.c"; done
texts parent <<ROWS
a-child two: child
b-merge two: by hand
c-parent two: parent
d-settled two
e-skip two: given
x-one two: parent
y-two two: child
z-bad two: child
ROWS
EOF

test_done
