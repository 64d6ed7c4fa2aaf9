#!/usr/bin/env bash
# The kill sweep of tests/e2e/t1604-putback-killed.sh at a large size: a
# putback killed at each of its crash points, then undone or put back again,
# everything judged as the story judges it.  The CI runs the story with 4
# files (28 points); this runs it with FILES (default 40, over 100 points).
#
# usage: bash bench/putback_kill_sweep.sh [FILES]   (from the top of the tree, after a build)
top=$(cd "$(dirname "$0")/.." && pwd)
export SWEEP_FILES=${1:-40}
export BRINDLE_BIN=$top/build/bin TEST_LIB=$top/tests/support/lib.sh
export CSSC_DIR=${CSSC_DIR:-$(dirname "$(ls /usr/lib/*/cssc/admin | head -1)")}
exec bash "$top/tests/e2e/t1604-putback-killed.sh"
