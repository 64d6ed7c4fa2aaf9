// The z-file lock shared with the SCCS programs: lockit, unlockit and mylock.
#include "sccs/kes_zlock.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "util/kes_msg.h"

unsigned (*kes_lock_sleep)(unsigned seconds) = sleep;

namespace {

std::atomic<unsigned> own_pid{0};  // 0 until asked, and in a new child
int failures;                  // raised by every fatal report
const char *fatal_file;        // the file that the next report names

std::string dir_of(const char *path) {
  const char *slash = strrchr(path, '/');
  if (!slash) return ".";
  if (slash == path) return "/";
  return std::string(path, slash - path);
}

std::atomic<bool> unnamed_works{true};  // until the file system or /proc says otherwise

// The lock file made from a file without a name: our number written into it,
// then linked in under the lock file's name, so the lock appears whole or not
// at all and a killed process leaves no temporary behind.  0 on success, -1
// when the lock is taken, 1 when this try is left to the named way.
int onelock_unnamed(unsigned pid, const std::string &dir, const char *lockfile) {
  int fd = open(dir.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0444);
  if (fd < 0) {
    if (errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL) unnamed_works.store(false);
    return 1;  // the named way reports what stops it
  }
  uint32_t word = pid;
  if (write(fd, &word, sizeof word) != (ssize_t)sizeof word) {
    close(fd);
    return 1;
  }
  char self[64];
  snprintf(self, sizeof self, "/proc/self/fd/%d", fd);
  int linked = linkat(AT_FDCWD, self, AT_FDCWD, lockfile, AT_SYMLINK_FOLLOW);
  int e = errno;
  close(fd);
  if (linked == 0) return 0;
  if (e == EEXIST) return -1;
  if (access("/proc/self/fd", X_OK) != 0) unnamed_works.store(false);
  return 1;
}

// One try: a private file with our number, linked to the lock file.  0 on
// success, -1 when the lock is taken or the try can be repeated.
int onelock(unsigned pid, const char *tmp, const char *lockfile) {
  int fd = open(tmp, O_WRONLY | O_CREAT | O_EXCL, 0444);
  if (fd < 0) {
    if (errno == EEXIST) return -1;
    if (errno == EMFILE || errno == ENFILE || errno == EACCES) {
      unlink(tmp);
      return -1;
    }
    xmsg(tmp, "lockit");
  }
  uint32_t word = pid;
  if (write(fd, &word, sizeof word) != (ssize_t)sizeof word) {
    int e = errno;
    close(fd);
    unlink(tmp);
    errno = e ? e : ENOSPC;
    xmsg(tmp, "lockit");
  }
  close(fd);
  int linked = link(tmp, lockfile);
  unlink(tmp);
  return linked == 0 ? 0 : -1;
}

// The holder's number from the lock file: 1 when it holds exactly 4 bytes,
// or when it holds the number as decimal digits, as the SCCS programs of this
// host write it.  A process number never has 4 digit bytes in binary (it is
// below 2^22), so the two forms can't be confused.
int read_holder(const char *lockfile, uint32_t *pid) {
  int fd = open(lockfile, O_RDONLY);
  if (fd < 0) return 0;
  char buf[16];
  ssize_t n = read(fd, buf, sizeof buf);
  close(fd);
  ssize_t digits = 0;
  while (digits < n && buf[digits] >= '0' && buf[digits] <= '9') digits++;
  if (digits > 0 && digits <= 10 && (digits == n || (digits + 1 == n && buf[digits] == '\n'))) {
    buf[digits] = '\0';
    *pid = (uint32_t)strtoul(buf, nullptr, 10);
    return 1;
  }
  if (n != (ssize_t)sizeof *pid) return 0;
  memcpy(pid, buf, sizeof *pid);
  return 1;
}

// The SCCS programs of this host create the lock file first and write the
// number into it a moment later, so an empty lock file may still have a live
// holder.  Only one that stays empty past that moment is damage.  A clock
// behind the file's time gives no such grace.
int being_written(time_t mtime) {
  long age = (long)(time(nullptr) - mtime);
  return age >= 0 && age < 5;
}

}  // namespace

