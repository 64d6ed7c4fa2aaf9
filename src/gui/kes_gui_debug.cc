// The debug trace that BRINDLE_GUI_DEBUG turns on.
#include "gui/kes_gui_debug.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

FILE *trace;

}  // namespace

void gui_debug_init() {
  const char *where = getenv("BRINDLE_GUI_DEBUG");
  if (!where) return;
  trace = strchr(where, '/') ? fopen(where, "a") : stderr;
  if (!trace) {
    fprintf(stderr, "brindletool: cannot open the trace file %s\n", where);
    trace = stderr;
  }
}

int gui_debug_on() { return trace != nullptr; }

void gui_debug(const char *fmt, ...) {
  if (!trace) return;
  va_list ap;
  va_start(ap, fmt);
  vfprintf(trace, fmt, ap);
  va_end(ap);
  fputc('\n', trace);
  fflush(trace);
}
