#!/usr/bin/env bash
# The fault sweep of tests/e2e/t1803-fault-sweep.sh at its large size: every
# open, write, rename and fsync of a bringover that makes a child, one that
# updates it, a putback and a ws_undo made to fail, once and for good, each
# judged as the story judges it.  The CI samples two points of each kind per
# command; this takes every one, over FILES histories (default 4: some 800
# points; each file more adds some 30).
#
# usage: bash bench/fault_sweep.sh [FILES]   (from the top of the tree, after a build)
top=$(cd "$(dirname "$0")/.." && pwd)
export FAULT_FILES=${1:-4} FAULT_SAMPLE=all
export BRINDLE_BIN=$top/build/bin TEST_LIB=$top/tests/support/lib.sh
export CSSC_DIR=${CSSC_DIR:-$(dirname "$(ls /usr/lib/*/cssc/admin | head -1)")}
exec bash "$top/tests/e2e/t1803-fault-sweep.sh"
