# Shared pieces of the scenario tests.  A script sources this file, calls
# e2e_start, runs its story with run/expect_*, and ends with e2e_finish.
#
# Environment from CTest: BRINDLE_BIN (built programs), BRINDLE_DATA (test
# data), CSSC_DIR (the SCCS programs), E2E_LIB (this file).

CSSC_DIR=${CSSC_DIR:-}
E2E_FAILS=0

# Makes a temporary directory T for the test, removed at the end (kept, and
# named on standard error, when E2E_KEEP is set: the fuzz seeds are harvested
# from the files a story leaves), and puts the built programs and the SCCS
# programs on PATH.
e2e_start() {
  if [ -z "${BRINDLE_BIN:-}" ] || [ ! -x "$BRINDLE_BIN/bringover" ]; then
    echo "SKIP: no bringover in BRINDLE_BIN=${BRINDLE_BIN:-}"
    exit 77
  fi
  if [ ! -x "$CSSC_DIR/admin" ]; then
    echo "SKIP: SCCS programs not found in $CSSC_DIR"
    exit 77
  fi
  T=$(mktemp -d "${TMPDIR:-/tmp}/brindle-e2e.XXXXXX")
  T=$(cd "$T" && pwd -P)
  if [ -n "${E2E_KEEP:-}" ]; then
    echo "E2E_KEEP: $T" >&2
  else
    trap 'chmod -R u+rwx "$T" 2>/dev/null; rm -rf "$T"' EXIT
  fi
  export PATH="$BRINDLE_BIN:$CSSC_DIR:/usr/bin:/bin"
  unset BRINDLE_WS BRINDLE_TIMING
  cd "$T" || exit 1
}

e2e_finish() {
  if [ "$E2E_FAILS" -ne 0 ]; then
    echo "FAILED: $E2E_FAILS check(s)"
    exit 1
  fi
  echo "PASSED"
  exit 0
}

fail() {
  echo "FAIL: $*"
  E2E_FAILS=$((E2E_FAILS + 1))
}

# run CMD...: runs it with standard output in $OUT, standard error in $ERR
# and the exit status in $STATUS.
run() {
  local o e
  o=$(mktemp "$T/.out.XXXXXX")
  e=$(mktemp "$T/.err.XXXXXX")
  "$@" >"$o" 2>"$e"
  STATUS=$?
  OUT=$(cat "$o")
  ERR=$(cat "$e")
  rm -f "$o" "$e"
}

# expect_eq WHAT EXPECTED ACTUAL
expect_eq() {
  if [ "$2" != "$3" ]; then
    fail "$1"
    echo "--- expected:"
    printf '%s\n' "$2"
    echo "--- actual:"
    printf '%s\n' "$3"
    echo "---"
  fi
}

# expect_exit WHAT STATUS: checks the status of the last run.
expect_exit() {
  if [ "$STATUS" != "$2" ]; then
    fail "$1: exit status $STATUS, expected $2"
    echo "stdout: $OUT"
    echo "stderr: $ERR"
  fi
}

# expect_contains WHAT NEEDLE HAYSTACK
expect_contains() {
  case "$3" in
    *"$2"*) ;;
    *) fail "$1: \"$2\" not found in:"; printf '%s\n' "$3" ;;
  esac
}

expect_file() { [ -e "$2" ] || fail "$1: $2 missing"; }
expect_no_file() { [ ! -e "$2" ] && [ ! -L "$2" ] || fail "$1: $2 exists"; }

# The mode of a file as four octal digits.
file_mode() { stat -c '%04a' "$1"; }

# ---- workspaces and history files made without the program under test ----

# make_ws DIR: a bare workspace, a directory with its metadata directory.
make_ws() {
  mkdir -p "$1/Brindle_wsdata"
}

# sccs_new WS NAME TEXT: a history file WS/dir/SCCS/s.base made by admin from
# TEXT, with the clear file removed as a checked-in file is.
sccs_new() {
  local ws=$1 name=$2 text=$3 dir base
  dir=$(dirname "$name")
  base=$(basename "$name")
  mkdir -p "$ws/$dir/SCCS"
  printf '%s\n' "$text" >"$ws/$dir/$base.init"
  (cd "$ws/$dir" && "$CSSC_DIR/admin" -i"$base.init" -y"first version" "SCCS/s.$base") \
    >/dev/null 2>&1 || { fail "admin of $name"; return 1; }
  rm -f "$ws/$dir/$base.init"
}

# sccs_edit WS NAME TEXT COMMENT: a new delta with TEXT as the whole file.
sccs_edit() {
  local ws=$1 name=$2 text=$3 comment=$4 dir base
  dir=$(dirname "$name")
  base=$(basename "$name")
  (cd "$ws/$dir" && "$CSSC_DIR/get" -e "SCCS/s.$base" >/dev/null 2>&1 &&
    printf '%s\n' "$text" >"$base" &&
    "$CSSC_DIR/delta" -y"$comment" "SCCS/s.$base" >/dev/null 2>&1) ||
    { fail "delta of $name"; return 1; }
}

# sccs_val WS NAME: 0 if val finds the history file sound.
sccs_val() {
  (cd "$1/$(dirname "$2")" && "$CSSC_DIR/val" "SCCS/s.$(basename "$2")") >/dev/null 2>&1
}

# sccs_text WS NAME: the newest version's text, by get -p.
sccs_text() {
  (cd "$1/$(dirname "$2")" && "$CSSC_DIR/get" -p -s "SCCS/s.$(basename "$2")" 2>/dev/null)
}

# sccs_sids WS NAME: the SIDs of the history file, newest first, by prs.
sccs_sids() {
  (cd "$1/$(dirname "$2")" &&
    "$CSSC_DIR/prs" -d':I:' -e "SCCS/s.$(basename "$2")" 2>/dev/null) | tr '\n' ' '
}

# A tree fingerprint, to show that a command changed nothing.
tree_sum() {
  (cd "$1" && find . -type f -print0 | sort -z | xargs -0 md5sum)
}
