// parent_shell_c, "Reparent", and the reparent that follows a drag with Ctrl:
// the workspace command's parent.
#include <memory>
#include <string>

#include "gui/kes_canvas.h"
#include "gui/kes_gui.h"
#include "gui/kes_gui_debug.h"
#include "gui/kes_gui_stubs.h"
#include "gui/shells/form_dialog.h"
#include "gui/shells/ws_ops.h"
#include "util/kes_err.h"
#include "util/kes_quote.h"
#include "workspace/kes_workspace.h"

class Kes_gui_reparent {
public:
  enum { NOTHING = 0, PARENT = 1, UNPARENT = 2, REPARENT = 3 };

  static int determine_op(int has_parent, int has_new_parent) {
    if (has_new_parent) return has_parent ? REPARENT : PARENT;
    return has_parent ? UNPARENT : NOTHING;
  }

  // 1 when the child's parent is now new_parent (none: no parent).
  static int command(Kes_workspace *child, Kes_workspace *new_parent, int ask) {
    const char *c = child->wsname;
    if (ask) {
      char q[4096];
      snprintf(q, sizeof q,
               GUI_MSG("You are reparenting the workspace:%s\nDo you want to do the reparent now ?"),
               c);
      if (!ask_question(GUI_MSG("Lathe Weaving: Question Dialog"), q)) {
        left_footer("%s", GUI_MSG("Reparent cancelled"));
        return 0;
      }
    }
    Kes_workspace *present = nullptr;
    if (Kes_err *err = child->get_parent(&present)) delete err;
    std::unique_ptr<Kes_workspace> owner(present);
    const char *from = present ? present->wsname : "";
    const char *to = new_parent ? new_parent->wsname : "";
    const int op = determine_op(present != nullptr, new_parent != nullptr);
    if (op == NOTHING) return 0;
    if (op == PARENT) left_footer(GUI_MSG("parenting %s to %s..."), c, to);
    if (op == UNPARENT) left_footer(GUI_MSG("unparenting %s from %s..."), c, from);
    if (op == REPARENT) left_footer(GUI_MSG("reparenting %s from %s to %s..."), c, from, to);
    std::string cmd = ws_command_path(0);
    if (cmd.empty()) return 0;
    if (new_parent)
      cmd += " parent -p " + quoted(to) + " " + quoted(c) + " 2>&1";
    else
      cmd += " parent -u " + quoted(c) + " 2>&1";
    std::string out;
    int status = run_ws_command(cmd, &out);
    if (status != 0 || !out.empty()) {
      if (op == REPARENT) left_footer(GUI_MSG("workspace '%s' reparent failed"), c);
      if (op == UNPARENT) left_footer(GUI_MSG("workspace '%s' unparent failed"), c);
      if (op == PARENT) left_footer(GUI_MSG("workspace '%s' parenting failed"), c);
      if (!out.empty()) {
        char head[2048];
        snprintf(head, sizeof head, GUI_MSG("Reparenting %s failed"), c);
        gui_issue_errdialog((std::string(head) + "\n" + out).c_str());
      }
      return 0;
    }
    if (op == PARENT) left_footer(GUI_MSG("%s parented to %s"), c, to);
    if (op == UNPARENT) left_footer(GUI_MSG("%s unparented from %s"), c, from);
    if (op == REPARENT) left_footer(GUI_MSG("%s from %s to %s reparented"), c, from, to);
    return 1;
  }
};

class parent_shell_c : public form_dialog_c {
public:
  parent_shell_c()
      : form_dialog_c("parent_shell", GUI_MSG("Lathe Weaving: Reparent"), "reparent") {
    child = add_field("parent_child", GUI_MSG("Child Workspace Directory:"), 1);
    new_parent = add_field("parent_new", GUI_MSG("New Parent Workspace Directory:"), 1);
    const char *buttons[] = {"Reparent", "Cancel", "Help"};
    add_buttons(buttons, 3);
  }
  Widget child, new_parent;

  void button(int index) override {
    if (index == 1) {
      hide();
      return;
    }
    std::string c = absolute_path(text_of(child)), p = absolute_path(text_of(new_parent));
    const char *why = nullptr;
    if (c.empty())
      why = GUI_MSG("Enter a Child Workspace");
    else if (!is_workspace_dir(c))
      why = GUI_MSG("Child Workspace Directory field requires a valid workspace");
    else if (!p.empty() && !is_workspace_dir(p))
      why = GUI_MSG("New Parent Workspace Directory field requires a valid workspace");
    else if (p == c)
      why = GUI_MSG("Cannot reparent a workspace to itself");
    if (why) {
      set_footer(why);
      return;
    }
    set_footer(nullptr);
    Kes_workspace cw(c.c_str(), nullptr);
    std::unique_ptr<Kes_workspace> pw(p.empty() ? nullptr : new Kes_workspace(p.c_str(), nullptr));
    if (Kes_gui_reparent::command(&cw, pw.get(), 0)) {
      get_gui()->get_canvas()->reparent_workspace(&cw, pw.get());
      hide();
    }
  }
};

void gui_stubs_reparent_workspaces() {
  static parent_shell_c *shell;
  if (!shell) shell = new parent_shell_c;
  form_dialog_c::set_text(shell->child, selected_ws_path().c_str());
  form_dialog_c::set_text(shell->new_parent, "");
  shell->set_footer(nullptr);
  shell->show();
}

int reparent_by_drag(Kes_workspace *child, Kes_workspace *new_parent) {
  if (Kes_gui_reparent::command(child, new_parent, 1)) return 1;
  return 0;
}
