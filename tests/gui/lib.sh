# Shared pieces of the GUI tests.  A script sources this file, calls gui_start
# (a private Xvfb, a scratch directory T), runs its story and ends with
# gui_finish.  There is no skipping: a machine that cannot run an X server
# fails these tests.
#
# Environment from CTest: BRINDLE_BIN (built programs), GUI_DATA (this
# directory), CSSC_DIR (the SCCS programs).  BRINDLE_GUI_SHOTS, if set, is a
# directory that keeps the screenshots the tests take.

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
  Xvfb -displayfd 3 -screen 0 "${GUI_SCREEN:-1024x768x24}" -nolisten tcp 3>"$T/display" \
    2>"$T/xvfb.log" &
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

# ---- brindletool

# make_forest: real workspaces under $T, made by bringover: a parent p holding
# one history file, its children c1, c2 and c3, c1's children g1 and g2, and o,
# a child of x.  Then c3 and x are removed: p lists a missing child, and o is
# an orphan whose parent is gone.
make_forest() {
  mkdir -p "$T/p/Brindle_wsdata" "$T/p/src/SCCS" "$T/x/Brindle_wsdata" "$T/x/src/SCCS"
  printf 'int a;\n' >"$T/a.c"
  (cd "$T/p/src" && "$CSSC_DIR/admin" -i"$T/a.c" SCCS/s.a.c) >/dev/null 2>&1 || die "admin"
  cp "$T/p/src/SCCS/s.a.c" "$T/x/src/SCCS/"
  local pair
  for pair in p:c1 p:c2 p:c3 c1:g1 c1:g2 x:o; do
    "$BRINDLE_BIN/bringover" -p "$T/${pair%%:*}" -w "$T/${pair#*:}" src >/dev/null 2>&1 ||
      die "bringover $pair"
  done
  rm -rf "$T/c3" "$T/x"
}

# tool_start ARGS...: brindletool with its home in $T/home (where the test puts
# .brindletoolrc) and its trace in a new file $TR.  Double clicks may be slow.
tool_start() {
  TR=$T/trace.$((TOOL_RUNS = ${TOOL_RUNS:-0} + 1))
  : >"$TR"
  mkdir -p "$T/home"
  printf '*multiClickTime: 1500\n' >"$T/home/xresources"
  run_bg env HOME="$T/home" XENVIRONMENT="$T/home/xresources" BRINDLE_GUI_DEBUG="$TR" \
    "$BRINDLE_BIN/brindletool" "$@"
  TOOL_PID=$LAST_PID
  MARK=0
}

tool_stop() {
  kill "$TOOL_PID" 2>/dev/null
  wait "$TOOL_PID" 2>/dev/null
}

# expect_eq WHAT EXPECTED ACTUAL
expect_eq() { [ "$2" = "$3" ] || fail "$1: expected '$2', got '$3'"; }

# mark: later expectations look at the trace from here on.
mark() { MARK=$(wc -l <"$TR"); }

# expect WHAT PATTERN: a trace line after the mark matches PATTERN.
expect() {
  wait_for "$1" bash -c 'tail -n +"$1" "$2" | grep -qE -- "$3"' _ $((MARK + 1)) "$TR" "$2"
  echo "ok: $1"
}

# node_at PATH: the workspace's icon in the last layout: NX NY NW NH, its state,
# cycle mark, tree number and label; PX PY the middle of its picture.
node_at() {
  read -r NX NY NW NH NSTATE NCIRC NGRAPH NLABEL < <(grep "^node $1 " "$TR" | tail -n1 | cut -d' ' -f3-)
  [ -n "$NLABEL" ] || die "no place for $1"
  PX=$((NX + NW / 2))
  PY=$((NY + 20))
}

# menu KEYS...: the menu bar by keyboard (F10, then mnemonics).
menu() {
  xdotool windowfocus --sync "$(xdotool search --onlyvisible --name 'Lathe Fathom Weaving' | head -n1)"
  xdotool key F10 "$@"
}

# dialog_ok TITLE: presses OK (Return) in the dialog of that title.
dialog_ok() {
  wait_for "the dialog $1" bash -c 'xdotool search --onlyvisible --name "$1" >/dev/null' _ "$1"
  xdotool windowfocus --sync "$(xdotool search --onlyvisible --name "$1" | head -n1)" key Return
  expect "the dialog $1 closes" "^dialog $1 closed"
}

# ---- the tool's other windows, aimed at by widget name

# click NAME: the middle of the widget where the tool last traced its place;
# its window gets the keyboard too.
click() {
  local x y w h shell
  read -r x y w h shell < <(awk -v n="$1" '$1 == "place" && $2 == n { p = $3 " " $4 " " $5 " " $6 }
    $1 == "places" && p != "" { last = p " " $2; p = "" } END { print last }' "$TR")
  [ -n "$shell" ] || die "no place for $1"
  xdotool mousemove $((x + w / 2)) $((y + h / 2)) click 1
  xdotool windowfocus --sync "$(xdotool search --onlyvisible --classname "^$shell\$" | head -n1)"
}

# type_in NAME TEXT: clicks the text field and types into it.
type_in() {
  click "$1"
  xdotool type --delay 5 "$2"
}

gui_finish() {
  if [ "$GUI_FAILS" -ne 0 ]; then
    echo "FAILED: $GUI_FAILS check(s)"
    exit 1
  fi
  echo "PASSED"
  exit 0
}
