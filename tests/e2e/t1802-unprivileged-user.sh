#!/usr/bin/env bash
# The commands run as an unprivileged user, for whom the permissions of files
# hold (root reads and writes everything): access control refusing that user,
# history and metadata files it cannot read or write, read-only workspaces.
# Each fault gets its error and code, and changes nothing; once the fault is
# gone the same command does its work and val accepts every history.
. "$TEST_LIB"
e2e_start
[ "$(id -u)" -eq 0 ] || { echo "SKIP: only root can run a command as another user"; exit 77; }
U=brindleuser
id "$U" >/dev/null 2>&1 || /usr/sbin/useradd -M -N -s /usr/sbin/nologin "$U" || die "useradd $U"
as_u=(setpriv --reuid="$U" --regid="$(id -g "$U")" --clear-groups)
chmod a+rx "$T"
"${as_u[@]}" test -x "$BRINDLE_BIN/bringover" || { echo "SKIP: $U cannot reach $BRINDLE_BIN"; exit 77; }
mkdir "$T/u" && chown "$U" "$T/u" && cd "$T/u" || die "the user's directory"
D=$T/u

# A parent and a child of the user's own holding the same histories, and a
# change in the parent that every bringover below would bring over.
make_ws parent
sccs_new parent src/a.c 'a one'
sccs_new parent src/b.c 'b one'
chown -R "$U" parent
run "${as_u[@]}" bringover -p "$D/parent" -w "$D/child" src
expect_exit 0 "the user's child" || die "no child"
sccs_edit parent src/a.c 'a two' 'the change' && chown -R "$U" parent

sums() { tree_sum parent; tree_sum child; }
# A workspace made read-only, and its modes given back as they were (clear
# files stay read-only: get refuses to overwrite a writable one).
freeze() { find "$1" -printf '%m %p\n' >"$T/modes.$1" && chmod -R a-w "$1"; }
thaw() { while read -r m p; do chmod "$m" "$p"; done <"$T/modes.$1"; }

# what | root's change | the user's command | status | its standard error |
# the change undone
ROWS=(
  "bringover from a parent that refuses the user
  |printf 'VERSION 2\nbringover-from\troot\n' >parent/Brindle_wsdata/access_control
  |bringover -w $D/child src|1
  |bringover: User $U does not have access to bringover from workspace \"$D/parent\"  (Error 2065)
  |rm -f parent/Brindle_wsdata/access_control"
  "bringover into a child that refuses the user
  |cp -p child/Brindle_wsdata/access_control acl && printf 'VERSION 2\nbringover-to\troot other\n' >child/Brindle_wsdata/access_control
  |bringover -w $D/child src|1
  |bringover: User $U does not have access to bringover to workspace \"$D/child\"  (Error 2065)
  |mv acl child/Brindle_wsdata/access_control"
  "delete of a workspace that refuses the user
  |cp -p child/Brindle_wsdata/access_control acl && printf 'VERSION 2\nworkspace-delete\t-$U\n' >child/Brindle_wsdata/access_control
  |workspace delete -f $D/child|1
  |workspace: User $U does not have access to delete workspace \"$D/child\"  (Error 2065)
  |mv acl child/Brindle_wsdata/access_control"
  "an old access control file the user may not convert
  |printf 'VERSION 1\n' >parent/Brindle_wsdata/access_control && chmod 444 parent/Brindle_wsdata/access_control
  |bringover -w $D/child src|1
  |bringover: Open of \"$D/parent/Brindle_wsdata/access_control\" for writing failed  (Error 1017) - Permission denied  (System error 13)
  |rm -f parent/Brindle_wsdata/access_control"
  "a parent history the user cannot read
  |chmod 000 parent/src/SCCS/s.a.c
  |bringover -w $D/child src|1
  |bringover: Open of \"$D/parent/src/SCCS/s.a.c\" for reading failed  (Error 1001) - Permission denied  (System error 13)
  |chmod 444 parent/src/SCCS/s.a.c"
  "a child history the user cannot read
  |chmod 000 child/src/SCCS/s.a.c
  |bringover -w $D/child src|1
  |bringover: Open of \"$D/child/src/SCCS/s.a.c\" for reading failed  (Error 1001) - Permission denied  (System error 13)
  |chmod 444 child/src/SCCS/s.a.c"
  "a metadata file the user cannot read
  |chmod 000 child/Brindle_wsdata/nametable
  |bringover -w $D/child src|1
  |bringover: Open of \"$D/child/Brindle_wsdata/nametable\" for reading failed  (Error 1001) - Permission denied  (System error 13)
  |chmod 644 child/Brindle_wsdata/nametable"
  "a metadata directory the user cannot write
  |chmod 555 child/Brindle_wsdata
  |bringover -w $D/child src|1
  |bringover: Couldn't create lock for file \"$D/child/Brindle_wsdata/locks\"  (Error 1014) - Permission denied  (System error 13)
  |chmod 755 child/Brindle_wsdata"
  "a read-only child
  |freeze child
  |bringover -w $D/child src|1
  |bringover: Couldn't create lock for file \"$D/child/Brindle_wsdata/locks\"  (Error 1014) - Permission denied  (System error 13)
  |thaw child"
  "a read-only parent
  |freeze parent
  |bringover -w $D/child src|1
  |bringover: Couldn't create lock for file \"$D/parent/Brindle_wsdata/locks\"  (Error 1014) - Permission denied  (System error 13)
  |thaw parent"
  "a preview from a read-only parent, which takes no lock
  |freeze parent
  |bringover -n -w $D/child src|0
  |
  |thaw parent"
)

