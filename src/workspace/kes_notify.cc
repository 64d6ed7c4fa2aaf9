#include "workspace/kes_notify.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"
#include "workspace/kes_workspace.h"

namespace {

// The events are the operations of the access control file.
const char *const events[] = {
    "bringover-from",   "bringover-to",   "putback-from",       "putback-to",
    "undo",             "workspace-delete", "workspace-move", "workspace-reparent",
    "workspace-reparent-to",
};

// The keywords of the file are never translated, so they are filled into the
// translated comment rather than written in it.
const char *kBegin = "BEGIN";
const char *kEnd = "END";

char *format_alloc(const char *fmt, ...) __attribute__((format(printf, 1, 2)));
char *format_alloc(const char *fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  char *out = nullptr;
  if (vasprintf(&out, fmt, ap) < 0) kes_new_handler();
  va_end(ap);
  return out;
}

}  // namespace

int check_event_entry(const char *word) {
  for (const char *e : events)
    if (strcmp(e, word) == 0) return 1;
  return 0;
}

void Kes_md_notify::create_default_string1(char **text) {
  *text = format_alloc(
      BWM_MSG(7001,
              "#\n# A workspace's notification file.\n#\n# Note: Because this file is edited "
              "manually, you may\n#       want to maintain it using SCCS.\n#\n# The format for "
              "each entry is:\n#\n#       email_address event ...\n#       %s\n#       file1\n"
              "#       dir\n#       .\n#       .\n#       .\n#       %s\n#\n# where "
              "<email_address> is the address to which the mail will be sent;\n# <event> is one "
              "of the following:\n#       %s\n#       %s\n#       %s\n#       %s\n#       %s\n"
              "#       %s\n#       %s\n#       %s\n#       %s\n"),
      kBegin, kEnd, events[0], events[1], events[2], events[3], events[4], events[5], events[6],
      events[7], events[8]);
}

void Kes_md_notify::create_default_string2(char **text) {
  *text = format_alloc(
      BWM_MSG(7002,
              "#\n# The bringover, putback, and undo events can include a list of files and\n"
              "# directories to be associated with the event.  When a directory is listed,\n"
              "# all files hierarchically beneath it are registered.  The list must be\n"
              "# delimited by BEGIN and END statements.  To get registration for all files\n"
              "# in the workspace, use a list of \".\", an empty list, or no list.\n#\n"
              "# The following is a sample notification file:\n#\n"
              "#       user1@host1 bringover-to\n#       %s\n#       dir/foo.cc\n"
              "#       dir/bar.cc\n#       %s\n#       user2@host2 bringover-to putback-to\n"
              "#       %s\n#       .\n#       %s\n#       user2@host2 workspace-move\n#\n\n"),
      kBegin, kEnd, kBegin, kEnd);
}

Kes_err *Kes_md_notify::create_default_file() {
  Kes_err *err = open("w");
  if (err) return err;
  char *one = nullptr;
  char *two = nullptr;
  create_default_string1(&one);
  create_default_string2(&two);
  err = fputs_N_check(one, stream, fullname);
  if (!err) err = fputs_N_check(two, stream, fullname);
  free(one);
  free(two);
  Kes_err *close_err = close();
  if (err) {
    delete close_err;
    return err;
  }
  return close_err;
}

Kes_err *Kes_workspace::get_md_notify(Kes_md_notify **md) {
  char dir[1024];
  Kes_err *err = get_full_metadata_dir(dir);
  if (err) return err;
  *md = new Kes_md_notify(this, dir);
  return nullptr;
}
