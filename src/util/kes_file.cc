// Copying files and links, and creating directory trees.
#include "util/kes_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "util/kes_str.h"
#include "util/kes_timing.h"

namespace {
// The source is mapped and written this much at a time.
const off_t kCopyWindow = 0x40000;

// A file this small is read whole into a buffer, one call where mapping it
// takes two.
const off_t kSmallCopy = 0x10000;

// Writes len bytes of p; a short write is continued, and the next one tells
// why it stopped, so that a full disk is ENOSPC, which callers act on.
Kes_err *write_all(const char *to, int out, const char *p, size_t left) {
  ssize_t n = 0;
  errno = 0;
  while (left > 0 && (n = write(out, p, left)) > 0) {
    p += n;
    left -= static_cast<size_t>(n);
    errno = 0;
  }
  if (left == 0) return nullptr;
  // No progress and no errno: the disk is full as a rule.
  if (errno == 0)
    return (new Kes_err)->format_msg(
        1008, 0, UTIL_MSG(321, "Write to \"%s\" failed; maybe no space left on device"), to);
  return (new Kes_err)->format_msg(1008, errno, UTIL_MSG(322, "Write to \"%s\" failed"), to);
}

Kes_err *copy_contents(const char *to, const char *from, int in, off_t size, int out) {
  if (size == 0) return nullptr;
  if (size <= kSmallCopy) {
    thread_local char buf[kSmallCopy];
    ssize_t n = pread(in, buf, static_cast<size_t>(size), 0);
    // A read that fails or falls short is left to the mapped copy, which
    // reports as it always has.
    if (n == size) return write_all(to, out, buf, static_cast<size_t>(n));
  }
  size_t first = static_cast<size_t>(size < kCopyWindow ? size : kCopyWindow);
  void *base = mmap(nullptr, first, PROT_READ, MAP_SHARED, in, 0);
  if (base == MAP_FAILED)
    return (new Kes_err)->format_msg(1030, errno, UTIL_MSG(320, "Mmap of \"%s\" failed"), from);
  Kes_err *err = nullptr;
  for (off_t offset = 0; offset < size;) {
    size_t window = static_cast<size_t>(size - offset < kCopyWindow ? size - offset : kCopyWindow);
    if (offset > 0 &&
        mmap(base, window, PROT_READ, MAP_SHARED | MAP_FIXED, in, offset) == MAP_FAILED) {
      err = (new Kes_err)->format_msg(1030, errno, UTIL_MSG(320, "Mmap of \"%s\" failed"), from);
      break;
    }
    if ((err = write_all(to, out, static_cast<const char *>(base), window))) break;
    offset += static_cast<off_t>(window);
  }
  munmap(base, first);
  return err;
}
}  // namespace

int kes_open_read(int dirfd, const char *path) {
  int fd = openat(dirfd, path, O_RDONLY | O_CLOEXEC | O_NOATIME);
  // Refused (EPERM) to anyone but the owner and a privileged user.
  if (fd < 0 && errno == EPERM) fd = openat(dirfd, path, O_RDONLY | O_CLOEXEC);
  return fd;
}

FILE *kes_fopen_read(const char *path) {
  int fd = kes_open_read(AT_FDCWD, path);
  if (fd < 0) return nullptr;
  FILE *f = fdopen(fd, "r");
  if (!f) {
    int e = errno;
    close(fd);
    errno = e;
  }
  return f;
}

Kes_err *kes_copy_file(const char *to, const char *from, int out) {
  Kes_timing::start(kes_time_copy_file);
  Kes_err *err = nullptr;
  int in = kes_open_read(AT_FDCWD, from);
  struct stat st;
  if (in < 0) {
    err = (new Kes_err)->format_msg(1001, errno,
                                    UTIL_MSG(323, "Open of \"%s\" for reading failed"), from);
  } else if (fstat(in, &st) < 0) {
    err = (new Kes_err)->format_msg(1002, errno, UTIL_MSG(324, "Fstat of \"%s\" failed"), from);
  } else if (out >= 0 ? fchmod(out, st.st_mode & 0xfff) < 0
                      : (out = creat(to, st.st_mode & 0xfff)) < 0) {
    err = (new Kes_err)->format_msg(1005, errno, UTIL_MSG(325, "Create of \"%s\" failed"), to);
  } else {
    err = copy_contents(to, from, in, st.st_size, out);
  }
  if (in >= 0) close(in);
  if (out >= 0) {
    if (close(out) < 0 && !err)
      err = (new Kes_err)->format_msg(1009, errno, UTIL_MSG(326, "Close of \"%s\" failed"), to);
    if (err) unlink(to);
  }
  Kes_timing::stop(kes_time_copy_file);
  return err;
}

