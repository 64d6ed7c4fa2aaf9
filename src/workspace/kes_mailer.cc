// Mail about workspaces: composed in a private temporary file, handed to the
// host's mailer through the shell.
#include "workspace/kes_mailer.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "util/kes_err.h"
#include "util/kes_host.h"
#include "util/kes_msg.h"
#include "util/kes_quote.h"
#include "workspace/kes_notify.h"

namespace {

// The host's mail submission program: it takes the address as its operand and
// reads the "To:" and "Subject:" lines of the file as the mail's headers.
// Kept as a copy, so that a caller's string may go away after setting it.
std::string &mail_command() {
  static std::string command = "/usr/sbin/sendmail -oi %s < %s";
  return command;
}

}  // namespace

void kes_set_mail_command(const char *fmt) { mail_command() = fmt; }
const char *kes_get_mail_command() { return mail_command().c_str(); }

void kes_hand_to_mailer(const char *address, const char *file) {
  // The address comes from a file anyone with write access to the workspace
  // may edit.  One that begins with "-" would reach the mailer as an option
  // (another configuration, say), so it gets no mail; the rest reach the
  // shell as one word, never as a command.
  if (!address || !*address || address[0] == '-') return;
  std::string quoted = shell_escape(address);
  const char *fmt = mail_command().c_str();
  std::string cmd(strlen(fmt) + quoted.size() + strlen(file) + 1, '\0');
  snprintf(&cmd[0], cmd.size(), fmt, quoted.c_str(), file);
  int status = system(cmd.c_str());
  (void)status;
}

int kes_notif_pad(const char *longest_label) {
  int pad = (int)strlen(longest_label) - (int)strlen(BWM_MSG(7405, "User")) + 1;
  return pad < 0 ? -pad : pad;
}

void send_ws_notification(const char *event, Kes_notifylist *list, const char *body, int pad) {
  if (!list || list->count == 0) return;
  const char *user = kes_get_user(1, 0);
  for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next) {
    Kes_notify *n = (Kes_notify *)e->data;
    // mkstemp, not a guessed name: nobody can put a file or link there first.
    char name[] = "/tmp/notify.XXXXXX";
    int fd = mkstemp(name);
    FILE *f = fd >= 0 ? fdopen(fd, "w") : nullptr;
    if (!f) {
      kes_issue_warning(2618, 0,
                        BWM_MSG(7400, "Can't open \"%s\" - can't send notification mail"), name);
      if (fd >= 0) {
        close(fd);
        unlink(name);
      }
      return;
    }
    Kes_err *err = fprintf_N_check(f, name, "To: %s\n", n->email_addr ? n->email_addr : "");
    if (!err && event)
      err = fprintf_N_check(f, name, BWM_MSG(7402, "Subject: Brindle notification (%s)\n"), event);
    else if (!err)
      err = fputs_N_check(BWM_MSG(7403, "Subject: Brindle notification\n"), f, name);
    if (!err) err = fputs_N_check("Precedence: junk\n\n", f, name);
    if (!err) err = fprintf_N_check(f, name, BWM_MSG(7404, "%s\nUser:"), body ? body : "");
    if (!err) err = fprintf_N_check(f, name, "%*s %s\n", pad, "", user ? user : "");
    if (fclose(f) != 0 && !err) err = fprintf_close_err_message(name);
    if (err) {
      kes_issue_warning(2618, 0,
                        BWM_MSG(7401, "Can't send notification mail because of error:\n"));
      err->print();
      delete err;
    } else if (n->email_addr) {
      kes_hand_to_mailer(n->email_addr, name);
    }
    unlink(name);
  }
}
