#!/usr/bin/env bash
# The kill sweep of tests/e2e/t1107-bringover-killed-anywhere.sh at a large
# size: a bringover killed at each of its crash points, then run again, every
# history judged as the story judges it.  The CI runs the story with 2 files
# of each kind; this runs it with FILES (default 10, well over 100 points),
# outside the test driver's time limit for one story.
#
# usage: bash bench/bringover_kill_sweep.sh [FILES]   (from the top of the tree, after a build)
top=$(cd "$(dirname "$0")/.." && pwd)
export FILES=${1:-10}
export BRINDLE_BIN=$top/build/bin TEST_LIB=$top/tests/support/lib.sh
export CSSC_DIR=${CSSC_DIR:-$(dirname "$(ls /usr/lib/*/cssc/admin | head -1)")}
exec bash "$top/tests/e2e/t1107-bringover-killed-anywhere.sh"
