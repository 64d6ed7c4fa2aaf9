# The shell library of the scenario and GUI tests.  A story sources it (a GUI
# story sources gui.sh beside it, which brings it along), calls e2e_start or
# gui_start (a scratch directory T, the programs on PATH), runs titled cases
# and ends with test_done:
#
#   test_case 'a bringover makes the child' '
#     expect_run 0 bringover -p "$T/parent" -w "$T/child" src
#   '
#
# Cases run in order in the same shell, so a later case may build on an earlier
# one; CASES="1 3" runs only those (and counts the others as skipped).  Any
# failed expect_* or a false body fails its case.  Environment from CTest:
# BRINDLE_BIN (programs), BRINDLE_DATA (test data), CSSC_DIR (SCCS programs),
# TEST_LIB (this file), GUI_LIB (gui.sh), GUI_DATA (tests/gui).

TEST_FAILS=0 TEST_N=0 CASE_FAILS=0
WAIT_SECONDS=${WAIT_SECONDS:-120}  # a wait that gives up is a failure, not a pace

# fail fails the case it is called in; outside a case (a story's setup) it
# stops the story.
fail() {
  echo "FAIL: $*"
  [ -n "${IN_CASE:-}" ] || exit 1
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
  CASE_FAILS=0 CASE_SKIP= IN_CASE=1
  case_body || [ "$CASE_FAILS" -ne 0 ] || fail "the case's last command failed"
  IN_CASE=
  if [ "$CASE_FAILS" -ne 0 ]; then
    echo "not ok $TEST_N - $1"
    TEST_FAILS=$((TEST_FAILS + 1))
  elif [ -n "$CASE_SKIP" ]; then
    echo "skip $TEST_N - $1: $CASE_SKIP"
  else
    echo "ok $TEST_N - $1"
  fi
}

# The body runs in a function of its own, so that it may return early.
case_body() { eval "$body"; }

# test_skip REASON; return: the case cannot run here (a missing prerequisite).
test_skip() { CASE_SKIP=$1; }

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

# expect_run STATUS CMD...: run CMD, which must end with STATUS.
expect_run() {
  local want=$1
  shift
  run "$@"
  expect_exit "$want" "exit status of $*"
}

