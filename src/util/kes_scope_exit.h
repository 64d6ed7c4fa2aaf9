// Kes_scope_exit: runs a function when the scope that made it ends, on every
// return, so that what was taken is given back once (a file lock, a directory).
//   if (Kes_err *e = lock()) return e;
//   auto unlock_at_end = kes_scope_exit([this] { unlock(); });
// release() gives up the call, for a path that gives the thing back itself.
#ifndef BRINDLE_UTIL_KES_SCOPE_EXIT_H
#define BRINDLE_UTIL_KES_SCOPE_EXIT_H

#include <utility>

template <class F> class [[nodiscard]] Kes_scope_exit {
public:
  explicit Kes_scope_exit(F fn) : fn_(std::move(fn)) {}
  Kes_scope_exit(Kes_scope_exit &&other) : fn_(std::move(other.fn_)), armed_(other.armed_) {
    other.armed_ = false;
  }
  ~Kes_scope_exit() {
    if (armed_) fn_();
  }
  Kes_scope_exit(const Kes_scope_exit &) = delete;
  Kes_scope_exit &operator=(const Kes_scope_exit &) = delete;
  Kes_scope_exit &operator=(Kes_scope_exit &&) = delete;

  void release() { armed_ = false; }

private:
  F fn_;
  bool armed_ = true;
};

template <class F> Kes_scope_exit<F> kes_scope_exit(F fn) {
  return Kes_scope_exit<F>(std::move(fn));
}

#endif
