// Fault injection for the tests of failure paths: the Nth open, write, rename
// or fsync of a process fails on demand.
//
// Built only with the CMake option BRINDLE_FAULT_INJECTION (on in builds that
// have the tests).  The linker then sends every call of open, creat, fopen,
// mkstemp, write, fflush, fclose, rename and fsync made by our own objects
// through the wrappers here; calls inside the C library and in the programs we
// run are not counted.  Without the option this file is empty.
//
// The switch is the environment of the process, read once at start and then
// removed, so that programs the command runs (file list programs, freezept)
// keep their own I/O:
//
//   BRINDLE_FAULT=OP:N     the Nth call of kind OP fails, and only that one
//   BRINDLE_FAULT=OP:N+    the Nth and every later call of kind OP fail (a disk
//                          that stays full)
//   BRINDLE_FAULT_LOG=F    each failure made appends "OP N" to the file F, and
//                          the end of the process "calls OP N" for each kind,
//                          so a sweep knows how far N goes
//
// OP is open (open, creat, fopen, mkstemp: EIO), write (write; fflush and
// fclose of a stream holding unwritten output, whose output is dropped:
// ENOSPC), rename (EIO) or fsync (EIO).  Standard input, output and error never
// fail.  tests/e2e/t1803-fault-sweep.sh sweeps N over the transactions.
#ifdef BRINDLE_FAULT_INJECTION

#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" {
int __real_open(const char *path, int flags, ...);
int __real_creat(const char *path, mode_t mode);
FILE *__real_fopen(const char *path, const char *mode);
int __real_mkstemp(char *templ);
ssize_t __real_write(int fd, const void *buf, size_t n);
int __real_fflush(FILE *fp);
int __real_fclose(FILE *fp);
int __real_rename(const char *from, const char *to);
int __real_fsync(int fd);
}

namespace {

enum Op { kOpen, kWrite, kRename, kFsync, kOps };
const char *const kOpNames[kOps] = {"open", "write", "rename", "fsync"};

struct Plan {
  int op = -1;          // the kind that fails; -1 for none
  long nth = 0;         // the first call that fails, from 1
  bool stays = false;   // every later call fails too
  long calls[kOps] = {};
  char log[1024] = "";
};

Plan plan;

__attribute__((constructor)) void read_plan() {
  const char *spec = getenv("BRINDLE_FAULT");
  if (spec) {
    for (int op = 0; op < kOps; op++) {
      size_t n = strlen(kOpNames[op]);
      if (strncmp(spec, kOpNames[op], n) != 0 || spec[n] != ':') continue;
      char *end;
      long nth = strtol(spec + n + 1, &end, 10);
      if (nth > 0 && (*end == '\0' || (*end == '+' && end[1] == '\0'))) {
        plan.op = op;
        plan.nth = nth;
        plan.stays = *end == '+';
      }
    }
    if (plan.op < 0) {
      fprintf(stderr, "BRINDLE_FAULT=%s: expected open, write, rename or fsync, ':' and a count\n",
              spec);
      _exit(2);
    }
  }
  const char *log = getenv("BRINDLE_FAULT_LOG");
  if (log) snprintf(plan.log, sizeof plan.log, "%s", log);
  unsetenv("BRINDLE_FAULT");
  unsetenv("BRINDLE_FAULT_LOG");
}

void log_line(const char *what, Op op, long n) {
  if (!plan.log[0]) return;
  int fd = __real_open(plan.log, O_WRONLY | O_CREAT | O_APPEND, 0666);
  if (fd < 0) return;
  char line[64];
  int len = snprintf(line, sizeof line, "%s%s %ld\n", what, kOpNames[op], n);
  if (__real_write(fd, line, len) != len) {
    // Nothing to do: the sweep then sees no failure and stops early.
  }
  close(fd);
}

// Counts a call of kind op; true when it is to fail, with errno set.
bool fails(Op op, int err) {
  long n = ++plan.calls[op];
  if (op != plan.op || n < plan.nth || (!plan.stays && n != plan.nth)) return false;
  log_line("", op, n);
  errno = err;
  return true;
}

// At the end the log gets the number of calls of each kind: "calls OP N".
__attribute__((destructor)) void log_calls() {
  for (int op = 0; op < kOps; op++) log_line("calls ", static_cast<Op>(op), plan.calls[op]);
}

// A stream whose unwritten output is about to reach a file.
bool output_pending(FILE *fp) { return fp && fileno(fp) > 2 && __fwritable(fp) && __fpending(fp) > 0; }

}  // namespace

extern "C" {

int __wrap_open(const char *path, int flags, ...) {
  mode_t mode = 0;
  if (flags & (O_CREAT | O_TMPFILE)) {
    va_list ap;
    va_start(ap, flags);
    mode = va_arg(ap, mode_t);
    va_end(ap);
  }
  if (fails(kOpen, EIO)) return -1;
  return __real_open(path, flags, mode);
}

int __wrap_creat(const char *path, mode_t mode) {
  return fails(kOpen, EIO) ? -1 : __real_creat(path, mode);
}

FILE *__wrap_fopen(const char *path, const char *mode) {
  return fails(kOpen, EIO) ? nullptr : __real_fopen(path, mode);
}

int __wrap_mkstemp(char *templ) { return fails(kOpen, EIO) ? -1 : __real_mkstemp(templ); }

ssize_t __wrap_write(int fd, const void *buf, size_t n) {
  if (fd > 2 && fails(kWrite, ENOSPC)) return -1;
  return __real_write(fd, buf, n);
}

int __wrap_fflush(FILE *fp) {
  if (output_pending(fp) && fails(kWrite, ENOSPC)) {
    __fpurge(fp);
    errno = ENOSPC;
    return EOF;
  }
  return __real_fflush(fp);
}

int __wrap_fclose(FILE *fp) {
  if (output_pending(fp) && fails(kWrite, ENOSPC)) {
    __fpurge(fp);
    __real_fclose(fp);
    errno = ENOSPC;
    return EOF;
  }
  return __real_fclose(fp);
}

int __wrap_rename(const char *from, const char *to) {
  return fails(kRename, EIO) ? -1 : __real_rename(from, to);
}

int __wrap_fsync(int fd) { return fails(kFsync, EIO) ? -1 : __real_fsync(fd); }

}  // extern "C"

#endif