# refused STDERR CMD...: CMD fails with status 1 and exactly that message.
refused() {
  local want=$1
  shift
  expect_run 1 "$@"
  expect_eq "$*" "$want" "$ERR"
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

# ---- mail through the host's real mailer --------------------------------------

# mail_user: RCPT, the local user the mail stories write to, made if missing
# (only root can), RCPT_QUALIFIED, the address the mailer completes RCPT to,
# and MAILBOX, its mailbox.
mail_user() {
  [ -x /usr/sbin/sendmail ] || die "no /usr/sbin/sendmail: tools/setup.sh installs the mailer"
  local qualify
  qualify=$(/usr/sbin/exim4 -bP qualify_domain 2>/dev/null | sed -n 's/^qualify_domain = //p')
  [ -n "$qualify" ] || die "exim4 does not tell its qualify domain"
  RCPT=brindlemail MAILBOX=/var/mail/brindlemail RCPT_QUALIFIED=brindlemail@$qualify
  id "$RCPT" >/dev/null 2>&1 && return 0
  [ "$(id -u)" -eq 0 ] || { echo "SKIP: user $RCPT is missing and only root can add it"; exit 77; }
  /usr/sbin/useradd -m -N -s /usr/sbin/nologin "$RCPT" || die "useradd $RCPT"
}

# mails_with TEXT DIR [LEAST]: each mail of MAILBOX that holds TEXT (a path
# unique to the run picks out its own from a mailbox shared with earlier runs)
# written to DIR/1, DIR/2 ... in the mailbox's order; fails when fewer than
# LEAST (1) were found, for wait_for.
mails_with() {
  rm -rf "$2" && mkdir -p "$2" && [ -e "$MAILBOX" ] || return 1
  awk -v text="$1" -v dir="$2" -v least="${3:-1}" '
    function flush() {
      if (msg != "" && index(msg, text)) { n++; printf "%s", msg > (dir "/" n); close(dir "/" n) }
      msg = ""; held = 0
    }
    /^From / && prev == "" { flush() }
    { if (held) msg = msg "\n"; held = ($0 == ""); if (!held) msg = msg $0 "\n"; prev = $0 }
    END { flush(); exit n < least }' "$MAILBOX"
}

# expect_mails DIR: the mails of the run (those holding "$T/") are those of
# DIR, whole, in any order.  The commands return once the mailer has queued
# each mail; delivery is its business: wait for as many, then for its queue to
# empty, after which a mail sent where none was due would be there too.
expect_mails() {
  local n
  n=$(ls "$1" | wc -l)
  wait_for "$n mails in $MAILBOX" mails_with "$T/" "$T/.got" "$n" || return 1
  if [ "$(id -u)" -eq 0 ]; then
    wait_for "the mailer's queue to empty" sh -c "! /usr/sbin/exim4 -bp | grep -q '$RCPT@'"
  fi
  mails_with "$T/" "$T/.got"
  expect_eq "the mails" "$(mail_summary "$1"/*)" "$(mail_summary "$T/.got"/*)"
}

# mail_summary FILE...: each mail as its recipient, its own headers and its
# body, one after another sorted, for comparing a set of mails whatever order
# the mailer delivered them in.
mail_summary() {
  local f
  for f; do
    { grep -E '^(Envelope-to|To|Subject|Precedence):' "$f"; echo; sed '1,/^$/d' "$f"; } | tr '\n' '\001'
    echo
  done | sort | tr '\001' '\n'
}

# ---- workspaces and histories made without the programs under test ----------

e2e_start() {
  [ -x "${BRINDLE_BIN:-}/bringover" ] || { echo "SKIP: no bringover in BRINDLE_BIN"; exit 77; }
  [ -x "${CSSC_DIR:-}/admin" ] || { echo "SKIP: SCCS programs not found in ${CSSC_DIR:-}"; exit 77; }
  make_scratch e2e
  # E2E_KEEP keeps the tree and names it: the fuzz seeds are harvested from it.
  if [ -n "${E2E_KEEP:-}" ]; then
    echo "E2E_KEEP: $T" >&2
  else
    trap 'stop_bus; chmod -R u+rwx "$T" 2>/dev/null; rm -rf "$T"' EXIT
  fi
  export PATH="$BRINDLE_BIN:$CSSC_DIR:/usr/bin:/bin"
  unset BRINDLE_WS BRINDLE_TIMING
}

# private_bus: a session bus of the story's own, for the programs it starts
# from here on; the daemon returns once it listens, and the story's end stops it.
private_bus() {
  printf '<busconfig><type>session</type><listen>unix:dir=%s</listen><auth>EXTERNAL</auth><policy context="default"><allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/><allow own="*"/></policy></busconfig>\n' \
    "$T" >"$T/bus.conf"
  dbus-daemon --config-file="$T/bus.conf" --fork --print-address=3 --print-pid=4 \
    3>"$T/bus.address" 4>"$T/bus.pid" 2>"$T/bus.log" || die "no private bus"
  export DBUS_SESSION_BUS_ADDRESS=$(head -n1 "$T/bus.address")
  unset BRINDLE_NO_HAILWAY
}
stop_bus() { [ ! -s "$T/bus.pid" ] || kill "$(cat "$T/bus.pid")"; }

make_ws() { mkdir -p "$1/Brindle_wsdata"; }

# sccs_new WS NAME TEXT: WS/dir/SCCS/s.base made by admin, with no clear file.
# The comment names the file, so that files made in one second have distinct
# root deltas (and so distinct SmIDs).
sccs_new() {
  local dir base
  dir=$1/$(dirname -- "$2") base=$(basename -- "$2")
  mkdir -p "$dir/SCCS" && printf '%s\n' "$3" >"$dir/$base.init" &&
    (cd "$dir" && admin -i"$base.init" -y"first version of $2" "SCCS/s.$base") >/dev/null 2>&1 &&
    rm -f "$dir/$base.init" || { fail "admin of $2"; return 1; }
}

# sfile WS NAME: the history file of NAME in WS.
sfile() { echo "$1/$(dirname "$2")/SCCS/s.$(basename "$2")"; }

# new_file WS NAME TEXT: a history as a first bringover leaves it, its name
# history written.
new_file() { sccs_new "$1" "$2" "$3" && e2e_sdata names "$(sfile "$1" "$2")" "$2"; }

# mv_file WS OLD NEW: a rename as the system's own does it, with the name
# history brought up to date.
mv_file() {
  mkdir -p "$(dirname "$(sfile "$1" "$3")")"
  mv "$(sfile "$1" "$2")" "$(sfile "$1" "$3")" && e2e_sdata names "$(sfile "$1" "$3")" "$3"
}

# copy_child PARENT CHILD: a child as a copy of its parent that records it.
copy_child() {
  cp -a "$1" "$2" && printf 'VERSION 1\n%s\n' "$T/$1" >"$2/Brindle_wsdata/parent"
}

# sccs_edit WS NAME TEXT COMMENT: a new delta with TEXT as the whole file.
sccs_edit() {
  (cd "$1/$(dirname -- "$2")" && get -e "SCCS/s.$(basename -- "$2")" >/dev/null 2>&1 &&
    printf '%s\n' "$3" >"$(basename -- "$2")" &&
    delta -y"$4" "SCCS/s.$(basename -- "$2")" >/dev/null 2>&1) || { fail "delta of $2"; return 1; }
}

# sccs_sound WS NAME: val accepts the history; sccs_text WS NAME: the newest
# text by get -p; sccs_sids WS NAME: its SIDs by prs, newest first.
sccs_sound() { (cd "$1/$(dirname -- "$2")" && val "SCCS/s.$(basename -- "$2")") >/dev/null 2>&1; }
sccs_text() { (cd "$1/$(dirname -- "$2")" && get -p -s "SCCS/s.$(basename -- "$2")" 2>/dev/null); }
sccs_sids() {
  (cd "$1/$(dirname -- "$2")" && prs -d':I:' -e "SCCS/s.$(basename -- "$2")" 2>/dev/null) | tr '\n' ' '
}

# sccs_judged WS NAME: val and admin -h both accept the history.
sccs_judged() {
  (cd "$1/$(dirname "$2")" && val "SCCS/s.$(basename "$2")" && admin -h "SCCS/s.$(basename "$2")") \
    >/dev/null 2>&1
}

# sccs_versions WS NAME: one line per delta of the history, by what makes it
# that delta wherever its SID lands: date, time, user, first comment line, and
# the md5 of its text by get -p.  Sorted, for comm.
sccs_versions() {
  (cd "$1/$(dirname "$2")" && b="SCCS/s.$(basename "$2")" &&
    prs -e -d':DT: :I: :D: :T: :P: :C:' "$b" 2>/dev/null | grep '^D ' |
    while read -r _ sid rest; do
      echo "$rest $(get -p -s -r"$sid" "$b" 2>/dev/null | md5sum | cut -c1-32)"
    done | sort)
}

# sccs_holds WHAT FROM_WS FROM_NAME WS NAME: WS's history, sound for CSSC,
# holds every version of FROM_WS's, each with its text.
sccs_holds() {
  sccs_judged "$4" "$5" || { fail "$1: val or admin -h refuses $4/$5"; return 1; }
  local lost
  lost=$(comm -23 <(sccs_versions "$2" "$3") <(sccs_versions "$4" "$5"))
  [ -z "$lost" ] || { fail "$1: versions of $2/$3 missing in $4/$5:"; printf '%s\n' "$lost"; }
}

# md_lines FILE: a metadata file's lines but its version line.
md_lines() { grep -v '^VERSION ' "$1" || true; }
# table WS: WS's name table, sorted.
table() { md_lines "$1/Brindle_wsdata/nametable" | sort; }

# histories WS: the md5 of every history of WS, to compare states by.
histories() { (cd "$1" && find . -path ./Brindle_wsdata -prune -o -name 's.*' -print | sort | xargs md5sum); }

# answers TEXT CMD...: CMD with TEXT (printf escapes) on its standard input.
answers() { printf "$1" | "${@:2}"; }

# A tree's fingerprint, to show that a command changed nothing (run's own
# files left out, for the tree $T).
tree_sum() {
  (cd "$1" && find . -type f ! -path ./.out ! -path ./.err -print0 | sort -z | xargs -0 md5sum)
}
