// The menu actions and the canvas's callbacks: unload, load parent, refresh,
// double click, and the reparent and rename hooks.
#include "gui/kes_gui_stubs.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "gui/kes_canvas.h"
#include "gui/kes_gui.h"
#include "gui/kes_gui_debug.h"
#include "gui/kes_gui_props.h"
#include "gui/shells/main_shell.h"
#include "gui/shells/ws_ops.h"
#include "util/kes_err.h"
#include "util/kes_process.h"
#include "util/kes_quote.h"
#include "workspace/kes_workspace.h"

namespace {

void footer(const char *text) {
  if (Kes_gui *gui = get_gui()) gui->print_footer(KES_GUI_LEFT_FOOTER, text);
}

Kes_canvas *canvas() { return get_gui() ? get_gui()->get_canvas() : nullptr; }

// A count in one of two texts, for one and for more.
void footer_count(int n, const char *one, const char *more) {
  char text[256];
  if (n == 1)
    snprintf(text, sizeof text, "%s", one);
  else
    snprintf(text, sizeof text, more, n);
  footer(text);
}

// ---- the canvas's callbacks

XtIntervalId clear_timer;

void clear_left_footer(XtPointer, XtIntervalId *) {
  clear_timer = 0;
  if (Kes_gui *gui = get_gui()) gui->clear_footer(KES_GUI_LEFT_FOOTER);
}

// Runs command in the workspace's root, in the background.
void start_in(Kes_workspace *ws, const char *command) {
  char text[1200];
  snprintf(text, sizeof text, GUI_MSG("Starting %s..."), command);
  gui_set_busy(1);
  footer(text);
  std::string line = std::string("cd ") + kes_shell_word(ws->wsname) + "; " + command + "&";
  gui_debug("command %s", line.c_str());
  if (system(line.c_str()) == -1) perror("brindletool");
  gui_set_busy(0);
}

void dbl_click_notify(Kes_wslist *list) {
  Kes_gui *gui = get_gui();
  Kes_gui_props *props = gui->get_props();
  gui->clear_footer(KES_GUI_LEFT_FOOTER);
  gui->clear_footer(KES_GUI_RIGHT_FOOTER);
  for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next) {
    auto *ws = static_cast<Kes_workspace *>(e->data);
    gui_debug("hook double-click %s", ws->wsname);
    if (is_workspace_in_conflict(ws)) {
      if (strcmp(props->conflict_double_click, "<resolve pane>") == 0)
        gui_stubs_commands_menu_resolve();
      else
        start_in(ws, props->conflict_double_click);
      continue;
    }
    const char *action = props->normal_double_click;
    if (strcmp(action, "<versioning>") == 0) {
      char path[1024];
      if (Kes_err *err = kes_find_executable("fathomversion", path)) {
        gui_issue_errdialog(err->text);
        delete err;
        continue;
      }
      footer(GUI_MSG("Starting fathomversion..."));
      std::string line = std::string("cd ") + kes_shell_word(ws->wsname) + "; " + kes_shell_word(path) + "&";
      gui_debug("command %s", line.c_str());
      if (system(line.c_str()) == -1) perror("brindletool");
    } else if (strcmp(action, "<history viewer>") == 0) {
      gui_stubs_history_browser();
    } else {
      start_in(ws, action);
    }
  }
  // The starting message goes after a while rather than stay for ever.
  if (clear_timer) XtRemoveTimeOut(clear_timer);
  clear_timer = XtAppAddTimeOut(get_app_context(), 10000, clear_left_footer, nullptr);
}

int rename_init_notify(Kes_workspace *ws) {
  char text[1200];
  snprintf(text, sizeof text, GUI_MSG("renaming workspace '%s'...  Type in a new name."),
           ws->wsname);
  footer(text);
  gui_debug("hook rename-init %s", ws->wsname);
  return 1;
}

void rename_notify(Kes_workspace *ws) {
  gui_debug("hook rename %s", ws->wsname);
  rename_by_click(ws);
}

void abort_notify(const char *text) {
  gui_debug("hook abort %s", text);
  footer(text);
}

void props_key_notify() {
  gui_debug("hook props-key");
  std::unique_ptr<Kes_wslist> selected(canvas()->get_selected_workspaces());
  if (selected->count > 0)
    gui_stubs_ws_props();
  else
    gui_stubs_bw_props();
}

// The question, then the workspace command; the canvas moves the node on 1.
int reparent_notify(Kes_workspace *child, Kes_workspace *new_parent) {
  gui_debug("hook reparent %s %s", child->wsname, new_parent ? new_parent->wsname : "-");
  return reparent_by_drag(child, new_parent);
}

}  // namespace

