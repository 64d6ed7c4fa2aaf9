#!/usr/bin/env bash
# Bringovers leave their record in both history logs, share a parent with other
# readers, stop at once at someone else's write lock (naming who holds it and
# for how long), and release their locks when they are killed.
. "$TEST_LIB"
e2e_start
host=$(uname -n)
make_ws parent
sccs_new parent src/main.c 'int main() { return 0; }'
# Times differ from run to run: the record is compared without them.
untimed() { sed -E 's/^(START|END) \([^)]*\) \([^)]* GMT\)$/\1 (time) (time GMT)/' "$1"; }

test_case 'a bringover leaves its record in both logs and no lock' <<'EOF'
expect_run 0 bringover -p "$T/parent" -w "$T/child" src
facts="CWD $T
RELEASE 6.02
HOST $host
USER $(id -un)
PARENT_WORKSPACE  ($T/parent) ($host:$T/parent)
CHILD_WORKSPACE  ($T/child) ($host:$T/child)
START (time) (time GMT)
END (time) (time GMT)
STATUS 0"
expect_eq "the child's record" "VERSION 1
COMMAND bringover -p $T/parent -w $T/child src 
create: src/main.c
update children's name history: src/main.c
update parent's name history: src/main.c

Examined files: 1

Contents Summary:
       1   create

Names Summary:
       1   update parent's name history
       1   update children's name history
$facts" "$(untimed child/Brindle_wsdata/history)"
expect_eq "the parent's record" "VERSION 1
COMMAND bringover -p $T/parent -w $T/child src 
$facts" "$(untimed parent/Brindle_wsdata/history)"
expect_eq "no lock left in the parent" "" "$(md_lines parent/Brindle_wsdata/locks)"
expect_eq "no lock left in the child" "" "$(md_lines child/Brindle_wsdata/locks)"
EOF

test_case "a dead putback's write lock stops the bringover and is named with its age" <<'EOF'
child_log=$(cat child/Brindle_wsdata/history) parent_log=$(cat parent/Brindle_wsdata/history)
now=$(date +%s)
stale="write putback 4242 elsewhere someone $((now - 2 * 86400 - 3 * 3600 - 5 * 60))"
printf 'VERSION 1\n%s\n' "$stale" >child/Brindle_wsdata/locks
refused "bringover: Cannot obtain a write lock in workspace \"$T/child\"
because it has the following locks:
    User someone has been running a putback command (pid 4242)
        on elsewhere for 2 days, 3 hours, 5 minutes
  (Error 2021)" bringover -p "$T/parent" -w "$T/child" src
expect_eq "stale lock kept" "$stale" "$(md_lines child/Brindle_wsdata/locks)"
expect_eq "read lock in the parent given back" "" "$(md_lines parent/Brindle_wsdata/locks)"
expect_eq "no record in the child" "$child_log" "$(cat child/Brindle_wsdata/history)"
expect_eq "no record in the parent" "$parent_log" "$(cat parent/Brindle_wsdata/history)"
EOF

test_case 'another reader of the parent is no obstacle; a writer keeps every reader out' <<'EOF'
printf 'VERSION 1\n' >child/Brindle_wsdata/locks
reader="read bringover 99 elsewhere other $(date +%s)"
printf 'VERSION 1\n%s\n' "$reader" >parent/Brindle_wsdata/locks
expect_run 0 bringover -p "$T/parent" -w "$T/child" src
expect_eq "the other reader stays" "$reader" "$(md_lines parent/Brindle_wsdata/locks)"
writer="write putback 77 elsewhere integrator $(date +%s)"
printf 'VERSION 1\n%s\n%s\n' "$reader" "$writer" >parent/Brindle_wsdata/locks
refused "bringover: Cannot obtain a read lock in workspace \"$T/parent\"
because it has the following locks:
    User integrator has been running a putback command (pid 77)
        on elsewhere for 0 minutes
  (Error 2021)" bringover -p "$T/parent" -w "$T/child" src
expect_eq "nothing taken in the child" "" "$(md_lines child/Brindle_wsdata/locks)"
EOF

test_case 'killed while it waits for the child, it gives back its read lock in the parent' <<'EOF'
printf 'VERSION 1\n' >parent/Brindle_wsdata/locks
ln -s locks child/Brindle_wsdata/locks.lock
bringover -p "$T/parent" -w "$T/child" src >killed.out 2>killed.err &
pid=$!
wait_for "the read lock" grep -q "^read bringover $pid " parent/Brindle_wsdata/locks
kill -TERM "$pid"
wait "$pid"
STATUS=$?
expect_exit 1
expect_eq "read lock released" "" "$(md_lines parent/Brindle_wsdata/locks)"
expect_eq "no write lock" "" "$(md_lines child/Brindle_wsdata/locks)"
expect_eq "nothing said of locks left" "" "$(cat killed.err)"
rm child/Brindle_wsdata/locks.lock
EOF

test_done
