#!/usr/bin/env bash
# Those a workspace's notification file names hear of its reparenting, moving
# and deletion through the host's real mailer: one mail each, with the
# workspace's name and the whole text.  Refused operations mail nobody, and
# neither the former parent nor the neighbours of the workspace are told.
. "$TEST_LIB"
e2e_start
mail_user
user=$(id -un)
qualify=$(/usr/sbin/exim4 -bP qualify_domain 2>/dev/null | sed -n 's/^qualify_domain = //p')
[ -n "$qualify" ] || die "exim4 does not tell its qualify domain"
# Two registrants with one mailbox, told apart by their addresses: ann's is
# whole, bo's the bare user name, which the mailer completes.
ann=$RCPT@localhost bo=$RCPT bo_full=$RCPT@$qualify
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
mkdir -p broken/Brindle_wsdata/children/x

test_case 'refused moves, reparentings and deletes keep the links' <<'EOF'
while IFS='|' read -r said words; do
  eval "run workspace $words"
  expect_exit 1 "$words"
  expect_contains "$words" "$said" "$ERR"
done <<ROWS
(Error 2015)|move "\$T/w" "\$T/n"
(Error 2063)|move "\$T/w" "\$T/n/in"
(Error 1018)|move "\$T/w" "\$T/no/such/dir"
(Error 2018)|parent -f -p "\$T/w" "\$T/w"
"$T/broken/Brindle_wsdata/children"|parent -p "\$T/broken" "\$T/w"
ROWS
expect_run 1 sh -c "echo n | workspace delete '$T/w'"
run workspace parent "$T/w"
expect_eq "the parent stays" "$T/top" "$OUT"
expect_eq "and keeps its child" "$(uname -n):$T/w" "$(md_lines top/Brindle_wsdata/children)"
EOF

test_case 'reparenting, orphaning, moving and deleting succeed' <<'EOF'
expect_run 0 workspace parent -p "$T/n" "$T/w"
expect_run 0 workspace parent -u "$T/w"
expect_run 0 workspace move "$T/w" "$T/w2"
expect_run 0 workspace delete -f "$T/w2"
expect_no_file w2
EOF

test_case 'each registrant has its mail, word for word, and nobody else has any' <<'EOF'
# The commands return once the mailer has queued each mail; delivery is its
# business: wait for the due mails, then for its queue to empty, after which
# a mail sent where none was due would be in the mailbox too.
wait_for "five mails in $MAILBOX" test "$(mails_with "$T/" got)" -ge 5
if [ "$(id -u)" -eq 0 ]; then
  wait_for "the mailer's queue to empty" sh -c "! /usr/sbin/exim4 -bp | grep -q '$RCPT@'"
fi
mkdir -p want
cat >want/reparent <<MAIL
Envelope-to: $ann
To: $ann
Subject: Brindle notification (workspace-reparent)
Precedence: junk

Event:      workspace-reparent
Workspace:  $T/w
            <wname>
New parent: $T/n
            <nname>
User:        $user
MAIL
cat >want/reparent-to <<MAIL
Envelope-to: $bo_full
To: $bo_full
Subject: Brindle notification (workspace-reparent-to)
Precedence: junk

Event:           workspace-reparent-to
Child workspace: $T/w
                 <wname>
New parent:      $T/n
                 <nname>
User:             $user
MAIL
cat >want/orphan <<MAIL
Envelope-to: $ann
To: $ann
Subject: Brindle notification (workspace-reparent)
Precedence: junk

Event:     workspace-reparent
Workspace:  $T/w
            <wname>
User:       $user
MAIL
cat >want/move <<MAIL
Envelope-to: $ann
To: $ann
Subject: Brindle notification (workspace-move)
Precedence: junk

Event:        workspace-move
Workspace:    $T/w
              <wname>
New location: $T/w2
User:          $user
MAIL
cat >want/delete <<MAIL
Envelope-to: $ann
To: $ann
Subject: Brindle notification (workspace-delete)
Precedence: junk

Event:     workspace-delete
Workspace: $T/w2
           <wname>
User:       $user
MAIL
expect_eq "the mails" "$(mail_summary want/*)" "$(mails_with "$T/" got >/dev/null; mail_summary got/*)"
EOF

test_done
