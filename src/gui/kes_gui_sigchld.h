// gui_on_sigchld: the tool's one SIGCHLD handler, shared by everything that
// starts children (the transaction runner, the resolve pane's merge tool).
//
// Each part registers a hook once; the handler runs every hook, then the
// handler that was there before it.  Hooks run in signal context: they may
// only reap their own child with waitpid(WNOHANG), set volatile flags or
// write to a pipe.
#ifndef BRINDLE_GUI_KES_GUI_SIGCHLD_H
#define BRINDLE_GUI_KES_GUI_SIGCHLD_H

typedef void (*Gui_sigchld_hook)();

// Installs the handler on the first call.  A hook given twice runs once.
void gui_on_sigchld(Gui_sigchld_hook hook);

#endif
