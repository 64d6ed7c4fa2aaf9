// Handing composed mail to the host's mailer, shared by the mail about
// transactions and the mail about changes to a workspace as a whole.
#ifndef BRINDLE_WORKSPACE_KES_MAILER_H
#define BRINDLE_WORKSPACE_KES_MAILER_H

class Kes_notifylist;

// The command that hands a composed mail to the host's mailer, a format with
// the address (escaped for the shell) and the file, by default
// "/usr/sbin/sendmail -oi %s < %s".  Tests put a recorder in its place.  The
// format is copied; the pointer handed out lasts until the next setting.
void kes_set_mail_command(const char *fmt);
const char *kes_get_mail_command();

// Runs the mail command on the composed file; whether the mailer took it is
// not reported, for nobody waits for it.
void kes_hand_to_mailer(const char *address, const char *file);

// One mail to each entry of list, already filtered for event: headers, body,
// then a "User:" line whose value pad + 1 blanks align with the body's labels.
// Failures are warnings; an empty list sends nothing.
void send_ws_notification(const char *event, Kes_notifylist *list, const char *body, int pad);

// The pad that aligns "User:" with the longest label of a body.
int kes_notif_pad(const char *longest_label);

#endif
