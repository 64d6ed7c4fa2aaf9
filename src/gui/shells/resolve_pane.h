// Kes_gui_resolve, the resolve pane of the transaction window's Resolve tab,
// and the rt_ functions that keep the state of its session: the files in
// conflict of one workspace, both sides' histories of the file in hand, and
// the buttons that merge it with twinpane, accept the child's version or
// accept the parent's.
//
// Every decision goes through resolve_decide inside a Kes_resolve_log, the
// path the resolve command takes: a "resolve" record in the history log, the
// conflicts file's entry and the history file's conflict record.
//
// twinpane is driven over Hailway when the tool is on it ("twinpane -T <id>",
// then Load, Loaded, Saved, Quitted); without it, "twinpane -x ..." is started
// per file and its exit status is the decision.  The user's ~/.brindle_resrc
// says whether the tool starts at once, whether the pane goes on to the next
// file, whether it asks for check-in comments, whether the tool's window is
// reused and whether the tool saves by itself.
#ifndef BRINDLE_GUI_SHELLS_RESOLVE_PANE_H
#define BRINDLE_GUI_SHELLS_RESOLVE_PANE_H

#include <X11/Intrinsic.h>

#include "hailway/hailway.h"

class Kes_err;
class Kes_workspace;
class trans_shell_c;

class Kes_gui_resolve {
public:
  Widget get_panel();
  int get_options() { return 1; }  // nothing to read
  // Takes the selected file through: its versions out, and to the merge tool
  // unless it is checked out or binary.  1 on an error.
  int process();
  void enable_panel();
  void disable_panel();
};

// Builds the pane's parts in the Resolve tab's form below above, and sets the
// window's resolve_list and resolve_close_btn.
void resolve_pane_create(trans_shell_c *t, Widget form, Widget above);

void rt_main_init();
void rt_set_ws(Kes_workspace *ws);  // takes ws
// Fills the list with the workspace's conflicts and takes up the first.
int rt_display_ws_info();
// The temporary files go, and the tool this pane started is told to quit.
void rt_quit();
void rt_issue_error(Kes_err *err);  // takes err
void rt_invoke_twinpane();
void rt_send_load_msg(int reuse);
void rt_commit_file(Hw_message message);
int rt_binary();
int rt_checkedout();
void rt_busy_cursor();
void rt_normal_cursor();
void rt_footer(const char *text, int flag);
void rt_update_conflict_list();
// The tool's messages, from the tool's input handler; takes message.
void receive_hw_message(Hw_message message);
void load_msg_callback(Hw_message message);

// The Resolve tab for the workspace at path.
void resolve_pane_load(const char *path);

#endif
