// update_ws_shell_c, "Update Nametable Confirmation", and ws_sel_uniq_shell_c,
// "Uniquification": name tables rebuilt in the tool's own process, with the
// user choosing which file a vanished original became.
#include <Xm/List.h>
#include <Xm/Xm.h>

#include <cstdarg>
#include <cstdio>
#include <memory>
#include <string>

#include "gui/kes_canvas.h"
#include "gui/kes_gui.h"
#include "gui/kes_gui_debug.h"
#include "gui/kes_gui_stubs.h"
#include "gui/shells/form_dialog.h"
#include "gui/shells/ws_ops.h"
#include "transaction/kes_ws_updatenames.h"
#include "util/kes_err.h"
#include "util/kes_list.h"
#include "workspace/kes_workspace.h"

class ws_sel_uniq_shell_c : public form_dialog_c {
public:
  ws_sel_uniq_shell_c()
      : form_dialog_c("ws_sel_uniq_shell", GUI_MSG("Lathe Weaving: Uniquification"),
                      "updatenames") {
    XtVaSetValues(form, XmNdialogStyle, XmDIALOG_FULL_APPLICATION_MODAL, nullptr);
    text = add_label("uniq_text", "");
    list = add_list("uniq_list", 6, 1);
    const char *buttons[] = {"OK", "Cancel", "Help"};
    add_buttons(buttons, 3);
  }
  Widget text, list;
  int answer = -1;

  void button(int index) override { answer = index; }

  // n above 0: the n-th name; 0: none of them; *quit for Cancel.
  int ask(Kes_dupinfo *dup, int *quit) {
    char t[4096];
    snprintf(t, sizeof t,
             GUI_MSG("The following history file no longer exists in the workspace:\n    %s\n"
                     "Either the file has been renamed or it has been removed"),
             dup->original ? dup->original : "");
    set_label(text, t);
    XmListDeleteAllItems(list);
    int n = 0;
    for (Kes_listelem *e = dup->names->head.next; e != &dup->names->head; e = e->next, n++) {
      XmString s = XmStringCreateLocalized(static_cast<char *>(e->data));
      XmListAddItemUnselected(list, s, 0);
      XmStringFree(s);
    }
    XmString none = XmStringCreateLocalized(
        const_cast<char *>(GUI_MSG("<File does not exist in this workspace>")));
    XmListAddItemUnselected(list, none, 0);
    XmStringFree(none);
    XmListSelectPos(list, 1, False);
    answer = -1;
    show();
    while (answer < 0) XtAppProcessEvent(get_app_context(), XtIMAll);
    int *pos = nullptr, count = 0;
    int chosen = 0;
    if (XmListGetSelectedPos(list, &pos, &count) && count > 0) chosen = pos[0] <= n ? pos[0] : 0;
    XtFree(reinterpret_cast<char *>(pos));
    hide();
    *quit = answer != 0;
    const char *name = "-";
    int i = 0;
    for (Kes_listelem *e = dup->names->head.next; e != &dup->names->head; e = e->next)
      if (++i == chosen) name = static_cast<char *>(e->data);
    gui_debug("uniquify %s: %d %s%s", dup->original ? dup->original : "", chosen, name,
              *quit ? " quit" : "");
    return *quit ? 0 : chosen;
  }
};

class Kes_gui_updatenames : public Kes_ws_updatenames {
public:
  explicit Kes_gui_updatenames(Kes_workspace *ws, int histories)
      : Kes_ws_updatenames(ws, histories) {}
  void print_string(const char *format, ...) override {
    char text[2048];
    va_list ap;
    va_start(ap, format);
    vsnprintf(text, sizeof text, format, ap);
    va_end(ap);
    gui_debug("updatenames %s", text);
  }
  int choice(Kes_dupinfo *dup, int *quit) override {
    static ws_sel_uniq_shell_c *shell;
    if (!shell) shell = new ws_sel_uniq_shell_c;
    return shell->ask(dup, quit);
  }
};

class update_ws_shell_c : public form_dialog_c {
public:
  update_ws_shell_c()
      : form_dialog_c("update_ws_shell", GUI_MSG("Lathe Weaving: Update Nametable Confirmation"),
                      "updatenames") {
    add_label("update_caption", GUI_MSG("Update the name tables of these workspaces:"));
    names = add_label("update_names", "");
    const char *choices[] = {GUI_MSG("Update Nametable and Files' Name Histories"),
                             GUI_MSG("Update Nametable Only")};
    add_radio("update_what", "", choices, 2, what);
    const char *buttons[] = {"Update", "Cancel", "Help"};
    add_buttons(buttons, 3);
  }
  Widget names, what[2];
  std::unique_ptr<Kes_wslist> list;

  void button(int index) override {
    hide();
    if (index != 0) return;
    const int histories = radio_index(what, 2) == 0;
    int updated = 0;
    const char *last = "";
    for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next) {
      auto *ws = static_cast<Kes_workspace *>(e->data);
      left_footer(GUI_MSG("updatind names in '%s' ..."), ws->wsname);
      Kes_gui_updatenames run(ws, histories);
      gui_set_busy(1);
      Kes_err *err = run.lock_and_update();
      gui_set_busy(0);
      if (run.quitted) {
        delete err;
        left_footer("%s", GUI_MSG("workspace updatenames canceled"));
        return;
      }
      if (err) {
        gui_issue_errdialog(err->text);
        delete err;
        left_footer(GUI_MSG("workspace updatenames '%s' failed"), ws->wsname);
        return;
      }
      updated++;
      last = ws->wsname;
    }
    if (updated == 1)
      left_footer(GUI_MSG("%s's nametable updated"), last);
    else
      left_footer(GUI_MSG("%d workspaces' nametables updated"), updated);
  }
};

void gui_stubs_updatenames() {
  static update_ws_shell_c *shell;
  std::unique_ptr<Kes_wslist> sel(get_gui()->get_canvas()->get_selected_workspaces());
  if (sel->count == 0) {
    left_footer("%s", GUI_MSG("No workspaces selected to update nametable"));
    return;
  }
  if (!shell) shell = new update_ws_shell_c;
  std::string text;
  for (Kes_listelem *e = sel->head.next; e != &sel->head; e = e->next)
    text += std::string(static_cast<Kes_workspace *>(e->data)->wsname) + "\n";
  text.pop_back();
  form_dialog_c::set_label(shell->names, text.c_str());
  shell->list = std::move(sel);
  shell->show();
}
