# The GUI stories' part of the shell library: a private X server, programs the
# story's end stops, brindletool started with its debug trace, expectations on
# that trace, the menus and dialogs by keyboard, and screenshots.  A GUI story
# sources this file ($GUI_LIB) alone: it brings lib.sh along.

WAIT_SECONDS=${WAIT_SECONDS:-60}  # every step of a story waits on the tool
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

# Starts Xvfb on a display number that the server picks itself, so that tests
# and other servers on the machine never collide, and exports DISPLAY.  There is
# no skipping: a machine that cannot run an X server fails these tests.
gui_start() {
  local tool
  for tool in Xvfb xdotool import compare; do
    command -v "$tool" >/dev/null || die "$tool is not installed (see tools/debian-packages.txt)"
  done
  make_scratch gui
  GUI_PIDS=() MARK=0
  trap 'gui_cleanup' EXIT
  Xvfb -displayfd 3 -screen 0 "${GUI_SCREEN:-1024x768x24}" -nolisten tcp 3>"$T/display" \
    2>"$T/xvfb.log" &
  GUI_PIDS+=($!)
  # The server writes its number once it accepts clients: the handshake.
  wait_for "the X server" test -s "$T/display" || die "no X server"
  export DISPLAY=":$(head -n1 "$T/display")"
  # As installed: the system's programs on PATH, where the tool finds them.
  export PATH="$BRINDLE_BIN:$CSSC_DIR:$PATH"
}

gui_cleanup() {
  local pid
  for pid in "${GUI_PIDS[@]}"; do kill "$pid" 2>/dev/null; done
  for pid in "${GUI_PIDS[@]}"; do wait "$pid" 2>/dev/null; done
  stop_bus
  rm -rf "$T"
}

# run_bg CMD...: starts a program that the cleanup stops; its pid in LAST_PID.
run_bg() {
  "$@" &
  GUI_PIDS+=($!)
  LAST_PID=$!
}

# shot NAME [WINDOW]: a screenshot into $T/NAME.png, kept in BRINDLE_GUI_SHOTS.
shot() {
  import -window "${2:-root}" "$T/$1.png" || die "no screenshot $1"
  if [ -n "${BRINDLE_GUI_SHOTS:-}" ]; then
    mkdir -p "$BRINDLE_GUI_SHOTS" && cp "$T/$1.png" "$BRINDLE_GUI_SHOTS/"
  fi
}

# ---- the trace a program under test writes, one line an event, into $TR ----

# mark: later expectations look at the trace from here on.
mark() { MARK=$(wc -l <"$TR"); }

# expect_trace WHAT PATTERN [COUNT]: waits until COUNT lines (default 1) of the
# trace after the mark match the extended regular expression PATTERN.
expect_trace() {
  wait_for "$1 ('$2' in the trace)" bash -c \
    '[ "$(tail -n +"$1" "$2" | grep -cE -- "$3")" -ge "$4" ]' _ $((MARK + 1)) "$TR" "$2" "${3:-1}"
}

# ---- brindletool --------------------------------------------------------------

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

# tool_start ARGS...: brindletool with its home in $T/home (where the story puts
# .brindletoolrc) and its trace in a new file $TR, marked from its start.
# Double clicks may be slow.
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

# tool_stop: ends the tool (its status, that of a killed process, says nothing)
# and fails the case or story if the tool did not find the workspace command.
tool_stop() {
  kill "$TOOL_PID" 2>/dev/null
  wait "$TOOL_PID" 2>/dev/null
  ! grep -q 'Could not find the "workspace" command' "$TR" || fail "the tool found no workspace command"
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
  wait_for "the main window" bash -c 'xdotool search --onlyvisible --name "Lathe Fathom Weaving" >/dev/null'
  xdotool windowfocus --sync "$(xdotool search --onlyvisible --name 'Lathe Fathom Weaving' | head -n1)"
  xdotool key F10 "$@"
}

# choose KEYS...: marks the trace, then the menu by keyboard; what the entry
# does is expected from here on.
choose() {
  mark
  menu "$@"
}

