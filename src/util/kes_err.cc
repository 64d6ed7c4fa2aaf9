// Kes_err and Kes_warning: making, printing and copying errors; Kes_err_owner;
// the checked writes.
#include "util/kes_err.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "util/kes_init.h"
#include "util/kes_msg.h"

namespace {
const size_t kPlainSize = 3072;

// The host's table of system errors: glibc names every errno it knows.
bool errno_in_table(int err) { return err > 0 && strerrorname_np(err) != nullptr; }
}  // namespace

Kes_err::Kes_err()
    : code(0), system_errno(0), text(static_cast<char *>(malloc(kPlainSize))),
      stream(stderr), printed(0), capacity(kPlainSize) {
  if (!text) kes_new_handler();
  text[0] = '\0';
}

Kes_err::Kes_err(int size)
    : code(0), system_errno(0), text(nullptr), stream(stderr), printed(0), capacity(0) {
  const char *base = kes_get_base_cmdname();
  capacity = (base ? strlen(base) : 0) + (size > 0 ? size : 0) + 102;
  text = static_cast<char *>(malloc(capacity));
  if (!text) kes_new_handler();
  text[0] = '\0';
}

Kes_err::~Kes_err() { free(text); }

void Kes_err::append(const char *fmt, ...) {
  size_t used = strlen(text);
  if (used + 1 >= capacity) return;
  va_list ap;
  va_start(ap, fmt);
  vsnprintf(text + used, capacity - used, fmt, ap);
  va_end(ap);
}

void Kes_err::add_codes() {
  append(UTIL_MSG(1, "  (Error %d)"), code);
  if (system_errno == 0)
    append("\n");
  else if (errno_in_table(system_errno))
    append(UTIL_MSG(2, " - %s  (System error %d)\n"), strerror(system_errno), system_errno);
  else
    append(UTIL_MSG(3, " - Errno %d not recognized\n"), system_errno);
}

Kes_err *Kes_err::format_msg(int c, int err, const char *fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  vformat_msg(c, err, fmt, ap);
  va_end(ap);
  return this;
}

Kes_err *Kes_err::vformat_msg(int c, int err, const char *fmt, va_list ap) {
  if (!fmt) return this;
  char *end;
  init(c, err, &end);
  size_t used = end - text;
  if (used + 1 < capacity) vsnprintf(end, capacity - used, fmt, ap);
  add_codes();
  return this;
}

void Kes_err::init(int c, int err, char **end_of_text) {
  code = c;
  system_errno = err;
  text[0] = '\0';
  const char *base = kes_get_base_cmdname();
  if (base) append("%s: ", base);
  *end_of_text = text + strlen(text);
}

void Kes_err::print() {
  if (printed) return;
  fflush(stdout);
  fprintf(stream, "%s", text);
  printed = 1;
}

void Kes_err_owner::report() {
  if (!err_) return;
  err_->print();
  delete err_;
  err_ = nullptr;
}

Kes_err *Kes_err::copy() const {
  size_t len = strlen(text);
  Kes_err *e = new Kes_err(static_cast<int>(len));
  e->code = code;
  e->system_errno = system_errno;
  memcpy(e->text, text, len + 1);
  return e;
}

Kes_warning::Kes_warning() { stream = stdout; }

void Kes_warning::add_codes() { append(UTIL_MSG(4, "  (Warning %d)\n"), code); }

void kes_issue_warning(int code, int err, const char *fmt, ...) {
  Kes_warning w;
  va_list ap;
  va_start(ap, fmt);
  w.vformat_msg(code, err, fmt, ap);
  va_end(ap);
  w.print();
}

Kes_err *fprintf_err_message(const char *name) {
  return (new Kes_err)->format_msg(1001, errno, UTIL_MSG(5, "Writing to \"%s\" failed"), name);
}

Kes_err *fprintf_close_err_message(const char *name) {
  return (new Kes_err)->format_msg(1001, errno, UTIL_MSG(6, "Closing of the \"%s\" failed"),
                                   name);
}

Kes_err *fprintf_N_check(FILE *s, const char *name, const char *fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  int r = vfprintf(s, fmt, ap);
  va_end(ap);
  return r < 0 ? fprintf_err_message(name) : nullptr;
}

Kes_err *fputs_N_check(const char *str, FILE *s, const char *name) {
  return fputs(str, s) < 0 ? fprintf_err_message(name) : nullptr;
}

Kes_err *fclose_N_check(FILE *s, const char *name) {
  return fclose(s) != 0 ? fprintf_close_err_message(name) : nullptr;
}
