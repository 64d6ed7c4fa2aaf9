// The toolkit's trace hook.
#include "toolkit/ss_trace.h"

#include <cstdarg>
#include <cstdio>
#include <string>

namespace {
SSTraceProc trace_proc;
}  // namespace

void SSSetTraceProc(SSTraceProc proc) { trace_proc = proc; }

void SSTrace(const char *fmt, ...) {
  if (!trace_proc) return;
  char text[4096];
  va_list ap;
  va_start(ap, fmt);
  vsnprintf(text, sizeof text, fmt, ap);
  va_end(ap);
  std::string line;
  for (const char *p = text; *p; p++) line += *p == '\n' ? std::string("\\n") : std::string(1, *p);
  trace_proc(line.c_str());
}