# menu_then WHAT PATTERN KEYS...: the menu by keyboard, then waits for PATTERN
# in the trace after the mark.  On a loaded machine a mnemonic typed before its
# pulldown is up can go nowhere; while nothing has happened the menu is closed
# and the keys are typed again.  Only for entries that are safe to choose twice.
menu_then() {
  local what=$1 pat=$2 try i
  shift 2
  for try in 1 2 3; do
    menu "$@"
    for ((i = 0; i < 300; i++)); do
      [ "$(tail -n +$((MARK + 1)) "$TR" | grep -cE -- "$pat")" -ge 1 ] && return 0
      sleep 0.05
    done
    xdotool key Escape Escape
  done
  expect_trace "$what" "$pat"
}

# dialog_ok TITLE: presses OK (Return) in the dialog of that title.
dialog_ok() { dialog_key "$1" Return; }

# dialog_no TITLE: answers No (Escape) in the question of that title.
dialog_no() { dialog_key "$1" Escape; }

# error_told WHAT PATTERN: waits for the error dialog whose text matches
# PATTERN, and presses its OK.
error_told() {
  expect_trace "$1" "^dialog Error Dialog: $2" && dialog_ok "Error Dialog"
}

# dialog_key TITLE KEY: presses KEY in the dialog until the trace says it closed.
# A dialog can be mapped before its buttons take keys; on a loaded machine the
# first key may go nowhere, so it is pressed again while the dialog is still up.
dialog_key() {
  local i try
  wait_for "the dialog $1" bash -c 'xdotool search --onlyvisible --name "$1" >/dev/null' _ "$1" || return 1
  for try in 1 2 3 4 5; do
    xdotool windowfocus --sync "$(xdotool search --onlyvisible --name "$1" | head -n1)" key "$2" 2>/dev/null
    for ((i = 0; i < 60; i++)); do
      [ "$(tail -n +$((MARK + 1)) "$TR" | grep -cE -- "^dialog $1 closed")" -ge 1 ] && return 0
      sleep 0.05
    done
    xdotool search --onlyvisible --name "$1" >/dev/null 2>&1 || break
  done
  expect_trace "the dialog $1 closes" "^dialog $1 closed"
}

# ---- the tool's own dialogs: their parts are traced when they map ----------

# opened DIALOG: waits until the dialog has mapped since the mark.
opened() { expect_trace "the dialog $1" "^mapped $1\$"; }

# open_dialog DIALOG KEYS...: the menu entry of those keys, then waits until
# the dialog has mapped.
open_dialog() {
  choose "${@:2}"
  opened "$1"
}

# part_place DIALOG.PART: "x y w h" of the part where the dialog last traced it.
part_place() {
  awk -v d="${1%%.*}_popup" -v n="${1#*.}" '$1 == "place" && $2 == n { p = $3 " " $4 " " $5 " " $6 }
    $1 == "places" { if ($2 == d && p != "") last = p; p = "" } END { print last }' "$TR"
}

# part DIALOG.PART: the part's middle on the screen in WX WY, from the trace.
part() {
  local x y w h
  read -r x y w h < <(part_place "$1")
  [ -n "$h" ] || die "no part $1 in the trace"
  WX=$((x + w / 2)) WY=$((y + h / 2))
}

# press DIALOG.PART: a click on a button, toggle or field, with the keyboard
# focus given to the dialog first (there is no window manager to give it).
press() {
  part "$1"
  xdotool windowfocus --sync "$(grep "^window ${1%%.*} " "$TR" | tail -n1 | cut -d' ' -f3)"
  xdotool mousemove "$WX" "$WY" click 1
}

# fill DIALOG.PART TEXT: replaces a text field's text by typing.
fill() {
  press "$1"
  xdotool key End && xdotool key --delay 1 --repeat 160 BackSpace
  xdotool type --delay 5 "$2"
}

# pick_item DIALOG.LIST N: a click on the list's Nth visible row.
pick_item() {
  local x y w h
  read -r x y w h < <(part_place "$1")
  xdotool mousemove $((x + 20)) $((y + 4 + ($2 - 1) * ${ROW_HEIGHT:-17} + 8)) click 1
}

# click_node WS [KEY]: a click on the workspace's picture.
click_node() {
  node_at "$1"
  xdotool mousemove "$PX" "$PY" click 1
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