Kes_err *kes_copy_link(const char *to, const char *from) {
  char text[PATH_MAX + 1];
  ssize_t n = readlink(from, text, sizeof text - 1);
  if (n < 0)
    return (new Kes_err)->format_msg(1011, errno, UTIL_MSG(327, "Readlink of \"%s\" failed "),
                                     from);
  text[n] = '\0';
  if (symlink(text, to) < 0)
    return (new Kes_err)->format_msg(1012, errno, UTIL_MSG(328, "Symlink(\"%s\", \"%s\") failed"),
                                     text, to);
  return nullptr;
}

namespace {
// Directories known to exist, for the whole process.
Kes_str_int_hash *known_dirs() {
  static Kes_str_int_hash *known = new Kes_str_int_hash(0);
  return known;
}

bool is_known_dir(const std::string &dir) {
  return dir == "." || dir == "/" || known_dirs()->lookup(dir.c_str());
}

Kes_err *mkdir_failed(const char *dir) {
  return (new Kes_err)->format_msg(1013, errno, UTIL_MSG(329, "Mkdir of \"%s\" failed"), dir);
}

// The directory part of path: "." without a "/", "/" for a name just below it.
std::string parent_of(const char *path) {
  std::string p(path);
  while (p.size() > 1 && p.back() == '/') p.pop_back();
  size_t slash = p.rfind('/');
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return p.substr(0, slash);
}
}  // namespace

namespace {
// dir exists, and so does every directory above it.
void remember_dirs(const char *dir) {
  for (std::string d = dir; !is_known_dir(d); d = parent_of(d.c_str())) {
    char *key = kes_strdup(d.c_str());
    if (known_dirs()->insert(key, 1)) free(key);
  }
}

// From the directory itself upwards, the first mkdir that does not fail
// with ENOENT names the directory in any error.
Kes_err *create_upwards(const char *dir) {
  if (is_known_dir(dir)) return nullptr;
  if (mkdir(dir, 0777) < 0 && errno != EEXIST) {
    if (errno != ENOENT) return mkdir_failed(dir);
    Kes_err *err = create_upwards(parent_of(dir).c_str());
    if (err) return err;
    if (mkdir(dir, 0777) < 0 && errno != EEXIST) return mkdir_failed(dir);
  }
  remember_dirs(dir);
  return nullptr;
}
}  // namespace

Kes_err *kes_create_dirs(const char *dir) {
  if (is_known_dir(dir)) return nullptr;
  // Below a directory remembered here, the missing ones are made from the
  // top down, one mkdir each.  Without one, or when a mkdir fails, the search
  // goes upwards from dir, which names the directory in any error.
  std::vector<std::string> missing{dir};
  for (std::string up = parent_of(dir); !is_known_dir(up); up = parent_of(up.c_str()))
    missing.push_back(up);
  if (known_dirs()->lookup(parent_of(missing.back().c_str()).c_str())) {
    size_t made = missing.size();
    while (made > 0 && (mkdir(missing[made - 1].c_str(), 0777) == 0 || errno == EEXIST)) made--;
    if (made == 0) {
      remember_dirs(dir);
      return nullptr;
    }
  }
  return create_upwards(dir);
}

namespace {
int syncs_deferred = 0;
int deferred_dir = -1;  // where the relative names of deferred_paths start
std::vector<std::string> deferred_paths;
}  // namespace

