#!/usr/bin/env bash
# Someone registered in the parent for "bringover-from" gets a mail through the
# host's real mailer when a child is made from it.  An address that tries to
# smuggle a shell command in reaches the mailer as a word and runs nothing.
. "$TEST_LIB"
e2e_start
[ -x /usr/sbin/sendmail ] || die "no /usr/sbin/sendmail: tools/setup.sh installs the mailer"
rcpt=brindlemail
if ! id "$rcpt" >/dev/null 2>&1; then
  [ "$(id -u)" -eq 0 ] || { echo "SKIP: user $rcpt is missing and only root can add it"; exit 77; }
  /usr/sbin/useradd -m -N -s /usr/sbin/nologin "$rcpt" || die "useradd $rcpt"
fi
mailbox=/var/mail/$rcpt
make_ws parent
sccs_new parent src/main.c 'int main() { return 0; }'
printf 'VERSION 1\n# the integrators\n%s bringover-from\n%s bringover-from\n' \
  "$rcpt" "$rcpt;touch\${IFS}$T/smuggled" >parent/Brindle_wsdata/notification

test_case 'the mail child has done its work when the output pipe closes' <<'EOF'
# The mail leaves from a child that the command does not wait for; that child
# and the mailer it runs hold the command's output open, so the pipe's end is
# the handshake: every shell the mail went through has finished.
{ bringover -p "$T/parent" -w "$T/child" src; echo "status $?"; } 2>&1 | cat >out
expect_contains "the child was made" "Child workspace:  $T/child" "$(cat out)"
expect_contains "the command's status" "status 0" "$(cat out)"
expect_no_file "$T/smuggled"
EOF

test_case 'the registered user finds the mail in the mailbox' <<'EOF'
# Delivery is the mailer's business: wait for it.  The workspace path is unique
# to this run and picks our mail out of a mailbox shared with earlier runs.
wait_for "the mail in $mailbox" grep -q "^Parent workspace: $T/parent\$" "$mailbox"
mail=$(awk -v ws="Parent workspace: $T/parent" '
  /^From / { if (found) exit; msg = "" }
  { msg = msg $0 "\n" }
  $0 == ws { found = 1 }
  END { if (found) printf "%s", msg }' "$mailbox")
expect_contains "subject header" "Subject: Brindle notification" "$mail"
expect_contains "to header" "To: $rcpt" "$mail"
expect_contains "body" "Event:            bringover-from
Parent workspace: $T/parent" "$mail"
expect_contains "child in the body" "Child workspace:  $T/child" "$mail"
expect_contains "user in the body" "User:             $(id -un)" "$mail"
expect_contains "the files it brought, and the summary" "Files:
create: src/main.c
Examined files: 1

Contents Summary:
       1   create" "$mail"
EOF

test_done
