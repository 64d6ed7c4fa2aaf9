// The debug trace that BRINDLE_GUI_DEBUG turns on.
#include "gui/kes_gui_debug.h"

#include <Xm/Xm.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "toolkit/ss_trace.h"

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
  // The toolkit's dialogs and choosers go into the same trace.
  SSSetTraceProc([](const char *line) { gui_debug("%s", line); });
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

namespace {

void trace_tree(Widget w) {
  if (!XtIsManaged(w) && !XtIsShell(w)) return;
  if (XtIsComposite(w)) {
    WidgetList children = nullptr;
    Cardinal n = 0;
    XtVaGetValues(w, XmNchildren, &children, XmNnumChildren, &n, nullptr);
    for (Cardinal i = 0; i < n; i++) trace_tree(children[i]);
    return;
  }
  Position x = 0, y = 0;
  XtTranslateCoords(w, 0, 0, &x, &y);
  Dimension width = 0, height = 0;
  XtVaGetValues(w, XmNwidth, &width, XmNheight, &height, nullptr);
  gui_debug("place %s %d %d %d %d", XtName(w), x, y, width, height);
}

void trace_on_map(Widget w, XtPointer, XEvent *event, Boolean *) {
  if (event->type == MapNotify) gui_trace_places(w);
}

}  // namespace

void gui_trace_places(Widget w) {
  if (!trace || !w || !XtIsRealized(w)) return;
  Widget shell = w;
  while (shell && !XtIsShell(shell)) shell = XtParent(shell);
  XWindowAttributes a;
  if (!shell || !XGetWindowAttributes(XtDisplay(shell), XtWindow(shell), &a) ||
      a.map_state != IsViewable)
    return;
  trace_tree(w);
  gui_debug("places %s", XtName(shell));
}

void gui_trace_places_on_map(Widget shell) {
  XtAddEventHandler(shell, StructureNotifyMask, False, trace_on_map, nullptr);
}
