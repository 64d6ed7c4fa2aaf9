// The toolkit's trace hook and its texts.
//
// The toolkit knows no application: an application that keeps a trace of what
// its dialogs and choosers show (a test switch, usually) gives the toolkit one
// function that takes a finished line.  Without it the toolkit traces nothing.
#ifndef BRINDLE_TOOLKIT_SS_TRACE_H
#define BRINDLE_TOOLKIT_SS_TRACE_H

#include <libintl.h>

// Every text the user sees, from the application's current text domain.
#define SS_MSG(text) gettext(text)

typedef void (*SSTraceProc)(const char *line);
void SSSetTraceProc(SSTraceProc proc);
// Formats one line, with every newline written as "\n", and hands it on.
void SSTrace(const char *fmt, ...) __attribute__((format(printf, 1, 2)));

#endif
