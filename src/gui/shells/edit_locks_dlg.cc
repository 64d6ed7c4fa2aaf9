// Kes_gui_edit_locks_dlg, "Edit Locks": a workspace's command locks, of which
// the user marks some and, after a warning, removes them.
#include <Xm/List.h>
#include <Xm/Xm.h>

#include <sys/stat.h>

#include <cstdint>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "gui/kes_gui.h"
#include "gui/kes_gui_debug.h"
#include "gui/kes_gui_stubs.h"
#include "gui/shells/form_dialog.h"
#include "gui/shells/ws_ops.h"
#include "util/kes_err.h"
#include "workspace/kes_cmdlock.h"
#include "workspace/kes_workspace.h"

class Kes_gui_edit_locks_dlg : public form_dialog_c {
public:
  Kes_gui_edit_locks_dlg()
      : form_dialog_c("edit_locks_dlg", GUI_MSG("Lathe Weaving: Edit Locks"), "locks") {
    ws_field = add_field("locks_ws", GUI_MSG("Workspace:"), 1);
    XtAddCallback(ws_field, XmNactivateCallback, ws_activate, this);
    locks_label = add_label("locks_label", "");
    locks_list = add_list("locks_list", 6);
    XtVaSetValues(locks_label, XtVaTypedArg, XmNfontList, XmRString, "fixed", 6, nullptr);
    XtVaSetValues(locks_list, XtVaTypedArg, XmNfontList, XmRString, "fixed", 6, nullptr);
    char caption[256];
    snprintf(caption, sizeof caption, "%-8s  %-15s  %-15s  %-15s  %-15s  %-30s",
             GUI_MSG("Type"), GUI_MSG("Operation"), GUI_MSG("Process ID"), GUI_MSG("User"),
             GUI_MSG("Host"), GUI_MSG("Time"));
    set_label(locks_label, caption);
    Widget row = add_row("locks_row", "");
    add_action(row, "delete", GUI_MSG("Delete"), 0);
    add_action(row, "undo", GUI_MSG("Undo"), 1);
    const char *buttons[] = {"OK", "Apply", "Reset", "Cancel", "Help"};
    add_buttons(buttons, 5);
  }

  Widget ws_field, locks_label, locks_list;
  std::unique_ptr<Kes_workspace> ws;
  std::unique_ptr<Kes_cmdlocklist> locks;
  std::vector<Kes_cmdlock *> all;
  std::vector<int> marked;  // per lock of all

  void count_footer(const char *one, const char *more, int n) {
    char text[256];
    snprintf(text, sizeof text, n == 1 ? one : more, n);
    set_footer(text);
  }

  void deleted_footer() {
    int d = 0;
    for (int m : marked) d += m;
    char text[256];
    snprintf(text, sizeof text, GUI_MSG("%d of %d locks deleted."), d,
             static_cast<int>(all.size()));
    set_footer(text);
  }

  // The list shows the locks not marked.
  void fill() {
    XmListDeleteAllItems(locks_list);
    for (size_t i = 0; i < all.size(); i++) {
      if (marked[i]) continue;
      Kes_cmdlock *l = all[i];
      char when[64] = "";
      time_t t = l->time;
      strftime(when, sizeof when, "%a %b %e %H:%M:%S %Y", localtime(&t));
      char line[512];
      snprintf(line, sizeof line, "%-8s  %-15s  %-15d  %-15s  %-15s  %-26s", l->i18n_type_str(),
               l->command, l->pid, l->user, l->machine, when);
      XmString s = XmStringCreateLocalized(line);
      XmListAddItemUnselected(locks_list, s, 0);
      XmStringFree(s);
      gui_debug("lock %s", line);
    }
  }

  void read() {
    all.clear();
    marked.clear();
    locks.reset();
    XmListDeleteAllItems(locks_list);
    if (!ws) {
      set_footer(GUI_MSG("Specify a workspace to edit locks."));
      return;
    }
    Kes_cmdlocklist *list = nullptr;
    if (Kes_err *err = ws->get_locks(&list)) {
      gui_issue_errdialog(err->text);
      delete err;
    }
    locks.reset(list);
    if (list)
      for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next)
        all.push_back(static_cast<Kes_cmdlock *>(e->data));
    marked.assign(all.size(), 0);
    fill();
    if (all.empty())
      set_footer(GUI_MSG("Specified workspace does not have locks."));
    else
      count_footer(GUI_MSG("1 lock selected."), GUI_MSG("%d locks selected."),
                   static_cast<int>(all.size()));
  }

  void open(const std::string &path) {
    ws.reset();
    set_text(ws_field, path.c_str());
    if (!path.empty()) {
      char text[1200];
      struct stat st;
      if (stat(path.c_str(), &st) != 0) {
        snprintf(text, sizeof text, GUI_MSG("Workspace \"%s\" does not exists."), path.c_str());
        set_footer(text);
      } else if (!is_workspace_dir(path)) {
        snprintf(text, sizeof text, GUI_MSG("\"%s\" is not a workspace."), path.c_str());
        set_footer(text);
      } else {
        ws.reset(new Kes_workspace(path.c_str(), nullptr));
      }
    }
    if (ws || path.empty()) read();
  }

  // Removes the marked locks after the warning; 1 when the dialog may close.
  int remove_marked() {
    int total = 0;
    for (int m : marked) total += m;
    if (!total || !ws) return 1;
    if (!ask_question(GUI_MSG("Warning"),
                      GUI_MSG("Removing a command's lock while the command is running may\n"
                              "corrupt SCCS files in either the parent or the child workspace.\n"
                              "Do you still want to remove locks ?")))
      return 0;
    gui_set_busy(1);
    int removed = 0;
    for (size_t i = 0; i < all.size(); i++) {
      if (!marked[i]) continue;
      if (Kes_err *err = ws->release_lock(all[i])) {
        gui_issue_errdialog(err->text);
        delete err;
      } else {
        removed++;
      }
    }
    gui_set_busy(0);
    read();
    char text[256];
    snprintf(text, sizeof text, GUI_MSG("%d of %d locks removed."), removed, total);
    set_footer(text);
    return 1;
  }

  void button(int index) override {
    switch (index) {
      case 0:
        if (remove_marked()) hide();
        break;
      case 1: remove_marked(); break;
      case 2: read(); break;
      case 3:
        ws.reset();
        read();
        hide();
        break;
    }
  }

  // Delete marks the selected lines, Undo brings every marked one back.
  void action(int n) override {
    if (n == 1) {
      marked.assign(all.size(), 0);
    } else {
      int *pos = nullptr, count = 0;
      XmListGetSelectedPos(locks_list, &pos, &count);
      // Positions count the lines shown, those not marked before this press.
      for (int k = 0; k < count; k++) {
        int seen = 0;
        for (size_t i = 0; i < all.size(); i++)
          if (marked[i] != 1 && ++seen == pos[k]) {
            marked[i] = 2;
            break;
          }
      }
      for (int &m : marked) m = m ? 1 : 0;
      XtFree(reinterpret_cast<char *>(pos));
    }
    fill();
    deleted_footer();
  }
  static void ws_activate(Widget, XtPointer client, XtPointer) {
    auto *self = static_cast<Kes_gui_edit_locks_dlg *>(client);
    self->open(absolute_path(text_of(self->ws_field)));
  }
};

void gui_stubs_edit_locks() {
  static Kes_gui_edit_locks_dlg *dlg;
  if (!dlg) dlg = new Kes_gui_edit_locks_dlg;
  dlg->show();
  dlg->open(selected_ws_path());
}
