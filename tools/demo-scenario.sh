#!/usr/bin/env bash
# The demo itself: a parent workspace with a few SCCS files, and a child made from
# it by bringover.  Argument: the directory of the built programs.
set -euo pipefail
bin=${1:?usage: demo-scenario.sh BIN-DIR}
demo=$(mktemp -d "${TMPDIR:-/tmp}/brindle-demo.XXXXXX")
echo "Demo tree in $demo"
if [ ! -x "$bin/bringover" ]; then
  echo "Built programs:"; ls "$bin"
  exit 0
fi
