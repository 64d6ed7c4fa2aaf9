// kes_smart_copy_file: a history copied with one read, which also yields
// its name history, its root deltas and whether it carries a conflict.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "sccs/kes_name_history.h"
#include "sccs/kes_sfile.h"
#include "transaction/kes_file.h"
#include "transaction/kes_trans_timers.h"
#include "transaction/kes_transaction.h"
#include "util/kes_crash.h"
#include "util/kes_err.h"
#include "util/kes_list.h"
#include "util/kes_mmap.h"
#include "util/kes_msg.h"
#include "util/kes_timing.h"

namespace {

// The copy is written beside the destination under a name no history has,
// and renamed onto it when whole: a process killed at any moment, even by a
// signal no handler sees, leaves no half history under a history's name.
std::string temp_beside(const char *dest) {
  const char *slash = strrchr(dest, '/');
  if (!slash) return std::string("S.") + dest + ".XXXXXX";
  return std::string(dest, slash - dest) + "/S." + (slash + 1) + ".XXXXXX";
}

Kes_err *write_failed(const char *dest) {
  if (errno)
    return (new Kes_err)->format_msg(1008, errno, BWM_MSG(11010, "Write to \"%s\" failed"), dest);
  return (new Kes_err)->format_msg(
      1008, 0, BWM_MSG(11011, "Write to \"%s\" failed; maybe no space left on device"), dest);
}

// Writes all of data; a write that makes no progress ends it.
Kes_err *write_all(int fd, const char *data, size_t len, const char *dest) {
  while (len > 0) {
    errno = 0;
    ssize_t n = write(fd, data, len);
    if (n <= 0) return write_failed(dest);
    data += n;
    len -= n;
  }
  return nullptr;
}

}  // namespace

Kes_err *kes_smart_copy_file(const char *dest, const char *source, const char *name,
                             Kes_name_tree **tree, SCCS_deltalist **deltas, int *unresolved,
                             Kes_sfile *sf) {
  *tree = nullptr;
  *deltas = nullptr;
  *unresolved = 0;
  Kes_timing *timer = kes_trans_timer(KES_TIMER_SMART_COPY_FILES);
  Kes_timing::start(timer);
  Kes_mmap mm(source, nullptr, 0x40000);
  Kes_err *err = mm.open();
  if (!err && mm.status.st_size == 0)
    err = (new Kes_err)->format_msg(2057, 0, BWM_MSG(10501, "Zero-length history file, \"%s\""),
                                    source);
  if (err) {
    Kes_timing::stop(timer);
    return err;
  }
  std::string temp = temp_beside(dest);
  int fd = mkstemp(&temp[0]);
  kes_set_incomplete_file(temp.c_str());
  if (fd < 0) {
    err = (new Kes_err)->format_msg(1005, errno, BWM_MSG(11012, "Create of \"%s\" failed"), dest);
  } else if (fchmod(fd, mm.status.st_mode & 07777) != 0) {
    err = (new Kes_err)->format_msg(1005, errno, BWM_MSG(11012, "Create of \"%s\" failed"), dest);
  }

  if (!err) {
    Kes_timing *smarts = kes_trans_timer(KES_TIMER_SMARTS);
    Kes_timing::start(smarts);
    err = sf->build_nametree_deltalist(&mm, name, tree, deltas, unresolved);
    Kes_timing::stop(smarts);
  }
  if (!err) err = mm.rewind();
  while (!err) {
    char *data = nullptr;
    int len = 0;
    if (!mm.read(&data, &len, &err)) break;
    kes_crash_point();
    err = write_all(fd, data, len, dest);
  }
  if (fd >= 0 && ::close(fd) != 0 && !err && errno)
    err = (new Kes_err)->format_msg(1009, errno, BWM_MSG(11013, "Close of \"%s\" failed"), dest);
  delete mm.close();
  if (!err) {
    kes_crash_point();
    if (rename(temp.c_str(), dest) != 0)
      err = (new Kes_err)->format_msg(1018, errno, BWM_MSG(11014, "Rename of \"%s\" to \"%s\" failed"),
                                      temp.c_str(), dest);
  }
  if (err) {
    unlink(temp.c_str());
    delete *tree;
    *tree = nullptr;
    delete kes_deltalist_list(*deltas);
    *deltas = nullptr;
  }
  kes_set_incomplete_file(nullptr);
  Kes_timing::stop(timer);
  return err;
}
