// kes_crash_point: a kill -9 at the Nth point, for the tests of what a dead
// command leaves behind.
#include "util/kes_crash.h"

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace {
long kill_at() {
  static const long at = [] {
    const char *v = getenv("BRINDLE_KILL_AT");
    return v ? atol(v) : 0L;
  }();
  return at;
}
}  // namespace

void kes_crash_point() {
  static long count = 0;
  if (kill_at() <= 0 || ++count != kill_at()) return;
  // What was printed is what a user of a killed command would have seen.
  fflush(stdout);
  kill(getpid(), SIGKILL);
}
