// Error objects.  An operation that can fail returns a Kes_err *, null for
// success; whoever receives a non-null one owns it and prints, passes on or
// deletes it.  The text is finished when the object is made: command name,
// message, codes.
#ifndef BRINDLE_UTIL_KES_ERR_H
#define BRINDLE_UTIL_KES_ERR_H

#include <cstdarg>
#include <cstdio>

class Kes_err {
public:
  int code;
  int system_errno;
  char *text;
  FILE *stream;
  int printed;

  Kes_err();
  // For long texts built beforehand: room for the command name, size bytes of
  // message and the codes.
  explicit Kes_err(int size);
  virtual ~Kes_err();
  Kes_err(const Kes_err &) = delete;
  Kes_err &operator=(const Kes_err &) = delete;

  virtual void add_codes();

  Kes_err *format_msg(int code, int err, const char *fmt, ...)
      __attribute__((format(printf, 4, 5)));
  Kes_err *vformat_msg(int code, int err, const char *fmt, va_list ap)
      __attribute__((format(printf, 4, 0)));
  void init(int code, int err, char **end_of_text);
  void print();
  [[nodiscard]] Kes_err *copy() const;

protected:
  // Appends printf output behind the current text, never past the buffer.
  void append(const char *fmt, ...) __attribute__((format(printf, 2, 3)));
  size_t capacity;
};

class Kes_warning : public Kes_err {
public:
  Kes_warning();
  void add_codes() override;
};

// Owns at most one Kes_err and deletes it at the end of its scope, unless it
// was handed on by release().  keep() holds the first error it is given and
// deletes later ones, for the first is the cause:
//   Kes_err_owner err(open("a"));
//   if (!err) err.keep(write_lines());
//   err.keep(close());   // a failed close counts only when all went well
//   return err.release();
class Kes_err_owner {
public:
  Kes_err_owner() = default;
  explicit Kes_err_owner(Kes_err *err) : err_(err) {}
  ~Kes_err_owner() { delete err_; }
  Kes_err_owner(const Kes_err_owner &) = delete;
  Kes_err_owner &operator=(const Kes_err_owner &) = delete;

  void keep(Kes_err *err) {
    if (err_) delete err;
    else err_ = err;
  }
  explicit operator bool() const { return err_ != nullptr; }
  Kes_err *get() const { return err_; }
  [[nodiscard]] Kes_err *release() {
    Kes_err *err = err_;
    err_ = nullptr;
    return err;
  }
  // Prints the error held, if any, and drops it.
  void report();

private:
  Kes_err *err_ = nullptr;
};

void kes_issue_warning(int code, int err, const char *fmt, ...)
    __attribute__((format(printf, 3, 4)));

// Checked output: every write to a metadata or temporary file goes through these.
[[nodiscard]] Kes_err *fprintf_N_check(FILE *s, const char *name, const char *fmt, ...)
    __attribute__((format(printf, 3, 4)));
[[nodiscard]] Kes_err *fputs_N_check(const char *str, FILE *s, const char *name);
[[nodiscard]] Kes_err *fclose_N_check(FILE *s, const char *name);
[[nodiscard]] Kes_err *fprintf_err_message(const char *name);
[[nodiscard]] Kes_err *fprintf_close_err_message(const char *name);

#endif
