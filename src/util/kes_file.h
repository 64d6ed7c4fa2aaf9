// Copying files and links, and creating directory trees.
#ifndef BRINDLE_UTIL_KES_FILE_H
#define BRINDLE_UTIL_KES_FILE_H

#include <cstdio>

#include "util/kes_hash.h"

class Kes_err;
class Kes_strlist;

// Opens path (relative to dirfd, or AT_FDCWD) for reading without updating its
// access time where the file's owner may ask that: a history read for a
// comparison is no use of the file, and on a freshly copied tree the access
// time would cost an inode write per file.  Others' files open as usual.
// The descriptor, or -1 with errno.
int kes_open_read(int dirfd, const char *path);
// The same as a stdio stream; null with errno.
FILE *kes_fopen_read(const char *path);

// Copies the contents of from into a new file to, with from's permission bits.
// With out >= 0, to has been created already (by mkstemp) and is open on out,
// which is closed here.  On any error to is removed.  Runs under the timer
// kes_time_copy_file.
[[nodiscard]] Kes_err *kes_copy_file(const char *to, const char *from, int out = -1);

// Makes to a symbolic link with the same text as the link from.
[[nodiscard]] Kes_err *kes_copy_link(const char *to, const char *from);

// Creates dir and every missing directory above it, each with mode 0777.
// Directories made or found here are remembered for the process, so asking
// again for one costs no system call.  "." and "/" exist already.
[[nodiscard]] Kes_err *kes_create_dirs(const char *dir);
// The same for the directory that holds file.
[[nodiscard]] Kes_err *kes_create_file_dirs(const char *file);

// Syncs of a run of file writes, made once at its end.  While they are
// deferred, kes_deferrable_fsync starts writing a file's pages out and does
// not wait: a journaling file system in ordered mode (ext4's default) then
// commits those pages no later than anything the run changes afterwards (a
// rename over the old file, the next line of a journal).  kes_sync_deferred
// then waits for all their pages and makes one fsync per file system, whose
// journal commit and cache flush cover them all.  Not deferred, it is fsync.
void kes_defer_syncs(int on);
// fd is the file that will be named path (relative to the working directory
// of kes_defer_syncs) when the run ends.  0, or -1 with errno.
[[nodiscard]] int kes_deferrable_fsync(int fd, const char *path);
// The files of the deferred syncs made durable; error 1026.
[[nodiscard]] Kes_err *kes_sync_deferred();

// Closes fd on a thread of its own, soon.  Held across a rename over a file,
// a descriptor makes the last close, not the rename, free the old file's
// blocks, which on a file system mounted with discard waits for the disk;
// the run goes on meanwhile.  The thread takes no signals; descriptors still
// queued when the process ends are closed by the kernel.
void kes_close_later(int fd);

// Open descriptors of directories by path, for *at() calls on many files.  A
// path that is no directory, or does not exist, is remembered as -2.  When
// more than limit paths are held, the oldest are closed and forgotten.
class Kes_dirfd_cache : public Kes_str_int_hash {
public:
  int limit;
  Kes_strlist *names;  // first in, first out

  explicit Kes_dirfd_cache(int limit = 64);
  ~Kes_dirfd_cache() override;  // closes every descriptor

  // *fd gets the descriptor, or -2 for no such directory, or -1 with error
  // 1001 when the directory exists but cannot be opened.
  [[nodiscard]] Kes_err *get_dir_fd(const char *path, int *fd);
  void trim_cache();
};

#endif
