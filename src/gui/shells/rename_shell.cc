// rename_shell_c, "Rename": the workspace command's move, typed in the dialog
// or begun by a click on a workspace's label.
#include <cstring>
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

class Kes_gui_rename {
public:
  // Moves old_name to new_name; 1 on success, with the canvas following.
  static int command(const std::string &old_name, const std::string &new_name) {
    left_footer(GUI_MSG("renaming %s to %s..."), old_name.c_str(), new_name.c_str());
    std::string cmd = "/usr/bin/nice -0 " + ws_command_path(1) + " move " +
                      quoted(old_name.c_str()) + " ";
    cmd += quoted(new_name.c_str()) + " 2>&1";
    std::string out;
    int status = run_ws_command(cmd, &out);
    if (!out.empty() || status != 0) {
      if (out.empty()) {
        char text[8192];
        snprintf(text, sizeof text, GUI_MSG("Command \"%s\"\nexited with status %d"), cmd.c_str(),
                 status);
        out = text;
      }
      gui_issue_errdialog(out.c_str());
      left_footer(GUI_MSG("renaming %s failed"), old_name.c_str());
      return 0;
    }
    Kes_workspace old_ws(old_name.c_str(), nullptr);
    Kes_workspace new_ws(new_name.c_str(), nullptr);
    get_gui()->get_canvas()->rename_workspace(&old_ws, &new_ws);
    left_footer(GUI_MSG("%s renamed to %s"), old_name.c_str(), new_name.c_str());
    return 1;
  }
};

class rename_shell_c : public form_dialog_c {
public:
  rename_shell_c() : form_dialog_c("rename_shell", GUI_MSG("Lathe Weaving: Rename"), "rename") {
    old_field = add_field("rename_old", GUI_MSG("Old Workspace Name:"), 1);
    new_field = add_field("rename_new", GUI_MSG("New Workspace Name:"));
    const char *buttons[] = {"Rename", "Cancel", "Help"};
    add_buttons(buttons, 3);
  }
  Widget old_field, new_field;
  int by_click = 0;

  void button(int index) override {
    if (index == 1) {
      hide();
      return;
    }
    std::string old_name = absolute_path(text_of(old_field));
    std::string typed = text_of(new_field);
    while (!typed.empty() && typed.back() == ' ') typed.pop_back();
    while (!typed.empty() && typed[0] == ' ') typed.erase(0, 1);
    const char *why = nullptr;
    if (old_name.empty())
      why = by_click ? GUI_MSG("Must specify an existing workspace name that you want to rename "
                               "to a new name.")
                     : GUI_MSG("Enter a workspace to be renamed.");
    else if (!is_workspace_dir(old_name))
      why = GUI_MSG("Old Workspace Name field requires a valid workspace");
    else if (typed.empty())
      why = GUI_MSG("Enter a directory that will be the new workspace name.");
    else if (typed.find(' ') != std::string::npos)
      why = GUI_MSG("Spaces are not allowed in workspace name.");
    else if (by_click && typed.find('/') != std::string::npos &&
             get_gui()->get_canvas()->get_current_name_style() == KES_NAMES_SHORT)
      why = GUI_MSG("Workspace renames across directories are not permitted when short names "
                    "are displayed");
    std::string new_name;
    if (!why) {
      // A name from a click that is not absolute goes beside the old one.
      if (by_click && typed[0] != '/')
        new_name = old_name.substr(0, old_name.find_last_of('/') + 1) + typed;
      else
        new_name = absolute_path(typed);
      set_text(new_field, new_name.c_str());
      if (!has_containing_dir(new_name))
        why = GUI_MSG("New Workspace Name field requires a valid containing directory");
    }
    if (why) {
      set_footer(why);
      left_footer("%s", why);
      return;
    }
    set_footer(nullptr);
    if (Kes_gui_rename::command(old_name, new_name)) {
      set_text(old_field, new_name.c_str());
      set_text(new_field, "");
      hide();
    }
  }
};

namespace {

rename_shell_c *rename_dialog(int by_click) {
  static rename_shell_c *shell;
  if (!shell) shell = new rename_shell_c;
  shell->by_click = by_click;
  shell->set_footer(nullptr);
  form_dialog_c::set_text(shell->new_field, "");
  return shell;
}

}  // namespace

void gui_stubs_rename_workspaces() {
  rename_shell_c *shell = rename_dialog(0);
  form_dialog_c::set_text(shell->old_field, selected_ws_path().c_str());
  shell->show();
}

void rename_by_click(Kes_workspace *ws) {
  rename_shell_c *shell = rename_dialog(1);
  form_dialog_c::set_text(shell->old_field, ws->wsname);
  shell->show();
}
