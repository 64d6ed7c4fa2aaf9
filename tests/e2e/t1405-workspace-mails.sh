#!/usr/bin/env bash
# Those a workspace's notification file names hear of its reparenting, moving
# and deletion through the host's real mailer: one mail each, with the
# workspace's name and the whole text.  Refused operations mail nobody, and
# neither the former parent nor the neighbours of the workspace are told.
. "$TEST_LIB"
e2e_start
mail_user
user=$(id -un)
# Two registrants with one mailbox, told apart by their addresses: ann's is
# whole, bo's the bare user name, which the mailer completes.
ann=$RCPT@localhost bo=$RCPT bo_full=$RCPT_QUALIFIED
every="workspace-delete workspace-move workspace-reparent workspace-reparent-to"

# notify WS NAME LINE: WS named NAME, and LINE its notification file's entry.
notify() {
  printf 'VERSION 1\n# who hears of it\n%s\n' "$3" >"$1/Brindle_wsdata/notification"
  printf 'VERSION 1\nNAME\n%s\nDESCRIPTION\ntext\n' "$2" >"$1/Brindle_wsdata/description"
}
workspace create "$T/top" "$T/w" "$T/n" "$T/broken" >/dev/null || die "workspace create"
workspace parent -p "$T/top" "$T/w" || die "workspace parent"
notify top topname "$bo $every"
notify w wname "$ann workspace-delete workspace-move workspace-reparent"
notify n nname "$bo workspace-reparent-to"
notify broken bname "$bo $every"
# A children file made a directory: no child can be added to it.
rm broken/Brindle_wsdata/children 2>/dev/null
mkdir -p broken/Brindle_wsdata/children/x w/sub/inner/Brindle_wsdata

test_case 'refused moves, reparentings and deletes keep the links and no lock' <<'EOF'
while IFS='|' read -r said words; do
  eval "run workspace $words"
  expect_exit 1 "$words"
  expect_contains "$words" "$said" "$ERR"
done <<ROWS
(Error 2015)|move "\$T/w" "\$T/n"
(Error 2063)|move "\$T/w" "\$T/n/in"
(Error 1018) - No such file or directory|move "\$T/w" "\$T/no/such/dir"
(Error 2016)|move "\$T/gone" "\$T/elsewhere"
(Error 2018)|parent -f -p "\$T/w" "\$T/w"
(Error 2063)|parent -p "\$T/w/sub/inner" "\$T/w"
"$T/broken/Brindle_wsdata/children" for reading failed  (Error 1001) - Is a directory|parent -p "\$T/broken" "\$T/w"
ROWS
expect_run 1 sh -c "echo n | workspace delete '$T/w'"
run workspace parent "$T/w"
expect_eq "the parent stays" "$T/top" "$OUT"
expect_eq "and keeps its child" "$(uname -n):$T/w" "$(md_lines top/Brindle_wsdata/children)"
expect_eq "no lock is left" "" "$(md_lines w/Brindle_wsdata/locks)"
EOF

test_case 'reparenting moves both links; orphaning, moving and deleting succeed' <<'EOF'
expect_run 0 workspace parent -p "$T/n" "$T/w"
expect_eq "the old parent lets go" "" "$(md_lines top/Brindle_wsdata/children)"
expect_eq "the new one holds it" "$(uname -n):$T/w" "$(md_lines n/Brindle_wsdata/children)"
expect_eq "and it names its new parent" "$(uname -n):$T/n" "$(md_lines w/Brindle_wsdata/parent)"
expect_run 0 workspace parent -u "$T/w"
expect_eq "orphaned" "" "$(md_lines n/Brindle_wsdata/children)"
expect_no_file w/Brindle_wsdata/parent
expect_run 0 workspace move "$T/w" "$T/w2"
expect_run 0 workspace delete -f "$T/w2"
expect_no_file w2
EOF

test_case 'each registrant has its mail, word for word, and nobody else has any' <<'EOF'
mkdir -p want
# want NAME ADDRESS EVENT: the mail NAME as it should arrive; its body on input.
want() {
  { printf 'Envelope-to: %s\nTo: %s\nSubject: Brindle notification (%s)\nPrecedence: junk\n\n' \
      "$2" "$2" "$3"; cat; } >"want/$1"
}
want reparent "$ann" workspace-reparent <<MAIL
Event:      workspace-reparent
Workspace:  $T/w
            <wname>
New parent: $T/n
            <nname>
User:        $user
MAIL
want reparent-to "$bo_full" workspace-reparent-to <<MAIL
Event:           workspace-reparent-to
Child workspace: $T/w
                 <wname>
New parent:      $T/n
                 <nname>
User:             $user
MAIL
want orphan "$ann" workspace-reparent <<MAIL
Event:     workspace-reparent
Workspace:  $T/w
            <wname>
User:       $user
MAIL
want move "$ann" workspace-move <<MAIL
Event:        workspace-move
Workspace:    $T/w
              <wname>
New location: $T/w2
User:          $user
MAIL
want delete "$ann" workspace-delete <<MAIL
Event:     workspace-delete
Workspace: $T/w2
           <wname>
User:       $user
MAIL
expect_mails want
EOF

test_done