void kes_defer_syncs(int on) {
  syncs_deferred = on;
  if (on && deferred_dir < 0) deferred_dir = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

int kes_deferrable_fsync(int fd, const char *path) {
  if (!syncs_deferred) return fsync(fd);
  deferred_paths.push_back(path);
  // Waiting here would cost a disk write per file; the order is the file
  // system's, the durability kes_sync_deferred's.
  if (sync_file_range(fd, 0, 0, SYNC_FILE_RANGE_WRITE) == 0) return 0;
  // A file system without the call gets the plain fsync.
  if (errno != EINVAL && errno != ENOSYS && errno != ESPIPE) return -1;
  return fsync(fd);
}

Kes_err *kes_sync_deferred() {
  // Every file's pages reach the disk (no journal commit, no cache flush),
  // then one fsync per file system commits its journal, which holds the
  // renames and sizes of all of them, and flushes the disk's cache: one
  // flush costs as much as the journal commit, so it is made once.  The file
  // synced is the last one noted: its changes are the newest, so the commit
  // that holds them holds those of every file before it.
  struct Last {
    dev_t dev;
    int fd;
    std::string path;
  };
  std::vector<Last> last;
  Kes_err *err = nullptr;
  auto failed = [&err](const std::string &path) {
    if (!err)
      err = (new Kes_err)->format_msg(1026, errno, UTIL_MSG(330, "Fsync to \"%s\" failed"),
                                      path.c_str());
  };
  for (const std::string &path : deferred_paths) {
    int fd = openat(deferred_dir, path.c_str(), O_RDONLY | O_CLOEXEC);
    // A file removed since (a journal once its table is written) needs none.
    if (fd < 0) continue;
    struct stat st;
    if (fstat(fd, &st) != 0 ||
        sync_file_range(fd, 0, 0,
                        SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE |
                            SYNC_FILE_RANGE_WAIT_AFTER) != 0) {
      // Without the call the file gets its own fsync.
      if (errno != EINVAL && errno != ENOSYS && errno != ESPIPE)
        failed(path);
      else if (fsync(fd) != 0)
        failed(path);
      close(fd);
      continue;
    }
    auto same = std::find_if(last.begin(), last.end(),
                             [&st](const Last &l) { return l.dev == st.st_dev; });
    if (same == last.end()) {
      last.push_back({st.st_dev, fd, path});
    } else {
      close(same->fd);
      same->fd = fd;
      same->path = path;
    }
  }
  for (Last &l : last) {
    if (fsync(l.fd) != 0) failed(l.path);
    close(l.fd);
  }
  deferred_paths.clear();
  if (deferred_dir >= 0) close(deferred_dir);
  deferred_dir = -1;
  return err;
}

Kes_err *kes_create_file_dirs(const char *file) { return kes_create_dirs(parent_of(file).c_str()); }

// At least one, so that the descriptor just opened is never the one closed.
Kes_dirfd_cache::Kes_dirfd_cache(int limit_)
    : Kes_str_int_hash(-1), limit(limit_ < 1 ? 1 : limit_), names(new Kes_strlist) {}

Kes_dirfd_cache::~Kes_dirfd_cache() {
  for (Kes_listelem *e = names->head.next; e != &names->head; e = e->next) {
    int fd = lookup(static_cast<char *>(e->data));
    if (fd >= 0) close(fd);
  }
  delete names;
}

Kes_err *Kes_dirfd_cache::get_dir_fd(const char *path, int *fd) {
  int known = lookup(path);
  if (known != -1) {
    *fd = known;
    return nullptr;
  }
  int opened = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (opened < 0) {
    if (errno != ENOENT && errno != ENOTDIR) {
      *fd = -1;
      return (new Kes_err)->format_msg(1001, errno,
                                       UTIL_MSG(323, "Open of \"%s\" for reading failed"), path);
    }
    opened = -2;
  }
  char *key = kes_strdup(path);
  insert(key, opened);
  names->add_new_copy(key);
  trim_cache();
  *fd = opened;
  return nullptr;
}

void Kes_dirfd_cache::trim_cache() {
  while (names->count > limit) {
    Kes_listelem *oldest = names->head.next;
    const char *name = static_cast<char *>(oldest->data);
    int fd = lookup(name);
    if (fd >= 0) close(fd);
    remove(name);
    names->delete_elem(oldest);
  }
}
