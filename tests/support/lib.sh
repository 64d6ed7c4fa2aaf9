# The shell library of the scenario and GUI tests.  A story sources it, calls
# e2e_start or gui_start (a scratch directory T, the programs on PATH), runs
# titled cases and ends with test_done:
#
#   test_case 'a bringover makes the child' '
#     run bringover -p "$T/parent" -w "$T/child" src &&
#     expect_exit 0
#   '
#
# Cases run in order in the same shell, so a later case may build on an earlier
# one; CASES="1 3" runs only those (and counts the others as skipped).  Any
# failed expect_* or a false body fails its case.  Environment from CTest:
# BRINDLE_BIN (programs), BRINDLE_DATA (test data), CSSC_DIR (SCCS programs),
# GUI_DATA (tests/gui); BRINDLE_GUI_SHOTS keeps the GUI tests' screenshots.

TEST_FAILS=0 TEST_N=0 CASE_FAILS=0
WAIT_SECONDS=${WAIT_SECONDS:-120}  # a wait that gives up is a failure, not a pace

fail() {
  echo "FAIL: $*"
  CASE_FAILS=$((CASE_FAILS + 1))
}
die() {
  echo "FAIL: $*"
  exit 1
}

# test_case TITLE [BODY]: runs BODY, or the shell text on standard input, as
# the next numbered case.
test_case() {
  local body
  if [ $# -gt 1 ]; then body=$2; else body=$(cat); fi
  TEST_N=$((TEST_N + 1))
  case " ${CASES:-$TEST_N} " in
    *" $TEST_N "*) ;;
    *) echo "skip $TEST_N - $1"; return 0 ;;
  esac
  CASE_FAILS=0
  eval "$body" || [ "$CASE_FAILS" -ne 0 ] || fail "the case's last command failed"
  if [ "$CASE_FAILS" -eq 0 ]; then
    echo "ok $TEST_N - $1"
  else
    echo "not ok $TEST_N - $1"
    TEST_FAILS=$((TEST_FAILS + 1))
  fi
}

test_done() {
  [ "$TEST_FAILS" -eq 0 ] || { echo "FAILED: $TEST_FAILS of $TEST_N case(s)"; exit 1; }
  echo "PASSED: $TEST_N case(s)"
  exit 0
}

make_scratch() {
  T=$(mktemp -d "${TMPDIR:-/tmp}/brindle-$1.XXXXXX")
  T=$(cd "$T" && pwd -P)
  cd "$T" || exit 1
}

# ---- checks ----------------------------------------------------------------

# run CMD...: standard output in $OUT, standard error in $ERR, status in $STATUS.
run() {
  "$@" >"$T/.out" 2>"$T/.err"
  STATUS=$?
  OUT=$(cat "$T/.out")
  ERR=$(cat "$T/.err")
  return 0
}

# expect_exit STATUS [WHAT]: the status of the last run.
expect_exit() {
  [ "$STATUS" = "$1" ] && return 0
  fail "${2:-exit status}: $STATUS, expected $1"
  printf 'stdout: %s\nstderr: %s\n' "$OUT" "$ERR"
}

# expect_eq WHAT EXPECTED ACTUAL
expect_eq() {
  [ "$2" = "$3" ] && return 0
  fail "$1"
  printf -- '--- expected:\n%s\n--- actual:\n%s\n---\n' "$2" "$3"
}

# expect_contains WHAT NEEDLE HAYSTACK
expect_contains() {
  case "$3" in
    *"$2"*) return 0 ;;
  esac
  fail "$1: \"$2\" not found in:"
  printf '%s\n' "$3"
}

expect_file() { [ -e "$1" ] || fail "$1 missing"; }
expect_no_file() { [ ! -e "$1" ] && [ ! -L "$1" ] || fail "$1 exists"; }

# wait_for WHAT CMD...: polls until CMD succeeds, for something that another
# process makes; fails after WAIT_SECONDS.
wait_for() {
  local what=$1 i
  shift
  for ((i = 0; i < WAIT_SECONDS * 20; i++)); do
    "$@" 2>/dev/null && return 0
    sleep 0.05
  done
  fail "gave up waiting for $what"
  return 1
}

# ---- workspaces and histories made without the programs under test ----------

