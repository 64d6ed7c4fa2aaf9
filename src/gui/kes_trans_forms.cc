// The transaction window: made on first use, its tabs and the fields that
// the selected workspaces give them, the field checks and footers, the action
// buttons, and the output window.
#include "gui/kes_trans_forms.h"
#include "gui/shells/form_dialog.h"

#include <Xm/List.h>
#include <Xm/Protocols.h>
#include <Xm/Text.h>
#include <Xm/ToggleB.h>
#include <Xm/Xm.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "gui/kes_canvas.h"
#include "gui/kes_gui_debug.h"
#include "gui/kes_gui_props.h"
#include "gui/kes_gui_stubs.h"
#include "gui/kes_gui_trans.h"
#include "gui/kes_ws_choosers.h"
#include "gui/shells/action_select_dlg.h"
#include "gui/shells/main_shell.h"
#include "gui/shells/resolve_pane.h"
#include "gui/shells/trans_shell.h"
#include "toolkit/modal_dialog.h"
#include "util/kes_err.h"
#include "util/kes_list.h"
#include "util/kes_path.h"
#include "workspace/kes_workspace.h"

namespace {

trans_shell_c *the_trans_shell;
output_shell_c *the_output_shell;
Kes_gui_util_trans_enum category = KES_GUI_BRINGOVER_CREATE;
Kes_trans_data form_data[4];  // bringover (both tabs), putback, resolve, undo
Kes_gui_trans *failed_panel;  // the object of a press that failed a check

const char *const kIconNames[5] = {"Create", "Update", "Putback", "Resolve", "Undo"};

int form_index(int kind) { return kind <= 1 ? 0 : kind - 1; }

void main_footer(const char *text) {
  if (get_gui()) get_gui()->print_footer(KES_GUI_LEFT_FOOTER, text);
}

int is_dir(const char *path) {
  struct stat st;
  return path && *path && stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

int is_workspace(const char *path) {
  return is_dir(path) && is_dir((std::string(path) + "/" KES_METADATA_DIR).c_str());
}

std::string parent_dir(const char *path) {
  char dir[1024];
  kes_parse_filename(path, dir, nullptr);
  return dir;
}

// The recorded parent's name, or "" with none; an error goes to the dialog.
std::string recorded_parent(const char *path) {
  Kes_err *err = nullptr;
  Kes_workspace ws(path, &err);
  Kes_workspace *parent = nullptr;
  if (!err) err = ws.get_parent(&parent);
  if (err) {
    gui_issue_errdialog(err->text);
    delete err;
  }
  std::string out = parent ? parent->wsname : "";
  delete parent;
  return out;
}

trans_files_form *files_form(int kind) {
  if (!the_trans_shell || kind > KES_GUI_PUTBACK) return nullptr;
  return kind == KES_GUI_PUTBACK ? &the_trans_shell->pb : &the_trans_shell->boc;
}

// ---- callbacks

void tab_callback(Widget, XtPointer client, XtPointer call) {
  auto *cbs = static_cast<XmToggleButtonCallbackStruct *>(call);
  if (!cbs || !cbs->set) return;
  auto kind = static_cast<Kes_gui_util_trans_enum>(reinterpret_cast<intptr_t>(client));
  if (kind != category) init_trans_form(kind);
}

void parent_field_callback(Widget w, XtPointer, XtPointer) {
  char *path = fully_qualify_textfield(w);
  std::unique_ptr<char, decltype(&free)> owner(path, free);
  if (!is_dir(path)) {
    trans_footer(GUI_MSG("Enter a valid Parent Workspace Directory"));
    return;
  }
  // The chooser follows the source field of a bringover.
  WSSfileChooser *chooser = get_gui()->get_add_files_chooser();
  if (category <= KES_GUI_BRINGOVER_UPDATE && chooser && chooser->isUp() &&
      chooser->getWsDirectory() != path)
    chooser->setWsDirectory(path);
  trans_field_footers();
  XmProcessTraversal(w, XmTRAVERSE_NEXT_TAB_GROUP);
}

void child_field_callback(Widget w, XtPointer, XtPointer) {
  char *path = fully_qualify_textfield(w);
  std::unique_ptr<char, decltype(&free)> owner(path, free);
  if (category == KES_GUI_BRINGOVER_CREATE) {
    if (!*path || !is_dir(parent_dir(path).c_str())) {
      trans_footer(GUI_MSG("Enter a valid containing directory for Child Workspace Directory"));
      return;
    }
  } else if (!is_dir(path)) {
    trans_footer(GUI_MSG("Enter a valid Child Workspace Directory"));
    return;
  }
  trans_files_form *f = files_form(category);
  if (is_workspace(path)) {
    if (args_lists_empty()) {
      Kes_err *err = nullptr;
      Kes_workspace ws(path, &err);
      delete err;
      set_argument_lists(&ws);
    }
    char *parent = get_field(f->parent_text);
    if (!*parent) set_field(f->parent_text, recorded_parent(path).c_str());
    free(parent);
  }
  trans_field_footers();
  XmProcessTraversal(w, XmTRAVERSE_NEXT_TAB_GROUP);
}

void dots_callback(Widget, XtPointer client, XtPointer) {
  Widget field = static_cast<Widget>(client);
  // A new child is a name in a directory; everything else is a workspace,
  // except a bringover's parent, which may be a plain source tree.
  trans_files_form *f = files_form(category);
  int workspaces = 1;
  if (f && field == f->child_text && category == KES_GUI_BRINGOVER_CREATE) workspaces = 0;
  if (f && field == f->parent_text && category != KES_GUI_PUTBACK) workspaces = 0;
  show_dot_dot_chooser(field, workspaces);
}

void mode_callback(Widget, XtPointer client, XtPointer call) {
  auto *cbs = static_cast<XmToggleButtonCallbackStruct *>(call);
  if (!cbs->set) return;
  switch (reinterpret_cast<intptr_t>(client)) {
    case 0: switch_to_file_list(); break;
    case 1: switch_to_flp_list(); break;
    default: switch_to_entire_ws(); break;
  }
}

void add_callback(Widget, XtPointer, XtPointer) { trans_add_button(); }

// The args file belongs to the destination: the child of a bringover, the
// parent of a putback.
void args_callback(Widget, XtPointer client, XtPointer) {
  char *dest = get_destination_ws_dir();
  std::unique_ptr<char, decltype(&free)> owner(dest, free);
  if (!is_workspace(dest)) {
    trans_footer(category == KES_GUI_PUTBACK
                     ? GUI_MSG("Enter a valid Parent Workspace in the Parent Workspace Directory field")
                     : GUI_MSG("Enter a valid Child Workspace in the Child Workspace Directory field"));
    return;
  }
  Kes_err *err = nullptr;
  Kes_workspace ws(dest, &err);
  delete err;
  if (client)
    save_dirs_files_list(&ws);
  else
    load_dirs_files_list(&ws);
}

void select_all_callback(Widget, XtPointer client, XtPointer) {
  if (client)
    select_all_scroll_list();
  else
    unselect_all_scroll_list();
}

void delete_callback(Widget, XtPointer, XtPointer) {
  delete_selected_backing_files();
  delete_selection_scroll_list();
  update_action_button_state();
}

void action_callback(Widget w, XtPointer client, XtPointer) {
  delete failed_panel;
  failed_panel = nullptr;
  auto kind = static_cast<Kes_gui_trans_kind>(reinterpret_cast<intptr_t>(client));
  if (get_gui()->get_current_panel()) {  // the button says Stop
    cmd_kill_proc(w);
    return;
  }
  popdown_trans_choosers();
  ensure_output_shell();
  Kes_gui_trans *panel = kind == KES_TRANS_BRINGOVER ? static_cast<Kes_gui_trans *>(new Kes_gui_bringover)
                         : kind == KES_TRANS_PUTBACK ? static_cast<Kes_gui_trans *>(new Kes_gui_putback)
                                                     : static_cast<Kes_gui_trans *>(new Kes_gui_undo);
  get_gui()->set_current_panel(panel);
  panel->process();
  if (panel->child_pid == 0) {  // stopped at a check: kept until the next press
    get_gui()->set_current_panel(nullptr);
    failed_panel = panel;
  }
}

void output_callback(Widget, XtPointer, XtPointer) { show_output_window(); }

void close_callback(Widget, XtPointer, XtPointer) {
  popdown_trans_choosers();
  if (the_output_shell) XtPopdown(the_output_shell->shell);
  if (the_trans_shell) XtPopdown(the_trans_shell->shell);
  gui_debug("trans closed");
}

void help_callback(Widget, XtPointer, XtPointer) { gui_help_topic("index"); }

void hook_files_form(trans_files_form *f, intptr_t panel) {
  XtAddCallback(f->parent_text, XmNactivateCallback, parent_field_callback, nullptr);
  XtAddCallback(f->child_text, XmNactivateCallback, child_field_callback, nullptr);
  XtAddCallback(f->parent_dots, XmNactivateCallback, dots_callback, f->parent_text);
  XtAddCallback(f->child_dots, XmNactivateCallback, dots_callback, f->child_text);
  Widget modes[3] = {f->files_tgl, f->flps_tgl, f->entire_tgl};
  for (intptr_t i = 0; i < 3; i++)
    XtAddCallback(modes[i], XmNvalueChangedCallback, mode_callback, reinterpret_cast<XtPointer>(i));
  XtAddCallback(f->add_btn, XmNactivateCallback, add_callback, nullptr);
  XtAddCallback(f->load_args_btn, XmNactivateCallback, args_callback, nullptr);
  XtAddCallback(f->save_args_btn, XmNactivateCallback, args_callback, reinterpret_cast<XtPointer>(1));
  XtAddCallback(f->select_all_btn, XmNactivateCallback, select_all_callback,
                reinterpret_cast<XtPointer>(1));
  XtAddCallback(f->deselect_all_btn, XmNactivateCallback, select_all_callback, nullptr);
  XtAddCallback(f->delete_btn, XmNactivateCallback, delete_callback, nullptr);
  XtAddCallback(f->action_btn, XmNactivateCallback, action_callback, reinterpret_cast<XtPointer>(panel));
  XtAddCallback(f->output_btn, XmNactivateCallback, output_callback, nullptr);
  XtAddCallback(f->close_btn, XmNactivateCallback, close_callback, nullptr);
  XtAddCallback(f->help_btn, XmNactivateCallback, help_callback, nullptr);
}

void make_trans_shell() {
  main_shell_c *main = get_main_shell();
  the_trans_shell = new trans_shell_c;
  trans_shell_c *t = the_trans_shell;
  t->create(main->app_shell);
  for (intptr_t i = 0; i < 5; i++)
    XtAddCallback(t->tabs[i], XmNvalueChangedCallback, tab_callback, reinterpret_cast<XtPointer>(i));
  hook_files_form(&t->boc, KES_TRANS_BRINGOVER);
  hook_files_form(&t->pb, KES_TRANS_PUTBACK);
  XtAddCallback(t->undo_ws_text, XmNactivateCallback,
                [](Widget w, XtPointer, XtPointer) { free(fully_qualify_textfield(w)); }, nullptr);
  XtAddCallback(t->undo_dots, XmNactivateCallback, dots_callback, t->undo_ws_text);
  XtAddCallback(t->resolve_dots, XmNactivateCallback, dots_callback, t->resolve_ws_text);
  XtAddCallback(t->resolve_ws_text, XmNactivateCallback, [](Widget w, XtPointer, XtPointer) {
    char *path = fully_qualify_textfield(w);
    resolve_pane_load(is_workspace(path) ? path : nullptr);
    free(path);
  }, nullptr);
  XtAddCallback(t->undo_action_btn, XmNactivateCallback, action_callback,
                reinterpret_cast<XtPointer>(KES_TRANS_UNDO));
  XtAddCallback(t->undo_output_btn, XmNactivateCallback, output_callback, nullptr);
  XtAddCallback(t->undo_close_btn, XmNactivateCallback, close_callback, nullptr);
  XtAddCallback(t->undo_help_btn, XmNactivateCallback, help_callback, nullptr);
  XtAddCallback(t->resolve_close_btn, XmNactivateCallback, close_callback, nullptr);
  Atom wm_delete = XmInternAtom(XtDisplay(t->shell), const_cast<char *>("WM_DELETE_WINDOW"), False);
  XmAddWMProtocolCallback(t->shell, wm_delete, close_callback, nullptr);
  gui_trace_places_on_map(t->shell);

  Widget lists[4] = {t->boc.list, t->pb.list, t->resolve_list, nullptr};
  Widget actions[4] = {t->boc.action_btn, t->pb.action_btn, nullptr, t->undo_action_btn};
  for (int i = 0; i < 4; i++) {
    form_data[i].action_button = actions[i];
    form_data[i].file_list = new Kes_strlist;
    form_data[i].flp_list = new Kes_strlist;
    if (lists[i]) XtVaSetValues(lists[i], XmNuserData, &form_data[i], nullptr);
    if (actions[i] && i < 2) XtSetSensitive(actions[i], False);
  }
  get_gui()->set_choosers(new WSSfileChooser(t->shell, "add_files_chooser",
                                             GUI_MSG("Lathe Weaving: Add Files")),
                          new WSFLPChooser(t->shell, "add_flps_chooser",
                                           GUI_MSG("Lathe Weaving: Add File List Programs")));
  get_gui()->get_add_files_chooser()->setAddProc(trans_add_files_callback, nullptr);
  get_gui()->get_add_flp_chooser()->setAddProc(trans_add_flps_callback, nullptr);
  XtRealizeWidget(t->shell);
  kes_set_icon("trans_48.xpm", t->shell);
}

}  // namespace

// The resolve tab: the workspace and the resolve pane over its conflicts.
void trans_show_resolve(const char *path) {
  show_trans_tab(KES_GUI_RESOLVE);
  set_field(the_trans_shell->resolve_ws_text, path);
  resolve_pane_load(is_workspace(path) ? path : nullptr);
}

// ---- the windows

trans_shell_c *get_trans_shell() { return the_trans_shell; }

Widget get_trans_shell_widget() {
  if (!the_trans_shell) make_trans_shell();
  return the_trans_shell->shell;
}

output_shell_c *get_output_shell() { return the_output_shell; }

output_shell_c *ensure_output_shell() {
  if (!the_output_shell) {
    the_output_shell = new output_shell_c;
    the_output_shell->create(get_main_shell()->app_shell);
    gui_trace_places_on_map(the_output_shell->shell);
  }
  return the_output_shell;
}

void show_output_window() {
  output_shell_c *out = ensure_output_shell();
  XtPopup(out->shell, XtGrabNone);
  XRaiseWindow(XtDisplay(out->shell), XtWindow(out->shell));
  gui_debug("output shown");
}

void popdown_trans_choosers() {
  if (!get_gui()) return;
  if (WSSfileChooser *c = get_gui()->get_add_files_chooser()) c->popdown();
  if (WSFLPChooser *c = get_gui()->get_add_flp_chooser()) c->popdown();
}

Kes_gui_util_trans_enum get_trans_category() { return category; }
void set_trans_category(Kes_gui_util_trans_enum kind) { category = kind; }
Kes_trans_data *get_trans_data(Kes_gui_util_trans_enum kind) { return &form_data[form_index(kind)]; }

void trans_footer(const char *text) {
  if (Kes_gui_trans *t = get_gui_trans()) t->print_footer(KES_GUI_LEFT_FOOTER, text);
}

void trans_error_dialog(const char *text) {
  show_message(get_trans_shell_widget(), GUI_MSG("Error Dialog"), text, MODAL_ERROR | MODAL_OK);
}

int trans_question(const char *text) {
  return show_message(get_trans_shell_widget(), GUI_MSG("Lathe Weaving: Message"), text,
                      MODAL_QUESTION | MODAL_YES | MODAL_NO) == MODAL_YES;
}

char *get_field(Widget field) {
  char *text = field ? XmTextGetString(field) : nullptr;
  char *out = strdup(text ? text : "");
  XtFree(text);
  return out;
}

void set_field(Widget field, const char *text) {
  if (field) XmTextSetString(field, const_cast<char *>(text ? text : ""));
}

char *fully_qualify_textfield(Widget field) {
  char *text = get_field(field);
  char *p = text;
  while (*p == ' ' || *p == '\t') p++;
  if (!*p) {
    free(text);
    return strdup("");
  }
  char full[1024];
  const char *q = kes_fully_qualify(p, full);
  std::string value = q ? q : p;
  while (value.size() > 1 && value.back() == '/') value.pop_back();
  set_field(field, value.c_str());
  free(text);
  return strdup(value.c_str());
}

void show_trans_tab(Kes_gui_util_trans_enum kind) {
  if (!the_trans_shell) make_trans_shell();
  trans_shell_c *t = the_trans_shell;
  for (int i = 0; i < 4; i++) {
    Widget form = t->form_of(i == 0 ? 0 : i + 1);
    if (form != t->form_of(kind) && XtIsManaged(form)) XtUnmanageChild(form);
  }
  XtManageChild(t->form_of(kind));
  for (int i = 0; i < 5; i++) XmToggleButtonSetState(t->tabs[i], i == kind, False);
  category = kind;
  XtVaSetValues(t->shell, XmNiconName, GUI_MSG(kIconNames[kind]), nullptr);
  // The long-lived object works on the lists of the form on top.
  Kes_trans_data *d = get_trans_data(kind);
  get_gui_trans()->file_list = d->file_list;
  get_gui_trans()->flp_list = d->flp_list;
  gui_debug("trans tab %d", kind);
  gui_trace_places(t->shell);
}

int init_trans_form(Kes_gui_util_trans_enum kind) {
  static const struct {
    int limit;
    const char *footer;
  } kLimits[5] = {
      {1, "Select no more than 1 workspace for a Bringover Create"},
      {2, "Select no more than 2 workspaces for a Bringover Update"},
      {2, "Select no more than 2 workspaces for a Putback"},
      {1, "Select no more than 1 workspace for a Resolve"},
      {1, "Select no more than 1 workspace for an Undo"},
  };
  std::unique_ptr<Kes_wslist> selected(get_gui()->get_canvas()->get_selected_workspaces());
  if (selected->count > kLimits[kind].limit) {
    main_footer(GUI_MSG(kLimits[kind].footer));
    if (the_trans_shell) show_trans_tab(category);  // the tab pressed does not stay on
    return 0;
  }
  std::string first, second;
  if (selected->count > 0) first = static_cast<Kes_workspace *>(selected->head.next->data)->wsname;
  if (selected->count > 1) second = static_cast<Kes_workspace *>(selected->head.next->next->data)->wsname;

  std::string parent, child;
  if (kind == KES_GUI_BRINGOVER_UPDATE || kind == KES_GUI_PUTBACK) {
    if (selected->count == 1) {
      child = first;
      parent = recorded_parent(first.c_str());
    } else if (selected->count == 2) {
      Kes_workspace *a = static_cast<Kes_workspace *>(selected->head.next->data);
      Kes_workspace *b = static_cast<Kes_workspace *>(selected->head.next->next->data);
      std::string a_parent = recorded_parent(first.c_str());
      std::string b_parent = recorded_parent(second.c_str());
      Kes_err *err = nullptr;
      std::unique_ptr<Kes_workspace> ap(a_parent.empty() ? nullptr : new Kes_workspace(a_parent.c_str(), &err));
      delete err;
      err = nullptr;
      std::unique_ptr<Kes_workspace> bp(b_parent.empty() ? nullptr : new Kes_workspace(b_parent.c_str(), &err));
      delete err;
      if (ap && ap->compare(b)) {
        parent = second, child = first;
      } else if (bp && bp->compare(a)) {
        parent = first, child = second;
      } else {
        const char *fmt = kind == KES_GUI_PUTBACK ? GUI_MSG("Putback from %s to %s...")
                                                  : GUI_MSG("Bringover from %s to %s...");
        char one[2200], other[2200];
        snprintf(one, sizeof one, fmt, compute_basename(first.c_str()),
                 compute_basename(second.c_str()));
        snprintf(other, sizeof other, fmt, compute_basename(second.c_str()),
                 compute_basename(first.c_str()));
        Kes_gui_action_select_dlg dialog(get_main_shell()->app_shell, one, other);
        int answer = dialog.ask();
        if (answer == 2) {
          if (the_trans_shell) show_trans_tab(category);
          return 0;
        }
        // The first workspace named is the source of the transaction.
        const std::string &from = answer == 0 ? first : second;
        const std::string &to = answer == 0 ? second : first;
        if (kind == KES_GUI_PUTBACK)
          child = from, parent = to;
        else
          parent = from, child = to;
      }
    }
  } else if (kind == KES_GUI_BRINGOVER_CREATE) {
    parent = first;
  }

  show_trans_tab(kind);
  trans_shell_c *t = the_trans_shell;
  trans_footer(nullptr);
  if (kind == KES_GUI_RESOLVE) {
    trans_show_resolve(first.c_str());
  } else if (kind == KES_GUI_UNDO) {
    set_field(t->undo_ws_text, first.c_str());
    trans_footer(GUI_MSG("To undo all changes from last transaction - Select Undo"));
  } else {
    trans_files_form *f = files_form(kind);
    set_field(f->parent_text, parent.c_str());
    set_field(f->child_text, child.c_str());
    check_trans_fields();
  }
  XtPopup(t->shell, XtGrabNone);
  XRaiseWindow(XtDisplay(t->shell), XtWindow(t->shell));
  return 1;
}

int init_trans_shell(main_shell_c *, Kes_gui_util_trans_enum kind) {
  if (get_gui()->get_current_panel()) {  // one transaction at a time
    if (the_trans_shell) XRaiseWindow(XtDisplay(the_trans_shell->shell), XtWindow(the_trans_shell->shell));
    return 0;
  }
  return init_trans_form(kind);
}

// ---- the fields

char *get_source_ws_dir() {
  trans_files_form *f = files_form(category);
  if (!f) return strdup("");
  return get_field(category == KES_GUI_PUTBACK ? f->child_text : f->parent_text);
}

void set_source_ws_dir(const char *dir) {
  if (trans_files_form *f = files_form(category))
    set_field(category == KES_GUI_PUTBACK ? f->child_text : f->parent_text, dir);
}

char *get_destination_ws_dir() {
  trans_files_form *f = files_form(category);
  if (!f) return strdup("");
  return get_field(category == KES_GUI_PUTBACK ? f->parent_text : f->child_text);
}

void set_destination_ws_dir(const char *dir) {
  if (trans_files_form *f = files_form(category))
    set_field(category == KES_GUI_PUTBACK ? f->parent_text : f->child_text, dir);
}

void trans_field_footers() {
  trans_files_form *f = files_form(category);
  if (!f) return;
  char *child = get_field(f->child_text), *parent = get_field(f->parent_text);
  const int create = category == KES_GUI_BRINGOVER_CREATE;
  const int child_ok = create ? *child && is_dir(parent_dir(child).c_str()) : is_workspace(child);
  const char *text = nullptr;
  if (!*child)
    text = GUI_MSG("Enter a Child Workspace Directory");
  else if (!child_ok)
    text = GUI_MSG("Enter a valid Child Workspace Directory");
  else if (!*parent)
    text = GUI_MSG("Enter a Parent Workspace Directory");
  else if (!is_dir(parent))
    text = GUI_MSG("Enter a valid Parent Workspace Directory");
  else if (args_lists_empty())
    text = category == KES_GUI_PUTBACK ? GUI_MSG("No files to putback - Hit =>Add...")
                                       : GUI_MSG("No files to bringover - Hit =>Add...");
  trans_footer(text);
  gui_debug("trans fields %s | %s", parent, child);
  free(child);
  free(parent);
}

void check_trans_fields() {
  trans_files_form *f = files_form(category);
  if (!f) return;
  set_file_list_switch();
  char *child = get_field(f->child_text);
  if (category != KES_GUI_BRINGOVER_CREATE && is_workspace(child)) {
    Kes_err *err = nullptr;
    Kes_workspace ws(child, &err);
    delete err;
    set_argument_lists(&ws);
  } else {
    clear_argument_lists();
  }
  free(child);
  trans_field_footers();
}
