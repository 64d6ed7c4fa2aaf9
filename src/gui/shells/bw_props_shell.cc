// bw_props_shell_c, "Tool Properties": the user's settings of the tool, kept
// in ~/.brindletoolrc, and of the resolve pane, kept in ~/.brindle_resrc.  OK
// and Apply apply the visible page and save its file.
#include <Xm/RowColumn.h>
#include <Xm/TextF.h>
#include <Xm/ToggleB.h>
#include <Xm/Xm.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "gui/kes_canvas.h"
#include "gui/kes_gui.h"
#include "gui/kes_gui_debug.h"
#include "gui/kes_gui_props.h"
#include "gui/kes_gui_stubs.h"
#include "gui/shells/form_dialog.h"
#include "gui/shells/main_shell.h"
#include "gui/shells/ws_ops.h"
#include "util/kes_err.h"

namespace {

// The history viewer's six columns and five filters, in the properties' order.
int Kes_gui_props::*const kShow[] = {&Kes_gui_props::show_time, &Kes_gui_props::show_operation,
                                     &Kes_gui_props::show_user, &Kes_gui_props::show_host,
                                     &Kes_gui_props::show_release, &Kes_gui_props::show_status};
int Kes_gui_props::*const kFilter[] = {&Kes_gui_props::filter_operation,
                                       &Kes_gui_props::filter_user, &Kes_gui_props::filter_host,
                                       &Kes_gui_props::filter_release,
                                       &Kes_gui_props::filter_status};
const char *const kColumns[] = {"Time", "Operation", "User", "Host", "FM Release", "Exit Status"};

// The resolve settings in the order of their file, with their toggles' names.
int Kes_resolve_rc::*const kResolve[] = {
    &Kes_resolve_rc::start_twinpane, &Kes_resolve_rc::autoadvance,
    &Kes_resolve_rc::checkin_comments, &Kes_resolve_rc::reuse_twinpane, &Kes_resolve_rc::autosave};
const char *const kResolveNames[] = {"start_twinpane", "autoadvance", "checkin_comments",
                                     "reuse_twinpane", "autosave"};
const char *const kResolveLabels[] = {"Auto Start Merging Window", "Auto Advance",
                                      "Prompt for Checkin Comments", "Use Existing Merging Window",
                                      "Auto Save (when no unresolved diffs)"};

void set_toggle(Widget w, int on) { XmToggleButtonSetState(w, on ? True : False, False); }
int toggle(Widget w) { return XmToggleButtonGetState(w) ? 1 : 0; }

}  // namespace

class bw_props_shell_c : public form_dialog_c {
public:
  enum { WEAVING = 0, TRANSACTIONS = 1, RESOLVE = 2, HISTORY = 3, PAGES = 4 };

