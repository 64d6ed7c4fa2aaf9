#!/usr/bin/env bash
# Names a shell would take apart, in workspace roots and file names, through
# every command line the commands build: the directory program's "cd", the
# "ls" of an include pattern, "get -p" of a checked-out file, the bringover a
# blocked putback runs, the putback validation program, the commands the
# tool's transaction panels run, the tar pipeline of a move across file
# systems and the "rm -rf" of a delete.  A canary file
# that any smuggled command would make must never appear, and the right file
# is the one handled: a decoy beside each odd name, spelt as a careless quoting
# would read it, is never touched.
. "$TEST_LIB"
e2e_start
SHM=$(mktemp -d /dev/shm/brindle-e2e.XXXXXX) || { echo "SKIP: no /dev/shm"; exit 77; }
trap 'chmod -R u+rwx "$T" "$SHM" 2>/dev/null; rm -rf "$T" "$SHM"' EXIT
nl=$'\n'

# piece | what a careless quoting leaves of it (the decoy's spelling)
ROWS=(
  "a b|ab"
  "it's|its"
  "say \"hi\"|say hi"
  "\$(touch canary)|"
  "\`touch canary\`|"
  ";touch canary;|"
  "new${nl}line|newline"
  "-dash|"
  "*|"
)

canaries() { find "$T" "$SHM" -name 'canary*' 2>/dev/null; }

i=0
for row in "${ROWS[@]}"; do
  i=$((i + 1))
  piece=${row%%|*} decoy=${row#*|}
  # A file list has one name a line: a newline can be in a root only.
  name="src/f${piece}.c"
  [ "$piece" != "new${nl}line" ] || name=src/plain.c
  PAR[i]="$T/par${piece}ent" CHI[i]="$T/chi${piece}ld" NAME[i]=$name PIECE[i]=$piece
  make_ws "${PAR[i]}"
  sccs_new "${PAR[i]}" src/a.c "a of row $i"
  sccs_new "${PAR[i]}" "$name" "odd of row $i"
  sccs_new "${PAR[i]}" "-d/-e.c" "dash of row $i"
  cp -a "${PAR[i]}" "${CHI[i]}"
  printf 'VERSION 1\n%s\n' "${PAR[i]}" >"${CHI[i]}/Brindle_wsdata/parent"
  if [ -n "$decoy" ]; then
    for ws in par chi ws; do mkdir -p "$T/$ws$decoy" && echo keep >"$T/$ws$decoy/keep"; done
  fi
done
# No canary was made, and every decoy still holds its file.
decoys_kept() {
  local d
  expect_eq "no canary" "" "$(canaries)"
  for d in "$T"/*/keep; do [ "$(cat "$d")" = keep ] || fail "decoy $d changed"; done
  expect_eq "decoys" 12 "$(ls "$T"/*/keep | wc -l)"
}

