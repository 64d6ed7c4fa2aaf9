// Kes_md_nt_editlog, the name table's journal.
#include "workspace/kes_nametable.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "util/kes_err.h"
#include "util/kes_msg.h"

Kes_md_nt_editlog::Kes_md_nt_editlog(Kes_workspace *ws, const char *metadata_dir)
    : Kes_md_backupnew(ws, metadata_dir, "nametable_editlog") {}

Kes_err *Kes_md_nt_editlog::add_rec(Kes_nt *rec) {
  if (!stream) {
    if (Kes_err *e = open("w+")) return e;
  }
  char buf[KES_NT_BUF_SIZE];
  return add_line(rec->print_with_edit(buf));
}

Kes_err *Kes_md_nt_editlog::open(const char *mode) {
  if (mode[0] == 'w') {
    // Whoever may run a transaction here must be able to rewrite the journal.
    int fd = ::open(fullname, O_CREAT | O_RDWR, 0664);
    if (fd < 0)
      return (new Kes_err)->format_msg(
          1017, errno, BWM_MSG(5011, "Open of \"%s\" for writing failed"), fullname);
    fchmod(fd, 0666);
    ::close(fd);
    sync_counter = 0;
  } else if (mode[0] == 'a') {
    return (new Kes_err)->format_msg(
        1025, 0, BWM_MSG(5012, "Open of \"%s\" for appending failed"), fullname);
  }
  return Kes_metadata::open(mode);
}

Kes_err *Kes_md_nt_editlog::parse(char *line, void **entry, Kes_strlist *) {
  Kes_nt *rec = new Kes_nt;
  if (!rec->scan_with_edit(line)) {
    delete rec;
    *entry = nullptr;
    return (new Kes_err)->format_msg(
        2056, 0, BWM_MSG(5010, "Badly formatted line in \"%s\":\n\"%s\""), fullname, line);
  }
  *entry = rec;
  return nullptr;
}