  bw_props_shell_c()
      : form_dialog_c("bw_props_shell", GUI_MSG("Lathe Weaving:  Tool Properties"), "props") {
    const char *pages[] = {GUI_MSG("Weaving"), GUI_MSG("Bringover/Putback"), GUI_MSG("Resolve"),
                           GUI_MSG("History Viewer")};
    add_radio("category", GUI_MSG("Category:"), pages, PAGES, category);
    for (Widget w : category) XtAddCallback(w, XmNvalueChangedCallback, category_callback, this);

    page[WEAVING] = begin_page("weaving_page");
    dir = add_field("working_dir", GUI_MSG("Working Directory:"));
    const char *dbl[] = {GUI_MSG("Versioning"), GUI_MSG("History Viewer"), GUI_MSG("Other:")};
    add_radio("dbl_click", GUI_MSG("Workspace\nDouble Click Action:"), dbl, 3, dbl_choice);
    dbl_other = XtVaCreateManagedWidget("dbl_other", xmTextFieldWidgetClass,
                                        XtParent(XtParent(dbl_choice[0])), nullptr);
    const char *cdbl[] = {GUI_MSG("Resolve"), GUI_MSG("Other:")};
    add_radio("conflict_click", GUI_MSG("Conflict Workspace\nDouble Click Action:"), cdbl, 2,
              conflict_choice);
    conflict_other = XtVaCreateManagedWidget("conflict_other", xmTextFieldWidgetClass,
                                             XtParent(XtParent(conflict_choice[0])), nullptr);
    for (Widget w : dbl_choice) XtAddCallback(w, XmNvalueChangedCallback, radio_callback, this);
    for (Widget w : conflict_choice)
      XtAddCallback(w, XmNvalueChangedCallback, radio_callback, this);
    with_context = add_toggle(add_row("load_row", GUI_MSG("Load Workspaces:")), "with_context",
                              GUI_MSG("With Parent and Children"));
    selective = add_toggle(add_row("children_row", GUI_MSG("Load Children:")), "selective",
                           GUI_MSG("Selective"));
    const char *orient[] = {GUI_MSG("Vertical"), GUI_MSG("Horizontal")};
    add_radio("orientation", GUI_MSG("Orientation:"), orient, 2, orientation);
    const char *names[] = {GUI_MSG("Full"), GUI_MSG("Short"), GUI_MSG("Descriptive")};
    add_radio("names", GUI_MSG("Workspace Names:"), names, 3, name_style);

    page[TRANSACTIONS] = begin_page("transactions_page");
    auto_load = add_toggle(add_row("file_list_row", GUI_MSG("Transaction File List:")),
                           "auto_load", GUI_MSG("Auto Load"));
    auto_display = add_toggle(add_row("output_row", GUI_MSG("Transaction Output:")),
                              "auto_display", GUI_MSG("Auto Display"));
    auto_update = add_toggle(add_row("putback_row", GUI_MSG("Putback:")), "auto_update",
                             GUI_MSG("Auto Bringover Update"));
    comment_warn = add_toggle(add_row("comment_row", GUI_MSG("Bringover/Putback:")),
                              "comment_warn", GUI_MSG("Warn Comment Reusing"));

    page[RESOLVE] = begin_page("resolve_page");
    Widget defaults = XtVaCreateManagedWidget(
        "resolve_defaults", xmRowColumnWidgetClass, add_row("defaults_row", GUI_MSG("Defaults:")),
        XmNorientation, XmVERTICAL, nullptr);
    for (int i = 0; i < 5; i++)
      resolve[i] = add_toggle(defaults, kResolveNames[i], GUI_MSG(kResolveLabels[i]));

    page[HISTORY] = begin_page("history_page");
    Widget display = add_row("display_row", GUI_MSG("Display:"));
    for (int i = 0; i < 6; i++)
      show_col[i] = add_toggle(display, (std::string("show_") + std::to_string(i)).c_str(),
                           GUI_MSG(kColumns[i]));
    const char *cols[6];
    for (int i = 0; i < 6; i++) cols[i] = GUI_MSG(kColumns[i]);
    add_radio("sort", GUI_MSG("Sort By:"), cols, 6, sort);
    Widget filters = add_row("filter_row", GUI_MSG("Filter:"));
    for (int i = 0; i < 5; i++)
      filter[i] = add_toggle(filters, (std::string("filter_") + std::to_string(i)).c_str(),
                             GUI_MSG(kColumns[i + 1]));
    into = work;
    const char *buttons[] = {"OK", "Apply", "Reset", "Cancel", "Help"};
    add_buttons(buttons, 5);
    show_page(page[WEAVING]);
  }

  Widget category[PAGES], page[PAGES];
  Widget dir, dbl_choice[3], dbl_other, conflict_choice[2], conflict_other;
  Widget with_context, selective, orientation[2], name_style[3];
  Widget auto_load, auto_display, auto_update, comment_warn;
  Widget resolve[5];
  Widget show_col[6], sort[6], filter[5];

  int current() const { return radio_index(category, PAGES); }

