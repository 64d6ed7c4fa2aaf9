// delete_ws_shell_c, "Delete Confirmation": the selected workspaces deleted
// one after the other by the workspace command, and unloaded.
#include <memory>
#include <string>

#include "gui/kes_canvas.h"
#include "gui/kes_gui.h"
#include "gui/kes_gui_debug.h"
#include "gui/kes_gui_stubs.h"
#include "gui/shells/form_dialog.h"
#include "gui/shells/ws_ops.h"
#include "util/kes_quote.h"
#include "workspace/kes_workspace.h"

class Kes_gui_delete {
public:
  int force = 1;          // the dialog has already asked
  int metadata_only = 0;  // Brindle_wsdata alone

  // 1 when the workspace went; its complaints go to message.
  int run_cmd(Kes_workspace *ws, std::string *message) {
    std::string cmd = ws_command_path(0);
    if (cmd.empty()) return 0;
    std::string out;
    int status = run_ws_command("/usr/bin/nice -0 " + cmd + " delete " + (force ? "-f " : "") +
                                    (metadata_only ? "-d " : "") + quoted(ws->wsname) +
                                    " 2>&1",
                                &out);
    *message += error_lines(out, "workspace:");
    if (status != 0 && error_lines(out, "workspace:").empty()) *message += out;
    return status == 0;
  }
};

class delete_ws_shell_c : public form_dialog_c {
public:
  delete_ws_shell_c()
      : form_dialog_c("delete_ws_shell", GUI_MSG("Lathe Weaving: Delete Confirmation"),
                      "delete") {
    add_label("delete_caption", GUI_MSG("Delete the following workspaces:"));
    names = add_label("delete_names", "");
    const char *choices[] = {GUI_MSG("Delete Sources and Brindle_wsdata Directory"),
                             GUI_MSG("Delete Brindle_wsdata Directory Only")};
    add_radio("delete_what", "", choices, 2, what);
    const char *buttons[] = {"Delete", "Cancel", "Help"};
    add_buttons(buttons, 3);
  }
  Widget names;
  Widget what[2];
  std::unique_ptr<Kes_wslist> list;

  void button(int index) override {
    hide();
    if (index != 0) return;
    Kes_gui_delete deleter;
    deleter.metadata_only = radio_index(what, 2) == 1;
    const int total = list->count;
    int done = 0;
    std::string message;
    Kes_canvas *canvas = get_gui()->get_canvas();
    for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next) {
      auto *ws = static_cast<Kes_workspace *>(e->data);
      if (deleter.run_cmd(ws, &message)) {
        done++;
        left_footer(GUI_MSG("workspace '%s' deleted"), ws->wsname);
        Kes_wslist one;
        one.add_new_copy(ws);
        canvas->unload_workspaces(&one);
        if (total > 1) right_footer(GUI_MSG("%d of %d deleted"), done, total);
      } else {
        left_footer(GUI_MSG("workspace '%s' delete failed"), ws->wsname);
      }
    }
    if (!message.empty()) gui_issue_errdialog(message.c_str());
    if (total > 1) {
      left_footer(GUI_MSG("%d of %d workspaces deleted"), done, total);
      get_gui()->clear_footer(KES_GUI_RIGHT_FOOTER);
    }
  }
};

void gui_stubs_delete_workspaces() {
  static delete_ws_shell_c *shell;
  std::unique_ptr<Kes_wslist> sel(get_gui()->get_canvas()->get_selected_workspaces());
  if (sel->count == 0) {
    left_footer("%s", GUI_MSG("No workspaces selected to delete"));
    gui_issue_errdialog(GUI_MSG("No workspaces selected to delete"));
    return;
  }
  if (!shell) shell = new delete_ws_shell_c;
  std::string text;
  for (Kes_listelem *e = sel->head.next; e != &sel->head; e = e->next)
    text += std::string(static_cast<Kes_workspace *>(e->data)->wsname) + "\n";
  if (!text.empty()) text.pop_back();
  form_dialog_c::set_label(shell->names, text.c_str());
  shell->list = std::move(sel);
  shell->show();
}
