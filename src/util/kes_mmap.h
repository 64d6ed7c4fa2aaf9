// Sequential reader of a file through a moving mapped window, so that a history
// file of any size is read with a small, fixed amount of mapped memory.
//
// gets() reads line by line: a line longer than the window, or a last line
// without a newline, reads as the end of the file (null with an empty buffer).  A
// line that does not fit the caller's buffer is error 2000.  read() hands out the
// mapped bytes themselves, window by window, without copying.
#ifndef BRINDLE_UTIL_KES_MMAP_H
#define BRINDLE_UTIL_KES_MMAP_H

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>

#include "util/kes_err.h"

class Kes_mmap {
public:
  const char *name;    // not owned
  const char *dir;     // not owned; may be null
  char fullname[1024]; // dir/name, filled by get_fullname()
  int fd;              // -1 when closed
  struct stat status;
  off_t offset;        // of the window in the file
  size_t window;       // bytes per window, a whole number of pages
  size_t map_size;     // bytes of the current mapping (0: nothing mapped)
  size_t page_size;
  char *addr;          // the current mapping, or null
  char *pos;           // current position inside the mapping

  // The window is two pages, or window / page size pages, at least 2.
  Kes_mmap(const char *name, const char *dir);
  Kes_mmap(const char *name, const char *dir, int window);
  ~Kes_mmap();  // closes quietly if still open
  Kes_mmap(const Kes_mmap &) = delete;
  Kes_mmap &operator=(const Kes_mmap &) = delete;

  [[nodiscard]] Kes_err *open();    // open, fstat and map the start
  [[nodiscard]] Kes_err *close();   // unmap and close
  [[nodiscard]] Kes_err *mmap();    // map the window at offset (nothing for an empty file)
  [[nodiscard]] Kes_err *munmap();  // unmap the current window

  // The next line with its newline into buf, terminated; returns buf.  At the end
  // of the file, or on an error (*err set), buf is empty and the result null.
  char *gets(char *buf, int size, Kes_err **err);
  // The rest of the current window, or of the next one when this one is used up:
  // *data and *len, and 1.  At the end of the file, or on an error (*err set),
  // *data is null, *len 0 and the result 0.
  int read(char **data, int *len, Kes_err **err);
  [[nodiscard]] Kes_err *rewind();  // back to the start of the file
  int eof();          // 1 when the position has reached the file's size
  // dir/name, or name alone when dir is null or empty or name is absolute.
  const char *get_fullname();

private:
  off_t file_pos() const;  // position as an offset in the file
  [[nodiscard]] Kes_err *move_window(off_t new_offset);
};

#endif