  // The stored values into the widgets.
  void reset() {
    Kes_gui_props *p = get_gui_props();
    set_text(dir, p->current_dir);
    int d = strcmp(p->normal_double_click, "<versioning>") == 0       ? 0
            : strcmp(p->normal_double_click, "<history viewer>") == 0 ? 1
                                                                       : 2;
    set_radio(dbl_choice, 3, d);
    set_text(dbl_other, d == 2 ? p->normal_double_click : "");
    int c = strcmp(p->conflict_double_click, "<resolve pane>") == 0 ? 0 : 1;
    set_radio(conflict_choice, 2, c);
    set_text(conflict_other, c == 1 ? p->conflict_double_click : "");
    set_toggle(with_context, p->load_parents_and_children);
    set_toggle(selective, p->show_children_dlg);
    set_radio(orientation, 2, p->orientation);
    set_radio(name_style, 3, p->workspace_names);
    set_toggle(auto_load, p->auto_load_file_list);
    set_toggle(auto_display, p->auto_display_output);
    set_toggle(auto_update, p->auto_bringover_update);
    set_toggle(comment_warn, p->issue_comment_warn);
    reset_resolve_props();
    for (int i = 0; i < 6; i++) set_toggle(show_col[i], p->*kShow[i]);
    set_radio(sort, 6, p->sort_option);
    for (int i = 0; i < 5; i++) set_toggle(filter[i], p->*kFilter[i]);
    grey_others();
  }

  // "Other:" alone makes its field editable.
  void grey_others() {
    XtSetSensitive(dbl_other, radio_index(dbl_choice, 3) == 2);
    XtSetSensitive(conflict_other, radio_index(conflict_choice, 2) == 1);
  }

