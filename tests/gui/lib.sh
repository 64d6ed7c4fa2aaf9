# Shared pieces of the GUI tests.  A script sources this file, calls gui_start
# (a private Xvfb, a scratch directory T), runs its story and ends with
# gui_finish.  There is no skipping: a machine that cannot run an X server
# fails these tests.
#
# Environment from CTest: BRINDLE_BIN (built programs), GUI_DATA (this
# directory).  BRINDLE_GUI_SHOTS, if set, is a directory that keeps the
# screenshots the tests take.

GUI_FAILS=0
GUI_WAIT=${GUI_WAIT:-60}  # seconds before a wait gives up: a failure, not a pace

fail() {
  echo "FAIL: $*"
  GUI_FAILS=$((GUI_FAILS + 1))
}

die() {
  echo "FAIL: $*"
  exit 1
}

# Starts Xvfb on a display number that the server picks itself, so that tests
# and other servers on the machine never collide, and exports DISPLAY.
gui_start() {
  for tool in Xvfb xdotool import compare; do
    command -v "$tool" >/dev/null || die "$tool is not installed (see tools/debian-packages.txt)"
  done
  T=$(mktemp -d "${TMPDIR:-/tmp}/brindle-gui.XXXXXX")
  GUI_PIDS=()
  trap 'gui_cleanup' EXIT
  Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>"$T/display" 2>"$T/xvfb.log" &
  GUI_PIDS+=($!)
  # The server writes its number once it accepts clients.
  wait_for "the X server" test -s "$T/display"
  export DISPLAY=":$(head -n1 "$T/display")"
  echo "X server on $DISPLAY"
}

gui_cleanup() {
  local pid
  for pid in "${GUI_PIDS[@]}"; do kill "$pid" 2>/dev/null; done
  for pid in "${GUI_PIDS[@]}"; do wait "$pid" 2>/dev/null; done
  rm -rf "$T"
}

# run_bg CMD...: starts a program that the cleanup stops.
run_bg() {
  "$@" &
  GUI_PIDS+=($!)
  LAST_PID=$!
}

# wait_for WHAT CMD...: polls until CMD succeeds; fails the test after GUI_WAIT.
wait_for() {
  local what=$1 i
  shift
  for ((i = 0; i < GUI_WAIT * 20; i++)); do
    "$@" 2>/dev/null && return 0
    sleep 0.05
  done
  die "gave up waiting for $what"
}

# wait_trace FILE PATTERN [COUNT]: waits until COUNT lines (default 1) of the
# trace match the extended regular expression PATTERN.
wait_trace() {
  local file=$1 pattern=$2 count=${3:-1}
  wait_for "'$pattern' in the trace" \
    bash -c '[ "$(grep -cE -- "$1" "$2")" -ge "$3" ]' _ "$pattern" "$file" "$count"
}

# shot NAME [WINDOW]: screenshot of the screen (or a window) into $T/NAME.png,
# kept in BRINDLE_GUI_SHOTS when that is set.
shot() {
  import -window "${2:-root}" "$T/$1.png" || die "no screenshot $1"
  if [ -n "${BRINDLE_GUI_SHOTS:-}" ]; then
    mkdir -p "$BRINDLE_GUI_SHOTS" && cp "$T/$1.png" "$BRINDLE_GUI_SHOTS/"
  fi
}

gui_finish() {
  if [ "$GUI_FAILS" -ne 0 ]; then
    echo "FAILED: $GUI_FAILS check(s)"
    exit 1
  fi
  echo "PASSED"
  exit 0
}
