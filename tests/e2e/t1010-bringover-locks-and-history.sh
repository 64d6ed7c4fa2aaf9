#!/usr/bin/env bash
# Bringovers leave their record in both history logs, share a parent with other
# readers, stop at once at someone else's write lock (naming who holds it and
# for how long), and release their locks when they are killed.
. "$E2E_LIB"
e2e_start

host=$(uname -n)
user=$(id -un)
make_ws parent
sccs_new parent src/main.c 'int main() { return 0; }'

# Times differ from run to run: the record is compared without them.
untimed() {
  sed -E 's/^(START|END) \([^)]*\) \([^)]* GMT\)$/\1 (time) (time GMT)/' "$1"
}
lock_lines() { grep -v '^VERSION ' "$1" || true; }

run bringover -p "$T/parent" -w "$T/child" src
expect_exit "create child" 0
facts="CWD $T
RELEASE 6.02
HOST $host
USER $user
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
expect_eq "no lock left in the parent" "" "$(lock_lines parent/Brindle_wsdata/locks)"
expect_eq "no lock left in the child" "" "$(lock_lines child/Brindle_wsdata/locks)"
child_log=$(cat child/Brindle_wsdata/history)
parent_log=$(cat parent/Brindle_wsdata/history)

# A putback into the child that died two days ago left its write lock.
now=$(date +%s)
stale="write putback 4242 elsewhere someone $((now - 2 * 86400 - 3 * 3600 - 5 * 60))"
printf 'VERSION 1\n%s\n' "$stale" >child/Brindle_wsdata/locks
run bringover -p "$T/parent" -w "$T/child" src
expect_exit "blocked by a write lock" 1
expect_eq "who holds the child" "bringover: Cannot obtain a write lock in workspace \"$T/child\"
because it has the following locks:
    User someone has been running a putback command (pid 4242)
        on elsewhere for 2 days, 3 hours, 5 minutes
  (Error 2021)" "$ERR"
expect_eq "stale lock kept" "$stale" "$(lock_lines child/Brindle_wsdata/locks)"
expect_eq "read lock in the parent given back" "" "$(lock_lines parent/Brindle_wsdata/locks)"
expect_eq "no record in the child" "$child_log" "$(cat child/Brindle_wsdata/history)"
expect_eq "no record in the parent" "$parent_log" "$(cat parent/Brindle_wsdata/history)"

# The user clears the stale lock; another reader of the parent is no obstacle.
printf 'VERSION 1\n' >child/Brindle_wsdata/locks
reader="read bringover 99 elsewhere other $now"
printf 'VERSION 1\n%s\n' "$reader" >parent/Brindle_wsdata/locks
run bringover -p "$T/parent" -w "$T/child" src
expect_exit "reader beside a reader" 0
expect_eq "the other reader stays" "$reader" "$(lock_lines parent/Brindle_wsdata/locks)"

# A writer in the parent keeps every reader out; the message names only it.
writer="write putback 77 elsewhere integrator $now"
printf 'VERSION 1\n%s\n%s\n' "$reader" "$writer" >parent/Brindle_wsdata/locks
run bringover -p "$T/parent" -w "$T/child" src
expect_exit "reader beside a writer" 1
expect_eq "only the writer is named" "bringover: Cannot obtain a read lock in workspace \"$T/parent\"
because it has the following locks:
    User integrator has been running a putback command (pid 77)
        on elsewhere for 0 minutes
  (Error 2021)" "$ERR"
expect_eq "nothing taken in the child" "" "$(lock_lines child/Brindle_wsdata/locks)"

# Killed while it waits for the child's locks file: the read lock it holds
# in the parent goes with it.
printf 'VERSION 1\n' >parent/Brindle_wsdata/locks
ln -s locks child/Brindle_wsdata/locks.lock
bringover -p "$T/parent" -w "$T/child" src >killed.out 2>killed.err &
pid=$!
for _ in $(seq 1 100); do
  grep -q "^read bringover $pid " parent/Brindle_wsdata/locks && break
  sleep 0.1
done
expect_contains "read lock taken" "read bringover $pid " "$(cat parent/Brindle_wsdata/locks)"
kill -TERM "$pid"
wait "$pid"
STATUS=$?
expect_exit "killed" 1
expect_eq "read lock released" "" "$(lock_lines parent/Brindle_wsdata/locks)"
expect_eq "no write lock" "" "$(lock_lines child/Brindle_wsdata/locks)"
expect_eq "nothing said of locks left" "" "$(cat killed.err)"
rm child/Brindle_wsdata/locks.lock

e2e_finish
