// Writing a history file after a change of its delta table: the table anew,
// the rest copied with the body's serials shifted, the checksum, the rename
// over the old file, and the p-file.  Also the counted z-file lock.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utime.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "sccs/kes_zlock.h"
#include "sccs/sccs_sfile.h"
#include "util/kes_crash.h"
#include "util/kes_err.h"
#include "util/kes_file.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"
#include "util/kes_quote.h"
#include "util/kes_scope_exit.h"

namespace {

Kes_err *open_write_failed(const char *path, int err) {
  return (new Kes_err)
      ->format_msg(1017, err, BWM_MSG(1001, "Open of \"%s\" for writing failed"), path);
}

Kes_err *write_bytes(FILE *out, const char *name, const char *data, size_t len) {
  if (len && fwrite(data, 1, len, out) != len) return fprintf_err_message(name);
  return nullptr;
}

// The checksum of the history written through fd, put over the five digits
// of its first line: the bytes after that line count as signed, the sum is
// kept in 16 bits.  Read back through the descriptor the writer still holds.
Kes_err *patch_checksum(int fd, const char *tmp) {
  char buf[1 << 16];
  unsigned short sum = 0;
  bool past_first = false;
  for (off_t at = 0;;) {
    ssize_t n = pread(fd, buf, sizeof buf, at);
    if (n < 0)
      return (new Kes_err)->format_msg(1001, errno,
                                       BWM_MSG(1000, "Open of \"%s\" for reading failed"), tmp);
    // An empty file has no first line: refused as before, with the same message.
    if (n == 0 && at == 0)
      return (new Kes_err)->format_msg(1030, EINVAL, BWM_MSG(1003, "Mmap of \"%s\" failed"), tmp);
    const char *p = buf, *end = buf + n;
    if (!past_first) {
      const char *nl = static_cast<const char *>(memchr(buf, '\n', n));
      if (nl) past_first = true, p = nl + 1;
      else p = end;
    }
    for (; p < end; p++) sum += (signed char)*p;
    at += n;
    // A regular file reads short only at its end.
    if ((size_t)n < sizeof buf) break;
  }
  if (!past_first)
    return (new Kes_err)->format_msg(2522, 0,
                                     BWM_MSG(1012, "Internal error in sccsmerge in chksum(): did "
                                                   "not find the end of the first line"));
  char head[8];
  snprintf(head, sizeof head, "%ch%05d", 1, (int)sum);
  if (pwrite(fd, head, 7, 0) != 7) return fprintf_err_message(tmp);
  return nullptr;
}

}  // namespace

int SCCS_sfile::get_serial() {
  if (line[0] != '\001') return current_serial;
  int v = atoi(line + 2);
  if (fake_was_added()) v++;
  if ((state & KES_SF_SDATA_INSERTED) && v >= 2) v++;
  current_serial = v;
  return v;
}

Kes_err *SCCS_sfile::make_tmp_sfile(FILE **out) {
  const char *slash = strrchr(s_path, '/');
  std::string name;
  if (slash)
    name = std::string(s_path, slash - s_path) + "/S." + (slash + 1) + ".XXXXXX";
  else
    name = std::string("S.") + s_path + ".XXXXXX";
  std::string templ = name;
  int fd = mkstemp(&name[0]);
  if (fd < 0) return open_write_failed(templ.c_str(), errno);
  if (tmp_sfile_out) fclose(tmp_sfile_out);
  tmp_sfile_out = nullptr;
  free(tmp_sfile_path);
  tmp_sfile_path = strdup(name.c_str());
  if (!tmp_sfile_path) kes_new_handler();
  // Written through the descriptor mkstemp opened: the name is made once.
  *out = fdopen(fd, "w+");
  if (!*out) {
    int e = errno;
    close(fd);
    return open_write_failed(tmp_sfile_path, e);
  }
  return nullptr;
}

