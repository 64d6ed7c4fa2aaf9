#!/usr/bin/env bash
# Someone registered in the parent for "bringover-from" gets a mail through the
# host's real mailer when a child is made from it.  An address that tries to
# smuggle a shell command in reaches the mailer as a word and runs nothing.
. "$TEST_LIB"
e2e_start
mail_user
make_ws parent
sccs_new parent src/main.c 'int main() { return 0; }'
printf 'VERSION 1\n# the integrators\n%s bringover-from\n%s bringover-from\n' \
  "$RCPT" "$RCPT;touch\${IFS}$T/smuggled" >parent/Brindle_wsdata/notification

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
# Delivery is the mailer's business: wait for it.
wait_for "the mail in $MAILBOX" mails_with "Parent workspace: $T/parent" got
mail=$(cat got/1)
expect_contains "subject header" "Subject: Brindle notification" "$mail"
expect_contains "to header" "To: $RCPT" "$mail"
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
