// The tool's debug trace and its texts' catalogue.
//
// With BRINDLE_GUI_DEBUG set, the tool writes one line per event worth
// checking: footers as they change, the selection, the current item, the
// callbacks it calls, the commands it runs and the place of every workspace on
// the screen after each layout.  A value that holds a "/" names a file that the
// lines are appended to; any other value sends them to standard error.  Lines
// are flushed one by one, so a reader can wait for them.
#ifndef BRINDLE_GUI_KES_GUI_DEBUG_H
#define BRINDLE_GUI_KES_GUI_DEBUG_H

#include <X11/Intrinsic.h>
#include <libintl.h>

// Every text the user sees, fetched from the text domain "brindle".
#define GUI_MSG(text) gettext(text)

// Reads BRINDLE_GUI_DEBUG; the trace is off until this is called.
void gui_debug_init();
int gui_debug_on();
void gui_debug(const char *fmt, ...) __attribute__((format(printf, 1, 2)));
// "place NAME X Y W H" for every widget shown below w (screen coordinates),
// so that a test can aim at a widget by its name.
void gui_trace_places(Widget w);
// The same each time the shell is mapped.
void gui_trace_places_on_map(Widget shell);

#endif