Kes_err *SCCS_sfile::write() {
  Kes_delta **list = nullptr;
  Kes_err *err;
  if ((err = mklist(&list))) return err;
  FILE *out = nullptr;
  if ((err = make_tmp_sfile(&out))) {
    free(list);
    return err;
  }
  const char *tmp = tmp_sfile_path;
  char *body = nullptr;
  size_t body_cap = 0;
  bool at_line_start = true;
  bool in_header = true;
  bool in_users = true;

  if ((err = fprintf_N_check(out, tmp, "%ch00000\n", 1))) goto fail;
  for (Kes_delta **d = list; *d; d++)
    if ((err = (*d)->write(out, tmp))) goto fail;
  if ((err = fprintf_N_check(out, tmp, "%cu\n", 1))) goto fail;

  // Back to the end of the old delta table.
  if (stream) {
    if (fseek(stream, deltab_end, SEEK_SET) != 0) {
      err = (new Kes_err)->format_msg(
          1040, errno, BWM_MSG(1002, "Seek of \"%s\" to end of delta table failed."), s_path);
      goto fail;
    }
    line_count = deltab_lines;
  } else {
    stream = kes_fopen_read(s_path);
    if (!stream) {
      err = (new Kes_err)->format_msg(1001, errno,
                                      BWM_MSG(1000, "Open of \"%s\" for reading failed"), s_path);
      goto fail;
    }
    line_count = 0;
    bool found = false;
    while (fgets(line, sizeof line, stream)) {
      line_count++;
      if (line[0] == '\001' && line[1] == 'u') {
        found = true;
        break;
      }
    }
    if (!found) {
      err = (new Kes_err)->format_msg(
          2055, 0, BWM_MSG(1007, "File \"%s\" has incomplete delta table"), s_path);
      goto fail;
    }
  }

  // Lines of any length and content; a line that doesn't start at a line
  // start (a piece of a long line) is never taken for a control line.
  for (;;) {
    ssize_t n = getline(&body, &body_cap, stream);
    if (n < 0) break;
    bool control = at_line_start && n >= 2 && body[0] == '\001';
    at_line_start = body[n - 1] == '\n';
    if (in_users) {
      // The locked-user lines up to the end of their list stay as they are.
      if (control) in_users = false;
      if (!control || body[1] == 'U') {
        if ((err = write_bytes(out, tmp, body, n))) goto fail;
        continue;
      }
    }
    if (in_header) {
      // Unchanged up to and including the end of the descriptive text, or up
      // to the first line that isn't a control line.
      if (control) {
        if ((err = write_bytes(out, tmp, body, n))) goto fail;
        if (body[1] == 'T') in_header = false;
        continue;
      }
      in_header = false;
    }
    if (control) {
      size_t keep = (size_t)n < sizeof line - 1 ? (size_t)n : sizeof line - 1;
      memcpy(line, body, keep);
      line[keep] = '\0';
      if ((err = fprintf_N_check(out, tmp, "%c%c %d\n", 1, body[1], get_serial()))) goto fail;
    } else {
      if ((err = write_bytes(out, tmp, body, n))) goto fail;
    }
  }
  free(body);
  body = nullptr;
  free(list);
  list = nullptr;
  if (ferror(stream)) {
    fclose(out);
    return (new Kes_err)->format_msg(1001, errno,
                                     BWM_MSG(1000, "Open of \"%s\" for reading failed"), s_path);
  }
  if (fflush(out) != 0) {
    err = fprintf_err_message(tmp);
    fclose(out);
    return err;
  }
  tmp_sfile_out = out;
  {
    struct stat old;
    int had_old = stat(s_path, &old) == 0;
    if ((err = rename_tmp_sfile(s_path))) return err;
    if (had_old) {
      struct utimbuf times = {old.st_atime, old.st_mtime};
      utime(s_path, &times);
    }
  }
  return nullptr;

fail:
  free(body);
  free(list);
  fclose(out);
  return err;
}