for row in "${ROWS[@]}"; do
  IFS='|' read -r what setup cmd status line undo <<<"${row//$'\n'  /}"
  test_case "$what" <<'EOF'
eval "$setup" || fail "the change"
before=$(sums)
run "${as_u[@]}" $cmd
expect_exit "$status"
expect_eq "the error" "$line" "$ERR"
expect_eq "nothing changed" "$before" "$(sums)"
eval "$undo"
EOF
done

# A child history the user cannot replace: another user's, in a shared
# directory with the sticky bit.  (A history directory the user cannot write
# at all is waited on for its lock file, ten tries ten seconds apart.)  The
# update of that one file fails, the error printed where it happened and again
# in the summary; the history stays as it was and sound.
test_case "a child history the user cannot write" <<'EOF'
chown root child/src/SCCS child/src/SCCS/s.a.c && chmod 1777 child/src/SCCS
sids=$(sccs_sids child src/a.c) text=$(sccs_text child src/a.c)
expect_run 1 "${as_u[@]}" bringover -w "$D/child" src
e='bringover: Open of "src/SCCS/s.a.c" for writing failed  (Error 1017) - Operation not permitted  (System error 1)'
expect_eq "the error, at the file and in the summary" "$e"$'\n'"$e" "$ERR"
expect_contains "the summary" "files with errors: 1" "$OUT"
expect_eq "the child's versions" "$sids" "$(sccs_sids child src/a.c)"
expect_eq "the child's text" "$text" "$(sccs_text child src/a.c)"
sccs_sound child src/a.c || fail "val rejects the child's history"
chown "$U" child/src/SCCS child/src/SCCS/s.a.c && chmod 755 child/src/SCCS
EOF

test_case "without the faults the change arrives, no lock is left, and every history is sound" <<'EOF'
expect_run 0 "${as_u[@]}" bringover -w "$D/child" src
expect_eq "no lock left" "" "$(md_lines parent/Brindle_wsdata/locks; md_lines child/Brindle_wsdata/locks)"
expect_eq "the child's versions" "$(sccs_sids parent src/a.c)" "$(sccs_sids child src/a.c)"
expect_eq "the child's history" "a two" "$(sccs_text child src/a.c)"
expect_eq "the child's clear file" "a two" "$(cat child/src/a.c)"
for f in parent/src/a.c parent/src/b.c child/src/a.c child/src/b.c; do
  sccs_sound "${f%%/*}" "${f#*/}" || fail "val rejects $f"
done
EOF
test_done
