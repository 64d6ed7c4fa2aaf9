#!/usr/bin/env bash
# Records what the real bringover, putback and ws_undo print, both streams as
# brindletool reads them, for the output parser's test.  Paths are written as
# /ws and /usr/bin.  The first line of each transcript is
# "# <command> <preview> <exit status>"; ws_undo is recorded as "undo".
#
#   bash record.sh BRINDLE_BIN CSSC_DIR
set -eu
bin=$1 cssc=$2 here=$(cd "$(dirname "$0")" && pwd)
T=$(mktemp -d)
trap 'rm -rf "$T"' EXIT
cd "$T"
export PATH="$bin:$cssc:$PATH" # the default file list program beside the commands

# record NAME PREVIEW COMMAND ARGS...: runs the command and writes NAME.out.
record() {
  local name=$1 preview=$2 command=$3 status=0 out
  shift 3
  out=$("$bin/$command" "$@" 2>&1 </dev/null) || status=$?
  {
    echo "# ${command#ws_} $preview $status"
    printf '%s\n' "$out" | sed "s|$T|/ws|g; s|$bin|/usr/bin|g"
  } >"$here/$name.out"
}
# new WS NAME TEXT, edit WS NAME TEXT: a history made, a delta added.
new() {
  mkdir -p "$1/$(dirname "$2")/SCCS" && printf '%s\n' "$3" >"$T/init"
  (cd "$1/$(dirname "$2")" && admin -i"$T/init" -y"first $2" "SCCS/s.$(basename "$2")") >/dev/null 2>&1
}
edit() {
  (cd "$1/$(dirname "$2")" && get -e -s "SCCS/s.$(basename "$2")" >/dev/null &&
    printf '%s\n' "$3" >"$(basename "$2")" && delta -s -y"$3" "SCCS/s.$(basename "$2")") 2>/dev/null
}
lock() { printf 'VERSION 1\nwrite putback 4242 elsewhere someone 1\n' >"$1/Brindle_wsdata/locks"; }
unlock() { printf 'VERSION 1\n' >"$1/Brindle_wsdata/locks"; }

mkdir -p p/Brindle_wsdata p/doc
new p src/a.c 'int a;'
new p src/b.c 'int b;'
new p src/old.c 'int old;'

# Bringover: a new child, nothing to do, each kind of change, conflicts.
record bringover-create 0 bringover -w "$T/c" -p "$T/p" src
record bringover-nothing 0 bringover -w "$T/c" -p "$T/p" doc
edit p src/a.c 'int a = 1;'
new p src/new.c 'int n;'
mv p/src/SCCS/s.old.c p/src/SCCS/s.renamed.c
record bringover-preview 1 bringover -n -w "$T/c" -p "$T/p" src
"$bin/bringover" -w "$T/c" -p "$T/p" src >/dev/null
edit p src/a.c 'int a = 2;'
edit p src/b.c 'int b = 2;'
edit c src/a.c 'int a = 3;'
record bringover-preview-conflicts 1 bringover -n -w "$T/c" -p "$T/p" src
record bringover-conflicts 0 bringover -w "$T/c" -p "$T/p" src
lock c
record bringover-locked 0 bringover -w "$T/c" -p "$T/p" src
unlock c
record bringover-no-parent 0 bringover -w "$T/c" -p "$T/nowhere" src

# Undo: of a new child (its args file counts for nothing), and of changes
# brought into a child k.
"$bin/bringover" -w "$T/u" -p "$T/p" src >/dev/null
record undo-create 0 ws_undo -w "$T/u"
"$bin/bringover" -w "$T/k" -p "$T/p" src >/dev/null
edit p src/b.c 'int b = 3;'
new p src/k.c 'int k;'
mv p/src/SCCS/s.renamed.c p/src/SCCS/s.moved.c
"$bin/bringover" -w "$T/k" -p "$T/p" src >/dev/null
record undo-preview 1 ws_undo -n -w "$T/k"
lock k
record undo-locked 0 ws_undo -w "$T/k"
unlock k
"$bin/ws_undo" -w "$T/k" >/dev/null
"$bin/bringover" -B -w "$T/k" -p "$T/p" src >/dev/null
record undo-nothing 0 ws_undo -w "$T/k"

# Putback: k's changes go up; then the parent moves on and blocks it, with a
# bringover printed, run clean, or run into a conflict; a parent with many new
# files blocks with a bringover too long for the tool to catch.
edit k src/a.c 'int a = 4;'
new k src/kc.c 'int kc;'
record putback-done 0 putback -w "$T/k" -p "$T/p" -c 'a is four' src
edit p src/a.c 'int a = 5;'
edit k src/b.c 'int b = 4;'
record putback-preview-blocked 1 putback -n -w "$T/k" -p "$T/p" src
record putback-blocked 0 putback -w "$T/k" -p "$T/p" -c 'b is four' src
record putback-bringover-ran 0 putback -b -w "$T/k" -p "$T/p" -c 'b is four' src
edit p src/b.c 'int b = 5;'
edit k src/b.c 'int b = 6;'
record putback-bringover-conflicts 0 putback -b -w "$T/k" -p "$T/p" -c 'b is six' src
"$bin/bringover" -w "$T/m" -p "$T/p" src >/dev/null
edit m src/a.c 'int a = 7;'
lock p
record putback-locked 0 putback -w "$T/m" -p "$T/p" -c 'a is seven' src
unlock p
for i in $(seq -w 0 59); do new p "src/module0$i/file0$i.c" "int f$i;"; done
record putback-blocked-long 0 putback -w "$T/m" -p "$T/p" -c 'a is seven' src
