// Kes_md_args, the args file, and make_backup_file.
#include "workspace/kes_md_args.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include "util/kes_crash.h"
#include "util/kes_err.h"
#include "util/kes_file.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "util/kes_path.h"
#include "util/kes_scope_exit.h"
#include "workspace/kes_workspace.h"

namespace {
Kes_err *write_lines(Kes_strlist *list, FILE *fp, const char *name) {
  if (!list) return nullptr;
  for (Kes_listelem *el = list->head.next; el != &list->head; el = el->next)
    if (Kes_err *e = fprintf_N_check(fp, name, "%s\n", static_cast<char *>(el->data))) return e;
  return nullptr;
}
}  // namespace

Kes_err *Kes_md_args::rewrite(Kes_strlist *list1, Kes_strlist *list2) {
  if ((!list1 || list1->count == 0) && (!list2 || list2->count == 0)) return nullptr;
  if (Kes_err *e = lock()) return e;
  auto unlock_at_end = kes_scope_exit([this] { unlock(); });
  Kes_err_owner err;
  if (exists()) {
    // Saved first, so that undo can bring the old list back.
    char rel[1024];
    err.keep(make_backup_file(get_relname(rel), workspace));
  }
  if (!err) err.keep(open("w"));
  if (!err) err.keep(write_lines(list2, stream, fullname));
  if (!err) err.keep(write_lines(list1, stream, fullname));
  err.keep(close());
  return err.release();
}

Kes_err *kes_copy_file_over(const char *to, const char *from) {
  char dir[1024], base[1024];
  kes_parse_filename(to, dir, base);
  char tmpl[4096];
  snprintf(tmpl, sizeof tmpl, "%s/T.%s.XXXXXX", dir, base);
  // mkstemp rather than a bare name test: the name is taken at once.
  char given[4096];
  strcpy(given, tmpl);  // mkstemp may change it even when it fails
  int fd = mkstemp(tmpl);
  if (fd < 0)
    return (new Kes_err)->format_msg(
        2044, errno, BWM_MSG(7505, "Unable to create a temporary name from template \"%s\""),
        given);
  // The copy goes into the file mkstemp made: the name is made once.
  if (Kes_err *e = kes_copy_file(tmpl, from, fd)) return e;
  kes_crash_point();
  if (rename(tmpl, to) != 0) {
    Kes_err *e = (new Kes_err)->format_msg(
        1018, errno, BWM_MSG(7506, "Rename of \"%s\" to \"%s\" failed"), tmpl, to);
    unlink(tmpl);
    return e;
  }
  return nullptr;
}

Kes_err *make_backup_file(const char *relname, Kes_workspace *area) {
  char md[1024];
  if (Kes_err *e = area->get_full_metadata_dir(md)) return e;
  char to[4096];
  snprintf(to, sizeof to, "%s/%s/%s", md, "backup/files", relname);
  if (Kes_err *e = kes_create_file_dirs(to)) return e;
  char from[4096];
  if (relname[0] == '/')
    snprintf(from, sizeof from, "%s", relname);
  else
    snprintf(from, sizeof from, "%s/%s", area->get_absname(), relname);
  return kes_copy_file_over(to, from);
}
