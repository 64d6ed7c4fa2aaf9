// main_shell_c: the main window, its menus and footers, the View toggles, the
// canvas's popup menu and the modal message boxes.
#include "gui/shells/resolve_pane.h"
#include "gui/shells/main_shell.h"

#include <Xm/CascadeB.h>
#include <Xm/DrawingA.h>
#include <Xm/Form.h>
#include <Xm/Label.h>
#include <Xm/MainW.h>
#include <Xm/MessageB.h>
#include <Xm/PushB.h>
#include <Xm/RowColumn.h>
#include <Xm/ScrolledW.h>
#include <Xm/Separator.h>
#include <Xm/ToggleB.h>
#include <Xm/Xm.h>

#include <cstdlib>
#include <string>

#include "gui/kes_canvas.h"
#include "gui/kes_gui.h"
#include "gui/kes_gui_debug.h"
#include "gui/kes_gui_stubs.h"
#include "toolkit/modal_dialog.h"

namespace {

main_shell_c *the_main_shell;

enum Kind { BUTTON, TOGGLE, SEPARATOR };

struct Entry {
  const char *widget;
  const char *label;
  char mnemonic;
  Kind kind;
  void (*action)();
  // A View toggle: its callback and where the shell keeps it.
  XtCallbackProc toggled = nullptr;
  Widget main_shell_c::*field = nullptr;
};

// ---- the View toggles: two groups, each with one toggle on

void view_toggled(Widget w, Widget *group, int count, int value, int is_orientation,
                  XtPointer call) {
  auto *cbs = static_cast<XmToggleButtonCallbackStruct *>(call);
  Kes_canvas *canvas = get_gui() ? get_gui()->get_canvas() : nullptr;
  if (!canvas) return;
  if (canvas->rename_in_progress()) canvas->rename_cleanup();
  if (!cbs->set) {  // the active toggle clicked again: it stays on, nothing moves
    XmToggleButtonSetState(w, True, False);
    return;
  }
  for (int i = 0; i < count; i++)
    if (group[i] != w) XmToggleButtonSetState(group[i], False, False);
  if (is_orientation)
    canvas->set_orientation(static_cast<Kes_canvas_orientation>(value));
  else
    canvas->set_name_style(static_cast<Kes_canvas_name_style>(value));
  gui_debug("view %s %d", is_orientation ? "orientation" : "names", value);
  canvas->layout();
}

void orientation_toggled(Widget w, int value, XtPointer call) {
  main_shell_c *s = get_main_shell();
  Widget group[] = {s->main_hor_tgl, s->main_vertical_tgl};
  view_toggled(w, group, 2, value, 1, call);
}

void names_toggled(Widget w, int value, XtPointer call) {
  main_shell_c *s = get_main_shell();
  Widget group[] = {s->main_full_tgl, s->main_short_tgl, s->main_descr_tgl};
  view_toggled(w, group, 3, value, 0, call);
}

void main_vertical_tgl_callback(Widget w, XtPointer, XtPointer call) {
  orientation_toggled(w, KES_VERTICAL, call);
}
void main_hor_tgl_callback(Widget w, XtPointer, XtPointer call) {
  orientation_toggled(w, KES_HORIZONTAL, call);
}
void main_full_tgl_callback(Widget w, XtPointer, XtPointer call) {
  names_toggled(w, KES_NAMES_FULL, call);
}
void main_short_tgl_callback(Widget w, XtPointer, XtPointer call) {
  names_toggled(w, KES_NAMES_SHORT, call);
}
void main_descr_tgl_callback(Widget w, XtPointer, XtPointer call) {
  names_toggled(w, KES_NAMES_DESCRIPTIVE, call);
}

void do_exit() { main_exit_btn_callback(nullptr, nullptr, nullptr); }

// The menus' entries, menu by menu; kMenus gives each menu's range.
const Entry kEntries[] = {
    {"main_load_ws_btn", "Load Workspaces...", 'L', BUTTON, gui_stubs_load_workspaces},
    {"main_create_ws_btn", "Create Workspace...", 'C', BUTTON, gui_stubs_create_workspace},
    {"main_unload_btn", "Unload Workspaces", 'U', BUTTON, gui_stubs_unload_workspaces},
    {"file_sep", nullptr, 0, SEPARATOR, nullptr},
    {"exit_btn", "Exit", 'x', BUTTON, do_exit},
    // View
    {"main_vertical_tgl", "Vertical Orientation", 'V', TOGGLE, nullptr, main_vertical_tgl_callback,
     &main_shell_c::main_vertical_tgl},
    {"main_hor_tgl", "Horizontal Orientation", 'H', TOGGLE, nullptr, main_hor_tgl_callback,
     &main_shell_c::main_hor_tgl},
    {"view_sep1", nullptr, 0, SEPARATOR, nullptr},
    {"main_full_tgl", "Full Names", 'F', TOGGLE, nullptr, main_full_tgl_callback,
     &main_shell_c::main_full_tgl},
    {"main_short_tgl", "Short Names", 'S', TOGGLE, nullptr, main_short_tgl_callback,
     &main_shell_c::main_short_tgl},
    {"main_descr_tgl", "Descriptive Names", 'D', TOGGLE, nullptr, main_descr_tgl_callback,
     &main_shell_c::main_descr_tgl},
    {"view_sep2", nullptr, 0, SEPARATOR, nullptr},
    {"main_refresh_btn", "Refresh", 'R', BUTTON, main_refresh_btn_callback},
    // Workspace
    {"main_load_par_btn", "Load Parent", 'P', BUTTON, gui_stubs_load_parent_workspace},
    {"main_load_ch_btn", "Load Children...", 'C', BUTTON, gui_stubs_load_children},
    {"main_create_cws_btn", "Create Child...", 'h', BUTTON, gui_stubs_create_child},
    {"main_delete_btn", "Delete...", 'D', BUTTON, gui_stubs_delete_workspaces},
    {"main_edit_locks_btn", "Edit Locks...", 'L', BUTTON, gui_stubs_edit_locks},
    {"main_rename_btn", "Rename...", 'R', BUTTON, gui_stubs_rename_workspaces},
    {"main_parent_btn", "Reparent...", 'e', BUTTON, gui_stubs_reparent_workspaces},
    {"main_updatenames_btn", "Update Nametable...", 'U', BUTTON, gui_stubs_updatenames},
    {"main_history_btn", "View History...", 'V', BUTTON, gui_stubs_history_browser},
    {"main_ws_btn", "Properties...", 'o', BUTTON, gui_stubs_ws_props},
    // Actions
    {"main_create_btn", "Bringover Create...", 'C', BUTTON, gui_stubs_trans_create},
    {"main_update_btn", "Bringover Update...", 'U', BUTTON, gui_stubs_trans_update},
    {"main_putback_btn", "Putback...", 'P', BUTTON, gui_stubs_trans_putback},
    {"main_resolve_btn", "Resolve...", 'R', BUTTON, gui_stubs_trans_resolve},
    {"main_undo_btn", "Undo...", 'n', BUTTON, gui_stubs_trans_undo},
    // Options
    {"main_bw_btn", "Weaving...", 'W', BUTTON, gui_stubs_bw_props},
    // Help
    {"main_help_btn", "Overview...", 'O', BUTTON, gui_stubs_help},
    {"main_about_btn", "About Brindletool...", 'A', BUTTON, gui_stubs_about},
};

struct Menu {
  const char *name;
  const char *label;
  char mnemonic;
  int first, last;  // range in kEntries, last excluded
};

const Menu kMenus[] = {
    {"file", "File", 'F', 0, 5},      {"view", "View", 'V', 5, 13},
    {"workspace", "Workspace", 'W', 13, 23}, {"actions", "Actions", 'A', 23, 28},
    {"options", "Options", 'O', 28, 29},     {"help", "Help", 'H', 29, 31},
};

// The canvas's popup: the entries' indexes, counting buttons only, choose the
// action.
const Entry kPopup[] = {
    {"load_parent", "Load Parent", 0, BUTTON, gui_stubs_load_parent_workspace},
    {"load_children", "Load Children...", 0, BUTTON, gui_stubs_load_children},
    {"sep1", nullptr, 0, SEPARATOR, nullptr},
    {"delete", "Delete...", 0, BUTTON, gui_stubs_delete_workspaces},
    {"rename", "Rename...", 0, BUTTON, gui_stubs_rename_workspaces},
    {"reparent", "Reparent...", 0, BUTTON, gui_stubs_reparent_workspaces},
    {"unload", "Unload", 0, BUTTON, gui_stubs_unload_workspaces},
    {"sep2", nullptr, 0, SEPARATOR, nullptr},
    {"history", "View History...", 0, BUTTON, gui_stubs_history_browser},
    {"sep3", nullptr, 0, SEPARATOR, nullptr},
    {"create", "Bringover Create...", 0, BUTTON, gui_stubs_trans_create},
    {"update", "Bringover Update...", 0, BUTTON, gui_stubs_trans_update},
    {"putback", "Putback...", 0, BUTTON, gui_stubs_trans_putback},
    {"resolve", "Resolve...", 0, BUTTON, gui_stubs_trans_resolve},
    {"undo", "Undo...", 0, BUTTON, gui_stubs_trans_undo},
    {"sep4", nullptr, 0, SEPARATOR, nullptr},
    {"properties", "Properties...", 0, BUTTON, gui_stubs_ws_props},
};

void entry_callback(Widget, XtPointer client, XtPointer) {
  const Entry *e = static_cast<const Entry *>(client);
  gui_debug("menu %s", e->widget);
  e->action();
}

XmString make_string(const char *text) {
  return XmStringCreateLocalized(const_cast<char *>(text));
}

Widget make_entry(Widget menu, const Entry &e) {
  if (e.kind == SEPARATOR) return XtVaCreateManagedWidget(e.widget, xmSeparatorWidgetClass, menu, nullptr);
  XmString label = make_string(GUI_MSG(e.label));
  Widget w;
  if (e.kind == TOGGLE) {
    w = XtVaCreateManagedWidget(e.widget, xmToggleButtonWidgetClass, menu, XmNlabelString, label,
                                XmNindicatorType, XmONE_OF_MANY, XmNvisibleWhenOff, True, nullptr);
  } else {
    w = XtVaCreateManagedWidget(e.widget, xmPushButtonWidgetClass, menu, XmNlabelString, label,
                                nullptr);
    XtAddCallback(w, XmNactivateCallback, entry_callback, const_cast<Entry *>(&e));
  }
  if (e.mnemonic) XtVaSetValues(w, XmNmnemonic, static_cast<KeySym>(e.mnemonic), nullptr);
  XmStringFree(label);
  return w;
}

}  // namespace

