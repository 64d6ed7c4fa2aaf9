// The mail that tells the people registered in a workspace's notification
// file what a transaction did.  It is sent from a forked child after the
// locks are gone, so it never changes the command's own result.
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "transaction/kes_file.h"
#include "transaction/kes_transaction.h"
#include "util/kes_err.h"
#include "util/kes_host.h"
#include "util/kes_init.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "workspace/kes_mailer.h"
#include "workspace/kes_notify.h"
#include "workspace/kes_workspace.h"

namespace {

const char *name_or_empty(const char *s) { return s ? s : ""; }

// Writes fmt into the mail file; the first failure is kept in *err.
void put(FILE *f, const char *name, Kes_err **err, const char *fmt, ...)
    __attribute__((format(printf, 4, 5)));
void put(FILE *f, const char *name, Kes_err **err, const char *fmt, ...) {
  if (*err) return;
  va_list ap;
  va_start(ap, fmt);
  if (vfprintf(f, fmt, ap) < 0) *err = fprintf_err_message(name);
  va_end(ap);
}

// A path given in a notification entry covers the file under its name now or
// under the name it had before this run renamed it.
int under_path(const char *name, const char *path) {
  if (!name) return 0;
  size_t n = strlen(path);
  return strncmp(name, path, n) == 0 && (name[n] == '\0' || name[n] == '/');
}

// The lines of one file with an action: its contents action, with the delta
// comments under -d, and its rename.
void put_file_entry(Kes_transaction *t, Kes_file *file, const char *path, FILE *f,
                    const char *tmpname, Kes_err **err) {
  if (!file->has_action()) return;
  if (path && !under_path(file->to->name, path) && !under_path(file->pre_rename_name, path)) return;
  static const int contents_states[] = {0, KES_TS_CREATE, KES_TS_UPDATE, KES_TS_CONFLICT,
                                        KES_TS_REMOVE, KES_TS_RESTORE};
  int ca = file->flags.contents_action;
  if (ca > 0 && ca <= 5) {
    put(f, tmpname, err, "%s: %s\n", t->localized_str(contents_states[ca]), file->to->name);
    if (t->flags.show_delta_comments && file->comments)
      for (Kes_listelem *e = file->comments->head.next; e != &file->comments->head; e = e->next)
        put(f, tmpname, err, "\t%s\n", static_cast<char *>(e->data));
  }
  if (file->flags.name_action == KES_NA_CONFLICT) {
    const char *child_name = t->child_ws && file->from->ws == t->child_ws ? file->from->name
                                                                         : file->to->name;
    put(f, tmpname, err, "%s: %s\n", t->localized_str(KES_TS_RENAME_CONFLICT), child_name);
  }
  if (file->flags.name_action) {
    const char *before = file->pre_rename_name ? file->pre_rename_name : file->to->name;
    put(f, tmpname, err, "%s: %s\n", t->localized_str(KES_TS_RENAME_FROM), before);
    put(f, tmpname, err, "%s: %s\n", t->localized_str(KES_TS_RENAME_TO), file->to->name);
  }
}

// The texts of every file error, one after the other.
std::string error_texts(Kes_transaction *t) {
  std::string text;
  for (Kes_listelem *e = t->action_files ? t->action_files->head.next : nullptr;
       e && e != &t->action_files->head; e = e->next) {
    Kes_file *file = static_cast<Kes_file *>(e->data);
    for (Kes_err *fe : {file->contents_error, file->rename_error})
      if (fe && fe->text) text += fe->text;
  }
  return text;
}

void cannot_send(Kes_err *err) {
  kes_issue_warning(2618, 0, BWM_MSG(13530, "Can't send notification mail because of error:\n"));
  if (err) err->print();
}

}  // namespace

