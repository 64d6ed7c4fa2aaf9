// Kes_md_backupnew, the journal of the files a transaction created.
#include "workspace/kes_md_backupnew.h"

#include <cerrno>
#include <unistd.h>

#include "util/kes_crash.h"
#include "util/kes_err.h"
#include "util/kes_file.h"
#include "util/kes_msg.h"

Kes_err *Kes_md_backupnew::open() {
  if (Kes_err *e = kes_create_file_dirs(fullname)) return e;
  sync_counter = 0;
  return Kes_metadata::open("w");
}

Kes_err *Kes_md_backupnew::add_line(const char *line) {
  if (!stream) {
    errno = EBADF;
    return fprintf_err_message(fullname);
  }
  kes_crash_point();
  if (Kes_err *e = fprintf_N_check(stream, fullname, "%s\n", line)) return e;
  sync_counter++;
  // What the journal names must survive a crash of the transaction.
  if (limit != -1 && sync_counter >= limit) {
    sync_counter = 0;
    if (fflush(stream) != 0) return fprintf_err_message(fullname);
    if (kes_deferrable_fsync(fileno(stream), fullname) != 0)
      return (new Kes_err)->format_msg(1026, errno, BWM_MSG(7500, "Fsync to \"%s\" failed"),
                                       fullname);
  }
  return nullptr;
}