  int apply_nav_props() {
    Kes_gui_props *p = get_gui_props();
    std::string d = absolute_path(text_of(dir));
    struct stat st;
    if (stat(d.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
      gui_issue_errdialog(GUI_MSG("Current working directory not valid, Apply failed"));
      return 0;
    }
    const char *const words[] = {"<versioning>", "<history viewer>"};
    int dc = radio_index(dbl_choice, 3), cc = radio_index(conflict_choice, 2);
    std::string dbl = dc < 2 ? words[dc] : text_of(dbl_other);
    std::string conflict = cc == 0 ? "<resolve pane>" : text_of(conflict_other);
    if (dbl.find_first_not_of(" \t") == std::string::npos) {
      set_footer(GUI_MSG("Workspace Double Click action should contain a valid command."));
      return 0;
    }
    if (conflict.find_first_not_of(" \t") == std::string::npos) {
      set_footer(GUI_MSG("Conflict Workspace Double Click action should contain a valid command."));
      return 0;
    }
    free(p->current_dir);
    p->current_dir = strdup(d.c_str());
    free(p->normal_double_click);
    p->normal_double_click = strdup(dbl.c_str());
    free(p->conflict_double_click);
    p->conflict_double_click = strdup(conflict.c_str());
    p->load_parents_and_children = toggle(with_context);
    p->show_children_dlg = toggle(selective);
    p->orientation = radio_index(orientation, 2);
    p->workspace_names = radio_index(name_style, 3);
    if (chdir(d.c_str()) != 0) perror("brindletool");
    // The View menu and the canvas follow; the stored numbers of orientation
    // are the reverse of the canvas's.
    main_shell_c *m = get_main_shell();
    Kes_canvas *canvas = get_gui()->get_canvas();
    const int horizontal = p->orientation == Kes_gui_props::PROPS_HORIZONTAL;
    set_toggle(m->main_hor_tgl, horizontal);
    set_toggle(m->main_vertical_tgl, !horizontal);
    Widget names[] = {m->main_full_tgl, m->main_short_tgl, m->main_descr_tgl};
    set_radio(names, 3, p->workspace_names);
    canvas->set_orientation(horizontal ? KES_HORIZONTAL : KES_VERTICAL);
    canvas->set_name_style(static_cast<Kes_canvas_name_style>(p->workspace_names));
    if (canvas->get_orientation() != canvas->get_current_orientation() ||
        canvas->get_name_style() != canvas->get_current_name_style())
      canvas->layout();
    return 1;
  }

  int apply_trans_props() {
    Kes_gui_props *p = get_gui_props();
    p->auto_load_file_list = toggle(auto_load);
    p->auto_display_output = toggle(auto_display);
    p->auto_bringover_update = toggle(auto_update);
    p->issue_comment_warn = toggle(comment_warn);
    return 1;
  }

  void reset_resolve_props() {
    Kes_resolve_rc &rc = get_gui_props()->resolve_settings;
    for (int i = 0; i < 5; i++) set_toggle(resolve[i], rc.*kResolve[i]);
  }

  // Five toggles: nothing to refuse.
  void apply_resolve_props() {
    Kes_resolve_rc &rc = get_gui_props()->resolve_settings;
    for (int i = 0; i < 5; i++) rc.*kResolve[i] = toggle(resolve[i]);
  }

  // Applies the page and writes ~/.brindle_resrc; the resolve pane takes the
  // settings at once, from the next file on.
  int set_default_resolve_props() {
    char text[2048];
    apply_resolve_props();
    if (Kes_err *err = get_gui_props()->resolve_settings.write()) {
      snprintf(text, sizeof text,
               GUI_MSG("Attempt to write resolve props resulted in the following error: %s"),
               err->text);
      delete err;
      gui_issue_errdialog(text);
      return 0;
    }
    const char *home = getenv("HOME");
    if (home && *home)
      snprintf(text, sizeof text, GUI_MSG("Resolve props saved to %s/%s"), home, ".brindle_resrc");
    else
      snprintf(text, sizeof text, GUI_MSG("Resolve props saved to ~/%s"), ".brindle_resrc");
    set_footer(text);
    left_footer("%s", text);
    return 1;
  }

  int apply_browser_props() {
    int any = 0;
    for (Widget w : show_col) any |= toggle(w);
    if (!any) return 0;
    Kes_gui_props *p = get_gui_props();
    for (int i = 0; i < 6; i++) p->*kShow[i] = toggle(show_col[i]);
    p->sort_option = radio_index(sort, 6);
    for (int i = 0; i < 5; i++) p->*kFilter[i] = toggle(filter[i]);
    return 1;
  }

  // Applies the visible page and saves: set_default_<page>_props.
  int set_default_props() {
    static const char *const failures[] = {"Lathe Weaving Properties not saved",
                                           "Bringover/Putback Properties not saved", "",
                                           "History Viewer Properties not saved"};
    const int page_no = current();
    if (page_no == RESOLVE) return set_default_resolve_props();
    int ok = page_no == WEAVING        ? apply_nav_props()
             : page_no == TRANSACTIONS ? apply_trans_props()
                                       : apply_browser_props();
    char why[1024] = "";
    if (ok && !get_gui_props()->store_tool_props(why)) {
      gui_issue_errdialog(why);
      ok = 0;
    }
    if (!ok) {
      if (page_no != WEAVING || why[0]) set_footer(GUI_MSG(failures[page_no]));
      left_footer("%s", GUI_MSG(failures[page_no]));
      return 0;
    }
    char text[1200];
    snprintf(text, sizeof text, GUI_MSG("Tool props saved to %s"), get_gui_props()->get_rc_path());
    set_footer(text);
    left_footer("%s", text);
    return 1;
  }

  void button(int index) override {
    if (index == 0 || index == 1) {
      if (set_default_props() && index == 0) hide();
    } else {
      reset();
      set_footer(nullptr);
      if (index == 3) hide();
    }
  }

  static void category_callback(Widget w, XtPointer client, XtPointer) {
    auto *self = static_cast<bw_props_shell_c *>(client);
    if (!XmToggleButtonGetState(w)) return;
    for (int i = 0; i < PAGES; i++)
      if (self->category[i] == w) self->show_page(self->page[i]);
  }
  static void radio_callback(Widget, XtPointer client, XtPointer) {
    static_cast<bw_props_shell_c *>(client)->grey_others();
  }
};

void gui_stubs_bw_props() {
  static bw_props_shell_c *shell;
  if (!shell) shell = new bw_props_shell_c;
  shell->reset();
  shell->set_footer(nullptr);
  shell->show();
}