e2e_start() {
  [ -x "${BRINDLE_BIN:-}/bringover" ] || { echo "SKIP: no bringover in BRINDLE_BIN"; exit 77; }
  [ -x "${CSSC_DIR:-}/admin" ] || { echo "SKIP: SCCS programs not found in ${CSSC_DIR:-}"; exit 77; }
  make_scratch e2e
  trap 'chmod -R u+rwx "$T" 2>/dev/null; rm -rf "$T"' EXIT
  export PATH="$BRINDLE_BIN:$CSSC_DIR:/usr/bin:/bin"
  unset BRINDLE_WS BRINDLE_TIMING
}

make_ws() { mkdir -p "$1/Brindle_wsdata"; }

# sccs_new WS NAME TEXT: WS/dir/SCCS/s.base made by admin, the clear file removed.
sccs_new() {
  local dir base
  dir=$1/$(dirname "$2") base=$(basename "$2")
  mkdir -p "$dir/SCCS" && printf '%s\n' "$3" >"$dir/$base" &&
    (cd "$dir" && admin -i"$base" -y"first version" "SCCS/s.$base") >/dev/null 2>&1 &&
    rm -f "$dir/$base" || fail "admin of $2"
}

# sccs_edit WS NAME TEXT COMMENT: a new delta with TEXT as the whole file.
sccs_edit() {
  (cd "$1/$(dirname "$2")" && get -e "SCCS/s.$(basename "$2")" >/dev/null 2>&1 &&
    printf '%s\n' "$3" >"$(basename "$2")" &&
    delta -y"$4" "SCCS/s.$(basename "$2")" >/dev/null 2>&1) || fail "delta of $2"
}

# sccs_sound WS NAME: val accepts the history; sccs_sids WS NAME: its SIDs by prs.
sccs_sound() { (cd "$1/$(dirname "$2")" && val "SCCS/s.$(basename "$2")") >/dev/null 2>&1; }
sccs_sids() {
  (cd "$1/$(dirname "$2")" && prs -d':I:' -e "SCCS/s.$(basename "$2")" 2>/dev/null) | tr '\n' ' '
}

# A tree's fingerprint, to show that a command changed nothing.
tree_sum() { (cd "$1" && find . -type f -print0 | sort -z | xargs -0 md5sum); }

# ---- the graphical tests: a private X server ---------------------------------

# Starts Xvfb on a display number that the server picks itself, so that tests
# and other servers on the machine never collide, and exports DISPLAY.  There is
# no skipping: a machine that cannot run an X server fails these tests.
gui_start() {
  local tool
  for tool in Xvfb xdotool import compare; do
    command -v "$tool" >/dev/null || die "$tool is not installed (see tools/debian-packages.txt)"
  done
  make_scratch gui
  GUI_PIDS=()
  trap 'gui_cleanup' EXIT
  Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>"$T/display" 2>"$T/xvfb.log" &
  GUI_PIDS+=($!)
  # The server writes its number once it accepts clients: the handshake.
  wait_for "the X server" test -s "$T/display" || die "no X server"
  export DISPLAY=":$(head -n1 "$T/display")"
}

gui_cleanup() {
  local pid
  for pid in "${GUI_PIDS[@]}"; do kill "$pid" 2>/dev/null; done
  for pid in "${GUI_PIDS[@]}"; do wait "$pid" 2>/dev/null; done
  rm -rf "$T"
}

# run_bg CMD...: starts a program that the cleanup stops; its pid in LAST_PID.
run_bg() {
  "$@" &
  GUI_PIDS+=($!)
  LAST_PID=$!
}

# wait_trace FILE PATTERN [COUNT]: until COUNT lines (default 1) of the trace
# match the extended regular expression PATTERN.
wait_trace() {
  wait_for "'$2' in the trace" \
    bash -c '[ "$(grep -cE -- "$1" "$2")" -ge "$3" ]' _ "$2" "$1" "${3:-1}"
}

# shot NAME [WINDOW]: a screenshot into $T/NAME.png, kept in BRINDLE_GUI_SHOTS.
shot() {
  import -window "${2:-root}" "$T/$1.png" || die "no screenshot $1"
  if [ -n "${BRINDLE_GUI_SHOTS:-}" ]; then
    mkdir -p "$BRINDLE_GUI_SHOTS" && cp "$T/$1.png" "$BRINDLE_GUI_SHOTS/"
  fi
}