void Kes_transaction::send_notification(const char *event, const char *path,
                                        const char *address, const char *tmpname,
                                        const char *body) {
  FILE *f = fopen(tmpname, "w");
  if (!f) {
    kes_issue_warning(2618, 0,
                      BWM_MSG(13531, "Can't open \"%s\" - can't send notification mail"), tmpname);
    return;
  }
  const char *cmd = kes_get_base_cmdname() ? kes_get_base_cmdname() : "";
  Kes_err *err = nullptr;
  put(f, tmpname, &err, "To: %s\n", address);
  if (path)
    put(f, tmpname, &err, BWM_MSG(13532, "Subject: Brindle notification (%s)\n"), path);
  else
    put(f, tmpname, &err, "%s", BWM_MSG(13533, "Subject: Brindle notification\n"));
  put(f, tmpname, &err, "Precedence: bulk\n\n");
  put(f, tmpname, &err, "%s", body);
  if (comment && comment->count) {
    put(f, tmpname, &err, "%s", BWM_MSG(13534, "\nComment:\n"));
    for (Kes_listelem *e = comment->head.next; e != &comment->head; e = e->next)
      put(f, tmpname, &err, "%s\n", (char *)e->data);
  }
  put(f, tmpname, &err, "%s", BWM_MSG(13535, "\nFiles:\n"));
  for (Kes_listelem *e = action_files ? action_files->head.next : nullptr;
       e && e != &action_files->head; e = e->next)
    put_file_entry(this, static_cast<Kes_file *>(e->data), path, f, tmpname, &err);
  if (kes_get_exit_signal())
    put(f, tmpname, &err, BWM_MSG(13536, "\nCommand exited due to signal %d\n"),
        kes_get_exit_signal());
  int file_errors = counts.contents_errors + counts.rename_errors;
  if (file_errors)
    put(f, tmpname, &err, BWM_MSG(13537, "\n%s warning: files with errors: %d\n\n%s"), cmd,
        file_errors, error_texts(this).c_str());
  put(f, tmpname, &err, BWM_MSG(13538, "Examined files: %d\n"), examined);
  int states[16], values[16], n;
  for (int names = 0; names <= 1; names++) {
    if (names ? !name_chgs() : !content_chgs()) continue;
    put(f, tmpname, &err, "%s",
        names ? BWM_MSG(13539, "\nNames Summary:\n") : BWM_MSG(13540, "\nContents Summary:\n"));
    summary_counts(names, states, values, &n);
    for (int i = 0; i < n; i++) put(f, tmpname, &err, "%8d   %s\n", values[i], localized_str(states[i]));
  }
  if (fclose(f) != 0 && !err) err = fprintf_close_err_message(tmpname);
  if (err) {
    cannot_send(err);
    delete err;
  } else {
    kes_hand_to_mailer(address, tmpname);
  }
  unlink(tmpname);
}

void Kes_transaction::mail_err(const char *address, Kes_err *error) {
  Kes_err *err = nullptr;
  if (address) {
    char name[] = "/tmp/notifyerr.XXXXXX";
    int fd = mkstemp(name);
    FILE *f = fd >= 0 ? fdopen(fd, "w") : nullptr;
    if (!f) {
      err = (new Kes_err)->format_msg(1005, errno, BWM_MSG(13541, "Create of \"%s\" failed"), name);
      if (fd >= 0) ::close(fd);
    } else {
      put(f, name, &err, "Subject: ");
      put(f, name, &err, "%s", BWM_MSG(13542, "Brindle notification error\n"));
      put(f, name, &err, "To: %s\n", address);
      put(f, name, &err, "\n%s", error && error->text ? error->text : "");
      if (fclose(f) != 0 && !err) err = fprintf_close_err_message(name);
      if (!err) kes_hand_to_mailer(address, name);
    }
    if (fd >= 0) unlink(name);
    if (!err) return;
  }
  cannot_send(error);
  delete err;
}

void Kes_transaction::notify_event(const char *tmpname, const char *user, const char *event,
                                   Kes_workspace *ws, const char *body) {
  Kes_notifylist *list = nullptr;
  Kes_err *err = ws->get_notifications(event, &list);
  if (err) {
    mail_err(user, err);
    delete err;
    delete list;
    return;
  }
  for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next) {
    Kes_notify *n = (Kes_notify *)e->data;
    if (!n->files) {
      send_notification(event, nullptr, n->email_addr, tmpname, body);
      continue;
    }
    for (Kes_listelem *p = n->files->head.next; p != &n->files->head; p = p->next)
      send_notification(event, (const char *)p->data, n->email_addr, tmpname, body);
  }
  delete list;
}

void Kes_transaction::notify_pair(const char *tmpname, const char *user, const char *first_event,
                                  Kes_workspace *first, Kes_workspace *second,
                                  const char *first_fmt, const char *second_event,
                                  const char *second_fmt) {
  if (!first || !second) return;
  if (!user) user = kes_get_user(1, 0);
  char *first_desc = first->make_descnm_notif_line(18);
  char *second_desc = second->make_descnm_notif_line(18);
  struct Side {
    const char *event;
    Kes_workspace *ws, *other;
    const char *fmt, *desc, *other_desc;
  } sides[] = {{first_event, first, second, first_fmt, first_desc, second_desc},
               {second_event, second, first, second_fmt, second_desc, first_desc}};
  for (const Side &side : sides) {
    char *body = nullptr;
    if (asprintf(&body, side.fmt, side.event, name_or_empty(side.ws->wsname),
                 name_or_empty(side.ws->netname), side.desc, name_or_empty(side.other->wsname),
                 name_or_empty(side.other->netname), side.other_desc, user) < 0)
      kes_new_handler();
    notify_event(tmpname, user, side.event, side.ws, body);
    free(body);
  }
  free(first_desc);
  free(second_desc);
}
