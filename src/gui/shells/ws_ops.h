// What the workspace operations dialogs share: running the workspace command
// and reading what it says, the footers, and the hooks that the canvas's
// rename by click and reparent by drag arrive through.
#ifndef BRINDLE_GUI_SHELLS_WS_OPS_H
#define BRINDLE_GUI_SHELLS_WS_OPS_H

#include <string>

class Kes_workspace;

// text quoted for the shell, as a copy (shell_escape's buffer serves one
// call at a time).
std::string quoted(const char *text);
inline std::string quoted(const std::string &text) { return quoted(text.c_str()); }

// The full path of the workspace command, shell-escaped.  When it cannot be
// found the error is shown and "" comes back, or with fallback set the bare
// word "workspace".
std::string ws_command_path(int fallback);
// Runs command through the shell under the busy cursor and collects what it
// prints in output.  Returns its exit status; -1 when it could not start, and
// then output holds "Could not execute ...".
int run_ws_command(const std::string &command, std::string *output);
// The lines of output that begin with prefix, each with its continuation
// lines (those that begin with a blank or a tab).
std::string error_lines(const std::string &output, const char *prefix);
// The left and right footers of the main window, printf style.
void left_footer(const char *fmt, ...) __attribute__((format(printf, 1, 2)));
void right_footer(const char *fmt, ...) __attribute__((format(printf, 1, 2)));
// A directory's containing directory exists (the place where a new workspace
// can be made).
int has_containing_dir(const std::string &path);
int is_workspace_dir(const std::string &path);

// The bringover that fills a new child from its parent: the transaction
// window's Update tab (the child exists by now), set up for the pair with the
// parent's file list.
void gui_bringover_create(const std::string &parent, const std::string &child);

// A click on a workspace's label: the rename dialog with its path.
void rename_by_click(Kes_workspace *ws);
// A drag of child onto new_parent (none: the bare canvas): asks, then runs the
// reparent.  1 when the canvas is to move the node.
int reparent_by_drag(Kes_workspace *child, Kes_workspace *new_parent);

#endif