unsigned kes_lock_pid() {
  static const int forgotten_in_children =
      pthread_atfork(nullptr, nullptr, [] { own_pid.store(0, std::memory_order_relaxed); });
  (void)forgotten_in_children;
  unsigned pid = own_pid.load(std::memory_order_relaxed);
  if (!pid) own_pid.store(pid = (unsigned)getpid(), std::memory_order_relaxed);
  return pid;
}

int lockit(const char *lockfile, int tries, unsigned pid) {
  std::string dir = dir_of(lockfile);
  for (int tried = 0; tried < tries;) {
    int got = unnamed_works.load() ? onelock_unnamed(pid, dir, lockfile) : 1;
    if (got == 1) {
      char tmp[1024];
      snprintf(tmp, sizeof tmp, "%s/%u.%ld", dir.c_str(), pid, (long)time(nullptr));
      got = onelock(pid, tmp, lockfile);
    }
    if (got == 0) return 0;
    struct stat st;
    if (stat(lockfile, &st) == 0) {
      time_t noted = st.st_mtime;
      uint32_t holder;
      if (read_holder(lockfile, &holder)) {
        if (kill((pid_t)holder, 0) == -1 && errno == ESRCH) {
          // A dead holder's lock, unless it was renewed since we looked.
          struct stat again;
          if (stat(lockfile, &again) == 0 && again.st_mtime == noted) {
            unlink(lockfile);
            kes_lock_sleep(10);
            tried++;
            continue;
          }
        } else {
          long age = (long)(time(nullptr) - noted);
          if (age < 0)
            kes_lock_sleep(60);
          else if (age < 60)
            kes_lock_sleep((unsigned)(60 - age));
        }
      } else if (!(st.st_size == 0 && being_written(noted))) {
        unlink(lockfile);  // damaged
      }
    }
    kes_lock_sleep(10);
    tried++;
  }
  return -1;
}

int unlockit(const char *lockfile, int pid) {
  uint32_t holder;
  if (!read_holder(lockfile, &holder) || holder != (uint32_t)pid) return -1;
  return unlink(lockfile) == 0 ? 0 : -1;
}

int mylock(const char *lockfile, unsigned pid) {
  uint32_t holder;
  return read_holder(lockfile, &holder) && holder == (uint32_t)pid;
}

void xmsg(const char *file, const char *function) {
  int e = errno;
  char msg[2048];
  switch (e) {
  case ENOENT:
    snprintf(msg, sizeof msg, BWM_MSG(1020, "`%s' nonexistent (ut4)"), file);
    break;
  case EACCES:
    snprintf(msg, sizeof msg, BWM_MSG(1021, "directory containing file `%s' unwritable (ut2)"),
             dir_of(file).c_str());
    break;
  case EMFILE:
  case ENFILE:
    snprintf(msg, sizeof msg, "%s", BWM_MSG(1022, "no file (ut3)"));
    break;
  case EFBIG:
    snprintf(msg, sizeof msg, "%s", BWM_MSG(1023, "write error (ut8)"));
    break;
  case ENOSPC:
    snprintf(msg, sizeof msg, "%s", BWM_MSG(1024, "no space! (ut10)"));
    break;
  default:
    snprintf(msg, sizeof msg, BWM_MSG(1025, "errno = %d, function = `%s' (ut11)"), e, function);
    break;
  }
  fatal_file = file;
  fatal(msg);
}

void fatal(const char *message) {
  failures++;
  char buf[3072];
  int n;
  if (fatal_file)
    n = snprintf(buf, sizeof buf, "ERROR [%s]: %s\n", fatal_file, message);
  else
    n = snprintf(buf, sizeof buf, "ERROR: %s\n", message);
  if (n > (int)sizeof buf - 1) n = sizeof buf - 1;
  if (::write(2, buf, n) < 0) {
    // Nothing more can be said.
  }
  exit(1);
}