Kes_err *SCCS_sfile::rename_tmp_sfile(const char *target) {
  const char *tmp = tmp_sfile_path;
  if (!tmp) return open_write_failed("", ENOENT);
  // A temporary history this object did not write is opened by its name.
  FILE *out = tmp_sfile_out ? tmp_sfile_out : fopen(tmp, "r+");
  tmp_sfile_out = nullptr;
  if (!out) return open_write_failed(tmp, errno);
  // The old history is held open over the rename and let go on another
  // thread, where freeing its blocks may wait for the disk.
  int old_fd = open(target, O_PATH | O_CLOEXEC);
  auto let_go = kes_scope_exit([&] { kes_close_later(old_fd); });
  int fd = fileno(out);
  Kes_err *err = patch_checksum(fd, tmp);
  if (!err) {
    struct stat tst;
    fchmod(fd, old_fd >= 0 && fstat(old_fd, &tst) == 0 ? (tst.st_mode & 0555) : 0444);
  }
  if (!err && sync_tmp_sfile) {
    sync_tmp_sfile = 0;
    if (kes_deferrable_fsync(fd, target) != 0) err = fprintf_err_message(tmp);
  }
  if (err) {
    fclose(out);
    return err;
  }
  if ((err = fclose_N_check(out, tmp))) return err;

  // A p-file rewritten for the new table goes first.  A process killed
  // between the two renames leaves the new p-file beside the old history:
  // its SIDs are those of the old history wherever the merge kept them, and
  // where it did not, the next merge finds the p-file invalid and says so,
  // rather than a stale p-file naming the wrong deltas of a new history.
  if (pfile_open_errno) {
    // The p-file couldn't be rewritten: the old history stays with it, and
    // the temporary history goes with this object.
    std::string tmp_pfile = std::string(pfile_path) + ".smoosh.tmp";
    return open_write_failed(tmp_pfile.c_str(), pfile_open_errno);
  }
  struct stat pst;
  if (pfile_list && pfile_path && tmp_pfile_path && stat(tmp_pfile_path, &pst) == 0 &&
      S_ISREG(pst.st_mode)) {
    kes_crash_point();
    if (rename(tmp_pfile_path, pfile_path) != 0) {
      // The history is not replaced either: the old p-file stays with the old
      // history, and the temporary history goes with this object.
      err = open_write_failed(pfile_path, errno);
      unlink(tmp_pfile_path);
      return err;
    }
  }
  // rename replaces the old file in one step: a process killed at any moment
  // leaves the old history or the new one, never none.
  kes_crash_point();
  if (rename(tmp, target) != 0) return open_write_failed(target, errno);
  free(tmp_sfile_path);
  tmp_sfile_path = nullptr;
  return nullptr;
}

Kes_err *SCCS_sfile::rewrite_pfile() {
  pfile_open_errno = 0;
  if (!pfile_list || !pfile_path) return nullptr;
  std::string tmp = std::string(pfile_path) + ".smoosh.tmp";
  free(tmp_pfile_path);
  tmp_pfile_path = strdup(tmp.c_str());
  if (!tmp_pfile_path) kes_new_handler();
  unlink(tmp_pfile_path);
  FILE *out = fopen(tmp_pfile_path, "w");
  if (!out) {
    pfile_open_errno = errno ? errno : EIO;
    perror(tmp_pfile_path);
    // Nothing to put in the p-file's place later.
    free(tmp_pfile_path);
    tmp_pfile_path = nullptr;
    return nullptr;
  }
  Kes_err *err = nullptr;
  for (Kes_pfile *p = pfile_list; p && !err; p = p->next) {
    const char *old_sid = p->old_sid;
    if (p->delta) {
      Kes_delta *d = p->delta->peer ? p->delta->peer_delta() : p->delta;
      old_sid = d->current_sid();
    }
    err = fprintf_N_check(out, tmp_pfile_path, "%s %s %s %s %s\n", old_sid ? old_sid : "",
                          p->new_sid ? p->new_sid : "", p->user ? p->user : "", p->date, p->time);
  }
  if (!err && (fflush(out) != 0 || kes_deferrable_fsync(fileno(out), pfile_path) != 0))
    err = fprintf_err_message(tmp_pfile_path);
  if (err) {
    fclose(out);
    return err;
  }
  if ((err = fclose_N_check(out, tmp_pfile_path))) return err;
  chmod(tmp_pfile_path, 0444);
  return nullptr;
}

Kes_err *SCCS_sfile::test_corrupted() {
  std::string cmd = "sccs admin -h ";
  cmd += kes_shell_path(s_path);
  cmd += " > /dev/null 2>&1";
  struct stat st;
  int ok = stat(s_path, &st) == 0;
  if (ok) {
    int status = system(cmd.c_str());
    ok = status != -1 && WIFEXITED(status) && WEXITSTATUS(status) == 0;
  }
  if (ok) return nullptr;
  return (new Kes_err)->format_msg(2043, 0, BWM_MSG(1009, "SCCS file \"%s\" is corrupted"),
                                   s_path);
}

Kes_err *SCCS_sfile::lock_file() {
  if (lock_count > 0) {
    lock_count++;
    return nullptr;
  }
  if (!zfile_path && !build_zfilename(nullptr)) return nullptr;
  if (lockit(zfile_path, 10, kes_lock_pid()) != 0)
    return (new Kes_err)->format_msg(
        2068, 0, BWM_MSG(1013, "SCCS error for file \"%s\" - cannot create lock file (cm4)"),
        s_path);
  lock_count = 1;
  return nullptr;
}

int SCCS_sfile::unlock_file() {
  if (lock_count <= 0) return 0;
  if (--lock_count > 0 || !zfile_path) return 0;
  return unlockit(zfile_path, (int)kes_lock_pid());
}