void set_canvas_callbacks(Kes_canvas *c) {
  c->set_dbl_click_callback(dbl_click_notify);
  c->set_rename_init_callback(rename_init_notify);
  c->set_rename_callback(rename_notify);
  c->set_rename_abort_callback(abort_notify);
  c->set_delete_key_callback(gui_stubs_delete_workspaces);
  c->set_props_key_callback(props_key_notify);
  c->set_reparent_callback(reparent_notify);
  c->set_reparent_abort_callback(abort_notify);
}

// ---- actions without dialogs of their own

void gui_stubs_unload_workspaces() {
  std::unique_ptr<Kes_wslist> selected(canvas()->get_selected_workspaces());
  if (selected->count == 0) {
    footer(GUI_MSG("No workspaces selected to unload"));
    return;
  }
  canvas()->unload_workspaces(selected.get());
  footer_count(selected->count, GUI_MSG("1 workspace unloaded"), GUI_MSG("%d workspaces unloaded"));
}

void gui_stubs_load_parent_workspace() {
  std::unique_ptr<Kes_wslist> selected(canvas()->get_selected_workspaces());
  if (selected->count == 0) {
    footer(GUI_MSG("No workspaces selected to load parent"));
    return;
  }
  Kes_wslist parents;
  Kes_workspace *last = nullptr, *last_parent = nullptr;
  for (Kes_listelem *e = selected->head.next; e != &selected->head; e = e->next) {
    last = static_cast<Kes_workspace *>(e->data);
    Kes_workspace *parent = nullptr;
    if (Kes_err *err = last->get_parent(&parent)) {
      gui_issue_errdialog(err->text);
      delete err;
    }
    if (parent && parent->exists()) {
      parents.add_new_data(parent);
      last_parent = parent;
    } else {
      delete parent;
    }
  }
  canvas()->load_workspaces(&parents);
  char text[2200];
  if (selected->count > 1)
    snprintf(text, sizeof text, GUI_MSG("%d parent workspaces loaded"), parents.count);
  else if (last_parent)
    snprintf(text, sizeof text, GUI_MSG("%s's parent %s loaded"), last->wsname,
             last_parent->wsname);
  else
    snprintf(text, sizeof text, GUI_MSG("%s does not have a parent"), last->wsname);
  footer(text);
}

void main_refresh_btn_callback() {
  Kes_canvas *c = canvas();
  gui_set_busy(1);
  c->set_delay_repaint(1);
  Kes_wslist gone;
  Kes_graph_node_list *nodes = c->get_all_nodes();
  for (Kes_listelem *e = nodes->head.next; e != &nodes->head; e = e->next) {
    auto *node = static_cast<Kes_graph_node *>(e->data);
    Kes_workspace *ws = node->get_workspace();
    if (!ws->exists()) {
      gone.add_new_copy(ws);
      continue;
    }
    node->update_state();
    Kes_workspace *parent = nullptr;
    if (Kes_err *err = ws->get_parent(&parent)) {
      gui_issue_errdialog(err->text);
      delete err;
    }
    c->reparent_workspace(ws, parent);
    delete parent;
  }
  if (gone.count > 0) {
    c->unload_workspaces(&gone);
    footer_count(gone.count, GUI_MSG("1 nonexistent workspace unloaded."),
                 GUI_MSG("%d nonexistent workspaces unloaded."));
  }
  c->set_delay_repaint(0);
  gui_set_busy(0);
}

void gui_stubs_commands_menu_resolve() {
  std::unique_ptr<Kes_wslist> selected(canvas()->get_selected_workspaces());
  if (selected->count > 1)
    footer(GUI_MSG("Select no more than 1 workspace for a Resolve"));
  else
    init_trans_shell(get_main_shell(), KES_GUI_RESOLVE);
}

// ---- the Actions menu: the transaction window on its tabs

void gui_stubs_trans_create() { init_trans_shell(get_main_shell(), KES_GUI_BRINGOVER_CREATE); }
void gui_stubs_trans_update() { init_trans_shell(get_main_shell(), KES_GUI_BRINGOVER_UPDATE); }
void gui_stubs_trans_putback() { init_trans_shell(get_main_shell(), KES_GUI_PUTBACK); }
void gui_stubs_trans_resolve() { init_trans_shell(get_main_shell(), KES_GUI_RESOLVE); }
void gui_stubs_trans_undo() { init_trans_shell(get_main_shell(), KES_GUI_UNDO); }
