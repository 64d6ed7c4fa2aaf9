#!/usr/bin/env bash
# Those registered in a notification file hear of bringovers through the
# host's real mailer: the parent's registrants of "bringover-from", the
# child's of "bringover-to", one mail per path they listed, holding only the
# files under that path.  Damaged registrations mail the user the error while
# the other side still has its mail; misplaced words are warned about; an
# address that is a shell command or a mailer option runs and sends nothing.
. "$TEST_LIB"
e2e_start
mail_user
user=$(id -un)
# Two registrants with one mailbox, told apart by their addresses: ann's is
# whole, bo's the bare user name, which the mailer completes.
ann=$RCPT@localhost bo=$RCPT bo_full=$RCPT_QUALIFIED
# What the mailer prints when it takes an address for its option -bV.
banner=$(/usr/sbin/sendmail -bV </dev/null 2>&1 | head -n 1)
[ -n "$banner" ] || die "the mailer prints nothing for -bV"
host=$(uname -n) name=x-${T##*.}
make_ws parent
sccs_new parent src/main.c 'int main() { return 0; }'
sccs_new parent src/old.c 'old'
# bo's second address on ann's line is the usual mistake: a warning, and
# ann's mail still goes.
printf 'VERSION 1\n# the integrators\n%s bringover-from\n%s bringover-from\n%s bringover-from\n%s\n' \
  "$bo" "$RCPT;touch\${IFS}$T/smuggled" "-bV" "$ann $bo bringover-from" \
  >parent/Brindle_wsdata/notification

# bring FILE ARGS...: a bringover to the child, its output and status in FILE.
# The mail leaves from a child that the command does not wait for; that child
# and the mailer it runs hold the command's output open, so the pipe's end is
# the handshake: every shell the mail went through has finished.
bring() {
  local out=$1
  shift
  { "$@"; echo "status $?"; } 2>&1 | cat >"$out"
}

test_case 'a child made from the parent: misplaced words warned about, nothing run' <<'EOF'
bring out bringover -p "$T/parent" -w "$T/child" src
expect_contains "the child was made" "Child workspace:  $T/child" "$(cat out)"
expect_contains "the command's status" "status 0" "$(cat out)"
expect_contains "the misplaced address" "Mail_addr \"$bo\" is in wrong position in file \
$T/parent/Brindle_wsdata/notification.
Notification for the event bringover-from will not be sent
  (Warning 2623)" "$(cat out)"
expect_no_file "$T/smuggled"
case $(cat out) in *"$banner"*) fail "an address reached the mailer as an option" ;; esac
EOF

test_case 'an update and a rename, with a comment, for registrants on both sides' <<'EOF'
printf 'VERSION 1\n# the integrators\n%s bringover-from putback-to\n%s putback-to\n' \
  "$ann" "$bo" >parent/Brindle_wsdata/notification
printf 'VERSION 1\n%s bringover-to\nBEGIN\nsrc\ndoc/guide\nEND\n' "$bo" >child/Brindle_wsdata/notification
printf 'VERSION 1\nNAME\n%s\nDESCRIPTION\nwork on x\n' "$name" >child/Brindle_wsdata/description
sccs_edit parent src/main.c 'int main() { return 1; }' 'fails now'
mv_file parent src/old.c doc/guide
bring out bringover -w "$T/child" -c "sync with the trunk" src doc
expect_contains "the command's status" "status 0" "$(cat out)"
EOF

test_case 'damaged registrations in the parent: the user hears why, the child still hears' <<'EOF'
if [ "$(id -u)" -ne 0 ]; then test_skip "only root can run the command as the mail user"; return; fi
# The error goes to the user who runs the command: the mail user here.
as_rcpt=(setpriv --reuid="$RCPT" --regid="$(id -g "$RCPT")" --clear-groups)
chmod a+rx "$T" && chown -R "$RCPT" parent child
sed -i "/^bringover-to\t/s/root/$RCPT/" child/Brindle_wsdata/access_control
if ! "${as_rcpt[@]}" test -x "$BRINDLE_BIN/bringover"; then test_skip "$RCPT cannot reach $BRINDLE_BIN"; return; fi
printf 'VERSION 1\n%s bringover-from\nBEGIN extra\nsrc\nEND\n' "$ann" >parent/Brindle_wsdata/notification
printf 'VERSION 1\n%s bringover-to\n' "$bo" >child/Brindle_wsdata/notification
bring out "${as_rcpt[@]}" bringover -w "$T/child" src doc
expect_contains "the transaction completes" "status 0" "$(cat out)"
damaged=1
EOF

test_case 'each registrant has its mails, word for word, and nobody else has any' <<'EOF'
mkdir -p want
# want NAME ADDRESS SUBJECT: the mail NAME as it should arrive; its body on input.
want() {
  { printf 'Envelope-to: %s\nTo: %s\nSubject: Brindle notification%s\nPrecedence: bulk\n\n' \
      "$2" "$2" "$3"; cat; } >"want/$1"
}
parent="Parent workspace: $T/parent
                  ($host:$T/parent)"
child="Child workspace:  $T/child
                  ($host:$T/child)"
from="Event:            bringover-from
$parent
$child" to="Event:            bringover-to
$child
$parent"
for who in "$ann" "$bo_full"; do
  want "made-$who" "$who" "" <<MAIL
$from
User:             $user

Files:
create: src/main.c
create: src/old.c
Examined files: 2

Contents Summary:
       2   create

Names Summary:
       2   update parent's name history
       2   update children's name history
MAIL
done
# From here on the child has a name, and the lines name it.
from="$from
                  <$name>" to="Event:            bringover-to
$child
                  <$name>
$parent"
# sync HEAD FILES: the body of a mail of the second bringover.
sync() {
  printf '%s\nUser:             %s\n\nComment:\nsync with the trunk\n\nFiles:\n%b' "$1" "$user" "$2"
  printf 'rename from: src/old.c\n         to: doc/guide\nExamined files: 2\n\n'
  printf 'Contents Summary:\n       1   update\n       1   no action (unchanged)\n\n'
  printf "Names Summary:\n       1   renamed\n       1   update children's name history\n"
}
sync "$from" 'update: src/main.c\n' | want sync-ann "$ann" ""
sync "$to" 'update: src/main.c\n' | want sync-src "$bo_full" " (src)"
sync "$to" '' | want sync-guide "$bo_full" " (doc/guide)"
if [ -n "${damaged:-}" ]; then
  { printf 'Envelope-to: %s\nSubject: Brindle notification error\nTo: %s\n\n' "$bo_full" "$bo_full"
    printf 'bringover: Corrupted file - "%s", text after "BEGIN", line 3.  ' \
      "$T/parent/Brindle_wsdata/notification"
    printf "Can't send notification  (Error 2052)\n"; } >want/damaged-error
  want damaged-child "$bo_full" "" <<MAIL
$to
User:             $RCPT

Files:
Examined files: 2

Contents Summary:
       2   no action (unchanged)
MAIL
fi
expect_mails want
EOF

test_done