test_case 'include patterns expand in the odd parent, and checked-out files compare unchanged' <<'EOF'
for ((i = 1; i <= ${#ROWS[@]}; i++)); do
  sccs_edit "${PAR[i]}" "${NAME[i]}" "second of row $i" "second"
  sccs_edit "${PAR[i]}" -d/-e.c "second dash of row $i" "second"
  # Both are checked out, unchanged, in the child: get -p | diff finds them
  # the same, or they would be conflicts.
  (cd "${CHI[i]}/src" && get -e "SCCS/s.${NAME[i]#src/}" >/dev/null 2>&1) || fail "get -e in row $i"
  (cd "${CHI[i]}/-d" && get -e SCCS/s.-e.c >/dev/null 2>&1) || fail "get -e in row $i"
  # The patterns match the histories; the second expands to a name with "-".
  printf '%s\n' "src/SCCS/s.[fp]*" "-d/SCCS/s.-*" >"$T/include"
  expect_run 0 bringover -n -p "${PAR[i]}" -w "${CHI[i]}" -i "$T/include" src/a.c
  expect_eq "row $i: the names" "update: ${NAME[i]}
update: -d/-e.c" "$(printf '%s\n' "$OUT" | grep '^update: ')"
done
decoys_kept
EOF

test_case 'a child made from each odd parent names it in its parent file' <<'EOF'
for ((i = 1; i <= ${#ROWS[@]}; i++)); do
  [ "${PIECE[i]}" != "new${nl}line" ] || continue  # a metadata file has one name a line
  expect_run 0 bringover -p "${PAR[i]}" -w "$T/new${PIECE[i]}" src ./-d
  expect_contains "row $i: the program ran in the parent" "cd ${PAR[i]}/src; " "$OUT"
  line=$(md_lines "$T/new${PIECE[i]}/Brindle_wsdata/parent")
  expect_eq "row $i: the parent file, behind the host" "${PAR[i]}" "${line#*:}"
done
decoys_kept
EOF

# The parent changed the odd file since the child saw it: putback -b runs the
# bringover it builds from the names, which brings that file.
test_case 'a putback to each odd parent runs the bringover it needs' <<'EOF'
for ((i = 1; i <= ${#ROWS[@]}; i++)); do
  [ "${PIECE[i]}" != "new${nl}line" ] || continue  # the parent file has one name a line
  expect_run 3 putback -b -c odd -w "${CHI[i]}" "${NAME[i]}"
  expect_contains "row $i: the bringover ran" "Doing the bringover:" "$ERR"
  expect_eq "row $i: the child has the parent's versions" \
    "$(sccs_sids "${PAR[i]}" "${NAME[i]}")" "$(sccs_sids "${CHI[i]}" "${NAME[i]}")"
done
decoys_kept
EOF

# The validation program lives in the odd parent and is given both odd roots
# and a file of names.  A metadata file holds it on one line.
export VP_LOG=$T/vp.log
given() { sed 's|/tmp/brindle_vpargs\.[^|]*|NAMES|' "$VP_LOG"; }
test_case "each odd parent's validation program runs and is given the odd roots and name" <<'EOF'
for ((i = 1; i <= ${#ROWS[@]}; i++)); do
  # The first case left it checked out in the child.
  (cd "${CHI[i]}/src" && unget "SCCS/s.${NAME[i]#src/}" >/dev/null 2>&1) || fail "unget in row $i"
  [ "${PIECE[i]}" != "new${nl}line" ] || continue
  printf '#!/bin/sh\nprintf "%%s|" "$@" >"$VP_LOG"; cat "$5" >>"$VP_LOG"\n' >"${PAR[i]}/check"
  chmod +x "${PAR[i]}/check"
  printf 'VERSION 2\nputback-validation on\nauto-approved no\nvalidation-program %s\n' \
    "${PAR[i]}/check" >"${PAR[i]}/Brindle_wsdata/putback_validation"
  sccs_edit "${CHI[i]}" "${NAME[i]}" "validated of row $i" "validated"
  expect_run 0 putback -w "${CHI[i]}" -c validated -M "MR-$i" "${NAME[i]}"
  expect_eq "row $i: what the program was given" "$(id -un)|${PAR[i]}|${CHI[i]}|MR-$i|NAMES|${NAME[i]}" "$(given)"
  expect_eq "row $i: the parent has the child's versions" \
    "$(sccs_sids "${CHI[i]}" "${NAME[i]}")" "$(sccs_sids "${PAR[i]}" "${NAME[i]}")"
done
decoys_kept
EOF

# What the tool runs is its panel's command line given to sh -c: a bringover,
# a putback (with the request the validation asks for) and an undo of it,
# each with the odd piece in its comment too.
tool() { local cmd; cmd=$(e2e_gui_command "$@") || { fail "the $1 command"; return 1; }; run sh -c "$cmd"; }
test_case 'the commands the tool builds for each odd pair run as they read' <<'EOF'
for ((i = 1; i <= ${#ROWS[@]}; i++)); do
  sccs_edit "${PAR[i]}" "${NAME[i]}" "tool of row $i" "tool"
  tool bringover "${CHI[i]}" "${PAR[i]}" "in ${PIECE[i]}" "${NAME[i]}"
  expect_exit 0 "bringover of row $i"
  expect_eq "row $i: the child has the parent's versions" \
    "$(sccs_sids "${PAR[i]}" "${NAME[i]}")" "$(sccs_sids "${CHI[i]}" "${NAME[i]}")"
  before=$(sccs_sids "${PAR[i]}" "${NAME[i]}")
  sccs_edit "${CHI[i]}" "${NAME[i]}" "from the tool of row $i" "tool's"
  tool putback "${CHI[i]}" "${PAR[i]}" "out ${PIECE[i]}" "MR-$i" "${NAME[i]}"
  expect_exit 0 "putback of row $i"
  expect_eq "row $i: the parent has the child's versions" \
    "$(sccs_sids "${CHI[i]}" "${NAME[i]}")" "$(sccs_sids "${PAR[i]}" "${NAME[i]}")"
  expect_contains "row $i: the putback's comment in the log" "out ${PIECE[i]}" \
    "$(cat "${PAR[i]}/Brindle_wsdata/history")"
  tool undo "${PAR[i]}" "back ${PIECE[i]}" "${NAME[i]}"
  expect_exit 0 "undo of row $i"
  expect_eq "row $i: the parent as before the putback" "$before" "$(sccs_sids "${PAR[i]}" "${NAME[i]}")"
  sccs_sound "${PAR[i]}" "${NAME[i]}" || fail "row $i: val refuses the undone history"
done
decoys_kept
EOF

test_case 'a workspace moves onto another file system under an odd name and is deleted there' <<'EOF'
for ((i = 1; i <= ${#ROWS[@]}; i++)); do
  ws="$T/ws${PIECE[i]}" to="$SHM/mo${PIECE[i]}ved"
  expect_run 0 workspace create "$ws"
  sccs_new "$ws" "${NAME[i]}" "moved of row $i"
  expect_run 0 workspace move "$ws" "$to"
  sccs_sound "$to" "${NAME[i]}" || fail "row $i: the moved history"
  expect_no_file "$ws"
  run workspace create "$ws"
  expect_run 0 sh -c 'printf "y\\ny\\n" | workspace delete "$1" "$2"' sh "$to" "$ws"
  expect_no_file "$to"
  expect_no_file "$ws"
done
decoys_kept
EOF

test_done
