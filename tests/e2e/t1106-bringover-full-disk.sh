#!/usr/bin/env bash
# A child on a small file system that fills up: a bringover that meets the
# full disk during a create, an update or a rename stops there with the
# system's error, leaves every history whole (the old one, never a part of
# a new one), and once there is room again the next bringover does the rest.
# Needs a mount of its own: as root, or in a user namespace.
if [ "$(id -u)" != 0 ] && [ -z "${BRINDLE_IN_NS:-}" ]; then
  unshare -rm true 2>/dev/null || { echo "SKIP: cannot mount a small file system here"; exit 77; }
  exec unshare -rm env BRINDLE_IN_NS=1 bash "$0" "$@"
fi
. "$TEST_LIB"
e2e_start

# Histories of about 200 KB, so that pages and small metadata files don't
# decide where the disk fills.
big() { seq 1 15000 | sed "s|^|$1 line |"; }
free_kb() { df -k --output=avail child | tail -1; }
# fill_to KB: leaves KB free on the child's file system.  The last run's
# backup goes first: the next run clears it before it writes a byte.
fill_to() {
  rm -rf child/filler child/Brindle_wsdata/backup
  fallocate -l "$(( ($(free_kb) - $1) * 1024 ))" child/filler || die "fallocate"
}
judge_child() {
  local s
  for s in $(find child -path child/Brindle_wsdata -prune -o -name 's.*' -print); do
    (cd "$(dirname "$s")" && val "$(basename "$s")" >/dev/null 2>&1) || fail "val refuses $s"
  done
  expect_eq "no half copy left" "" "$(find child -name 'S.s.*' -size -150k)"
}
table() { md_lines "$1/Brindle_wsdata/nametable" | sort; }

make_ws parent
for f in up mv keep; do sccs_new parent "src/$f.c" "$(big $f)"; done
mkdir child
mount -t tmpfs -o size=4m tmpfs child || { echo "SKIP: no tmpfs mount"; exit 77; }
trap 'umount -l "$T/child" 2>/dev/null; chmod -R u+rwx "$T" 2>/dev/null; rm -rf "$T"' EXIT
expect_run 0 bringover -p "$T/parent" -w "$T/child" src

test_case 'a create that meets the full disk stops with ENOSPC and leaves no part of the file' <<'EOF'
sccs_new parent src/new.c "$(big new)"
fill_to 100
expect_run 1 bringover -w "$T/child" src
expect_contains "the system's error" \
  "bringover: Write to \"src/SCCS/s.new.c\" failed  (Error 1008) - No space left on device  (System error 28)" "$ERR"
expect_no_file child/src/SCCS/s.new.c
expect_eq "undo is not told of it" "" "$(grep -x src/new.c child/Brindle_wsdata/backup/new)"
judge_child
rm child/filler
expect_run 0 bringover -w "$T/child" src
sccs_holds "the create, with room" parent src/new.c child src/new.c
EOF

test_case 'an update that meets the full disk after its backup keeps the old history whole' <<'EOF'
sccs_edit parent src/up.c "$(big up; echo 'a parent line')" 'parent change'
before=$(md5sum <child/src/SCCS/s.up.c)
fill_to 300
expect_run 1 bringover -w "$T/child" src
expect_contains "the system's error" "No space left on device  (System error 28)" "$ERR"
expect_eq "the old history, whole" "$before" "$(md5sum <child/src/SCCS/s.up.c)"
judge_child
rm -f child/filler child/src/SCCS/S.s.up.c.*
expect_run 0 bringover -w "$T/child" src
sccs_holds "the update, with room" parent src/up.c child src/up.c
EOF

test_case 'a rename that meets the full disk at its backup moves nothing' <<'EOF'
mkdir -p parent/lib/SCCS
mv parent/src/SCCS/s.mv.c parent/lib/SCCS/s.mv.c
names=$(table child)
fill_to 100
expect_run 1 bringover -w "$T/child" src lib
expect_contains "the system's error" "No space left on device  (System error 28)" "$ERR"
expect_file child/src/SCCS/s.mv.c
expect_no_file child/lib/SCCS/s.mv.c
expect_eq "the name table as it was" "$names" "$(table child)"
judge_child
rm child/filler
expect_run 0 bringover -w "$T/child" src lib
sccs_holds "the rename, with room" parent lib/mv.c child lib/mv.c
expect_eq "the names of the parent" "$(table parent)" "$(table child)"
EOF

# The args file is rewritten in place: a full disk at its close leaves it
# empty, without even its version line.
test_case 'an args file the full disk left empty counts as an empty list and is written afresh' <<'EOF'
: >child/Brindle_wsdata/args
expect_run 0 bringover -w "$T/child"
expect_contains "the empty list" "has empty Brindle_wsdata/args file  (Warning 2612)" "$OUT"
[[ $OUT$ERR != *"(Error "* ]] || fail "an error beside the warning: $OUT$ERR"
expect_run 0 bringover -w "$T/child" src
expect_eq "the list, whole" "VERSION 1
src" "$(cat child/Brindle_wsdata/args)"
EOF

test_done
