// Kes_mmap: the mapped file reader.
#include "util/kes_mmap.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "util/kes_file.h"
#include "util/kes_msg.h"

namespace {
size_t host_page_size() {
  long p = sysconf(_SC_PAGESIZE);
  return p > 0 ? (size_t)p : 4096;
}
}  // namespace

Kes_mmap::Kes_mmap(const char *name, const char *dir) : Kes_mmap(name, dir, 0) {}

Kes_mmap::Kes_mmap(const char *name, const char *dir, int window_bytes)
    : name(name), dir(dir), fd(-1), offset(0), window(0), map_size(0),
      page_size(host_page_size()), addr(nullptr), pos(nullptr) {
  fullname[0] = '\0';
  memset(&status, 0, sizeof status);
  size_t pages = window_bytes > 0 ? (size_t)window_bytes / page_size : 0;
  if (pages < 2) pages = 2;
  window = pages * page_size;
}

Kes_mmap::~Kes_mmap() { delete close(); }

const char *Kes_mmap::get_fullname() {
  if (!dir || !*dir || name[0] == '/')
    snprintf(fullname, sizeof fullname, "%s", name);
  else
    snprintf(fullname, sizeof fullname, "%s/%s", dir, name);
  return fullname;
}

Kes_err *Kes_mmap::open() {
  delete close();
  get_fullname();
  fd = kes_open_read(AT_FDCWD, fullname);
  if (fd < 0)
    return (new Kes_err)->format_msg(1001, errno, UTIL_MSG(102, "Open of \"%s\" for reading failed"),
                                     fullname);
  if (fstat(fd, &status) < 0) {
    Kes_err *err = (new Kes_err)->format_msg(1002, errno, UTIL_MSG(103, "Fstat of \"%s\" failed"),
                                             fullname);
    ::close(fd);
    fd = -1;
    return err;
  }
  offset = 0;
  if (Kes_err *err = mmap()) {
    ::close(fd);
    fd = -1;
    return err;
  }
  return nullptr;
}

Kes_err *Kes_mmap::close() {
  Kes_err *err = munmap();
  if (fd >= 0) {
    if (::close(fd) < 0 && !err)
      err = (new Kes_err)->format_msg(1009, errno, UTIL_MSG(106, "Close of \"%s\" failed"),
                                      get_fullname());
    fd = -1;
  }
  return err;
}

Kes_err *Kes_mmap::mmap() {
  if (Kes_err *err = munmap()) return err;  // one mapping at a time
  map_size = 0;
  if (status.st_size <= offset) return nullptr;  // nothing left to map
  off_t left = status.st_size - offset;
  size_t len = (off_t)window < left ? window : (size_t)left;
  void *a = ::mmap(nullptr, len, PROT_READ, MAP_PRIVATE, fd, offset);
  if (a == MAP_FAILED)
    return (new Kes_err)->format_msg(1030, errno, UTIL_MSG(104, "Mmap of \"%s\" failed"),
                                     get_fullname());
  addr = pos = static_cast<char *>(a);
  map_size = len;
  return nullptr;
}

Kes_err *Kes_mmap::munmap() {
  if (!addr) return nullptr;
  if (::munmap(addr, map_size) < 0)
    return (new Kes_err)->format_msg(1034, errno, UTIL_MSG(105, "Munmap of \"%s\" failed"),
                                     get_fullname());
  addr = pos = nullptr;
  map_size = 0;
  return nullptr;
}

off_t Kes_mmap::file_pos() const { return addr ? offset + (pos - addr) : offset; }

Kes_err *Kes_mmap::move_window(off_t new_offset) {
  off_t at = file_pos();
  if (Kes_err *err = munmap()) return err;
  offset = new_offset;
  if (Kes_err *err = mmap()) return err;
  if (addr) pos = addr + (at - offset);
  return nullptr;
}

char *Kes_mmap::gets(char *buf, int size, Kes_err **err) {
  *err = nullptr;
  if (size > 0) buf[0] = '\0';
  if (!addr) return nullptr;
  char *end = addr + map_size;
  char *nl = static_cast<char *>(memchr(pos, '\n', end - pos));
  // No newline before the end of the window: move the window so that the line
  // starts in its first page, unless it could not move or there is no more file.
  if (!nl && pos != addr && offset + (off_t)map_size < status.st_size) {
    off_t start = file_pos() / (off_t)page_size * (off_t)page_size;
    if (start != offset) {
      if ((*err = move_window(start))) return nullptr;
      if (!addr) return nullptr;
      end = addr + map_size;
      nl = static_cast<char *>(memchr(pos, '\n', end - pos));
    }
  }
  if (!nl) return nullptr;  // the caller takes this for the end of the file
  size_t len = nl - pos + 1;
  if (size < 1 || len > (size_t)size - 1) {
    *err = (new Kes_err)->format_msg(
        2000, 0, UTIL_MSG(107, "Line too long or unexpected end of file in \"%s\""),
        get_fullname());
    return nullptr;
  }
  memcpy(buf, pos, len);
  buf[len] = '\0';
  pos = nl + 1;
  return buf;
}

int Kes_mmap::read(char **data, int *len, Kes_err **err) {
  *err = nullptr;
  *data = nullptr;
  *len = 0;
  if (!addr) return 0;
  if (pos == addr + map_size) {
    off_t at = file_pos();
    if (at >= status.st_size) return 0;
    if ((*err = move_window(at / (off_t)page_size * (off_t)page_size))) return 0;
    if (!addr) return 0;
  }
  *data = pos;
  *len = (int)(addr + map_size - pos);
  pos = addr + map_size;
  return 1;
}

Kes_err *Kes_mmap::rewind() {
  if (fd < 0) return nullptr;
  if (offset != 0 || !addr) {
    if (Kes_err *err = munmap()) return err;
    offset = 0;
    return mmap();
  }
  pos = addr;
  return nullptr;
}

int Kes_mmap::eof() { return file_pos() >= status.st_size; }
