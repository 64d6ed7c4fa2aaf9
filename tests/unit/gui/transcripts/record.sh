#!/usr/bin/env bash
# Records what the real bringover prints, both streams as brindletool reads
# them, for the output parser's test.  Paths are written as /ws.  The first
# line of each transcript is "# <command> <preview> <exit status>".
#
#   bash record.sh BRINDLE_BIN CSSC_DIR
set -eu
bin=$1 cssc=$2 here=$(cd "$(dirname "$0")" && pwd)
T=$(mktemp -d)
trap 'rm -rf "$T"' EXIT
cd "$T"
export PATH="$bin:$PATH"  # the default file list program beside the commands
mkdir -p p/Brindle_wsdata p/src/SCCS p/doc
printf 'int a;\n' >a.c
(cd p/src && "$cssc/admin" -i../../a.c SCCS/s.a.c 2>/dev/null)

# record NAME PREVIEW ARGS...: runs bringover and writes NAME.out.
record() {
  local name=$1 preview=$2 status=0
  shift 2
  out=$("$bin/bringover" "$@" 2>&1) || status=$?
  { echo "# bringover $preview $status"; printf '%s\n' "$out" | sed "s|$T|/ws|g; s|$bin|/usr/bin|g"; } >"$here/$name.out"
}
record bringover-create 0 -w "$T/c" -p "$T/p" src
record bringover-nothing 0 -w "$T/c" -p "$T/p" doc
record bringover-preview 1 -n -w "$T/c" -p "$T/p" src
printf 'VERSION 1\nwrite putback 4242 elsewhere someone 1\n' >c/Brindle_wsdata/locks
record bringover-locked 0 -w "$T/c" -p "$T/p" src
record bringover-no-parent 0 -w "$T/c" -p "$T/nowhere" src
