#!/usr/bin/env bash
# Someone registered in the parent for "bringover-from" gets a mail through the
# host's real mailer when a child is made from it.  An address that tries to
# smuggle a shell command in reaches the mailer as a word and runs nothing.
. "$E2E_LIB"
e2e_start

sendmail=/usr/sbin/sendmail
if [ ! -x "$sendmail" ]; then
  fail "no $sendmail: tools/setup.sh installs the mailer"
  e2e_finish
fi
rcpt=brindlemail
if ! id "$rcpt" >/dev/null 2>&1; then
  if [ "$(id -u)" -ne 0 ]; then
    echo "SKIP: user $rcpt is missing and only root can add it"
    exit 77
  fi
  /usr/sbin/useradd -m -N -s /usr/sbin/nologin "$rcpt" || { fail "useradd $rcpt"; e2e_finish; }
fi
mailbox=/var/mail/$rcpt

make_ws parent
sccs_new parent src/main.c 'int main() { return 0; }'
printf 'VERSION 1\n# the integrators\n%s bringover-from\n%s bringover-from\n' \
  "$rcpt" "$rcpt;touch\${IFS}$T/smuggled" >parent/Brindle_wsdata/notification

user=$(id -un)
run bringover -p "$T/parent" -w "$T/child" src
expect_exit "create child" 0

# The mail leaves from a process the command does not wait for; delivery is
# the mailer's business, so give it time.  The workspace path is unique to
# this run and picks our mail out of a mailbox shared with earlier runs.
mail=
for _ in $(seq 1 120); do
  if [ -r "$mailbox" ] && grep -q "^Parent workspace: $T/parent\$" "$mailbox"; then
    mail=$(awk -v ws="Parent workspace: $T/parent" '
      /^From / { if (found) exit; msg = "" }
      { msg = msg $0 "\n" }
      $0 == ws { found = 1 }
      END { if (found) printf "%s", msg }' "$mailbox")
    break
  fi
  sleep 0.5
done
[ -n "$mail" ] || fail "no mail for $rcpt in $mailbox"

expect_contains "subject header" "Subject: Brindle notification" "$mail"
expect_contains "to header" "To: $rcpt" "$mail"
expect_contains "body" "Event:            bringover-from
Parent workspace: $T/parent" "$mail"
expect_contains "child in the body" "Child workspace:  $T/child" "$mail"
expect_contains "user in the body" "User:             $user" "$mail"
expect_contains "summary" "Examined files: 1" "$mail"

sleep 1
expect_no_file "no command ran from the address" "$T/smuggled"
e2e_finish