main_shell_c *get_main_shell() { return the_main_shell; }
void set_main_shell(main_shell_c *shell) { the_main_shell = shell; }

main_shell_c::main_shell_c() = default;

main_shell_c::~main_shell_c() {
  if (app_shell) XtDestroyWidget(app_shell);
}

Widget main_shell_c::add_menu(const char *name, const char *label, char mnemonic) {
  Widget pulldown = XmCreatePulldownMenu(menu_bar, const_cast<char *>(name), nullptr, 0);
  XmString text = make_string(GUI_MSG(label));
  std::string cascade_name = std::string(name) + "_cascade";
  Widget cascade = XtVaCreateManagedWidget(cascade_name.c_str(), xmCascadeButtonWidgetClass,
                                           menu_bar, XmNsubMenuId, pulldown, XmNlabelString,
                                           text, XmNmnemonic, static_cast<KeySym>(mnemonic),
                                           nullptr);
  XmStringFree(text);
  if (mnemonic == 'H') {
    help_cascade = cascade;
    XtVaSetValues(menu_bar, XmNmenuHelpWidget, cascade, nullptr);
  }
  return pulldown;
}

void main_shell_c::add_entries(Widget menu, int first, int last) {
  for (int i = first; i < last; i++) {
    const Entry &e = kEntries[i];
    Widget w = make_entry(menu, e);
    if (e.toggled) XtAddCallback(w, XmNvalueChangedCallback, e.toggled, nullptr);
    if (e.field)
      this->*e.field = w;
    else if (menu_widget_count < 64)
      menu_widgets[menu_widget_count++] = w;
  }
}

void main_shell_c::create(Display *display, const char *name, int argc, char **argv, int) {
  app_shell = XtVaAppCreateShell(name, "XBrindle", applicationShellWidgetClass, display, XmNargc,
                                 argc, XmNargv, argv, XmNdeleteResponse, XmDO_NOTHING, nullptr);
  toolkit_shell = app_shell;
  xd_widget = app_shell;
  main_window = XtVaCreateManagedWidget("main_window", xmMainWindowWidgetClass, app_shell, nullptr);
  menu_bar = XmCreateMenuBar(main_window, const_cast<char *>("menu_bar"), nullptr, 0);
  for (const Menu &m : kMenus) add_entries(add_menu(m.name, m.label, m.mnemonic), m.first, m.last);
  XtManageChild(menu_bar);

  main_form = XtVaCreateManagedWidget("main_form", xmFormWidgetClass, main_window, nullptr);
  msg_rowcol = XtVaCreateManagedWidget(
      "msg_rowcol", xmRowColumnWidgetClass, main_form, XmNorientation, XmHORIZONTAL, XmNpacking,
      XmPACK_TIGHT, XmNadjustLast, True, XmNbottomAttachment, XmATTACH_FORM, XmNleftAttachment,
      XmATTACH_FORM, XmNrightAttachment, XmATTACH_FORM, nullptr);
  XmString empty = make_string("");
  XmString none_loaded = make_string(GUI_MSG("No workspaces loaded - Select File=>Load Workspaces..."));
  left_footer = XtVaCreateManagedWidget("left_footer", xmLabelWidgetClass, msg_rowcol,
                                        XmNlabelString, none_loaded, XmNalignment,
                                        XmALIGNMENT_BEGINNING, XmNrecomputeSize, False, nullptr);
  right_footer = XtVaCreateManagedWidget("right_footer", xmLabelWidgetClass, msg_rowcol,
                                         XmNlabelString, empty, XmNalignment, XmALIGNMENT_END,
                                         XmNrecomputeSize, False, nullptr);
  XmStringFree(empty);
  XmStringFree(none_loaded);
  Widget sw = XtVaCreateManagedWidget(
      "main_draw_sw", xmScrolledWindowWidgetClass, main_form, XmNscrollingPolicy, XmAUTOMATIC,
      XmNscrollBarDisplayPolicy, XmAS_NEEDED, XmNtopAttachment, XmATTACH_FORM,
      XmNleftAttachment, XmATTACH_FORM, XmNrightAttachment, XmATTACH_FORM, XmNbottomAttachment,
      XmATTACH_WIDGET, XmNbottomWidget, msg_rowcol, nullptr);
  // Sized by the canvas once it is there; until then, as big as the window.
  main_draw = XtVaCreateManagedWidget("main_draw", xmDrawingAreaWidgetClass, sw, XmNresizePolicy,
                                      XmRESIZE_NONE, XmNwidth, 800, XmNheight, 500, nullptr);
  XmMainWindowSetAreas(main_window, menu_bar, nullptr, nullptr, nullptr, main_form);
}

void main_shell_c::issue_errdialog(const char *message) {
  show_message(app_shell, GUI_MSG("Error Dialog"), message, MODAL_ERROR | MODAL_OK);
}

void main_exit_btn_callback(Widget, XtPointer, XtPointer) {
  gui_debug("exit");
  rt_quit();
  delete Kes_cleanup::access();
  exit(0);
}

Widget create_canvas_menu(Widget drawing_area) {
  Widget menu = XmCreatePopupMenu(drawing_area, const_cast<char *>("canvas_menu"), nullptr, 0);
  for (const Entry &e : kPopup) make_entry(menu, e);
  return menu;
}
