// trans_shell_c: the widgets of the transaction window, tab by tab.
#include "gui/shells/trans_shell.h"

#include <Xm/Form.h>
#include <Xm/Frame.h>
#include <Xm/Label.h>
#include <Xm/List.h>
#include <Xm/PushB.h>
#include <Xm/RowColumn.h>
#include <Xm/Text.h>
#include <Xm/TextF.h>
#include <Xm/ToggleB.h>
#include <Xm/Xm.h>
#include <X11/Shell.h>

#include <string>

#include "gui/kes_gui_debug.h"
#include "gui/shells/resolve_pane.h"
#include "toolkit/ss_gauge.h"

namespace {

XmString make_string(const char *text) { return XmStringCreateLocalized(const_cast<char *>(text)); }

std::string named(const char *prefix, const char *what) { return std::string(prefix) + "_" + what; }

Widget make(WidgetClass cls, Widget parent, const std::string &name, const char *label) {
  Widget w = XtVaCreateManagedWidget(name.c_str(), cls, parent, nullptr);
  if (label) {
    XmString s = make_string(GUI_MSG(label));
    XtVaSetValues(w, XmNlabelString, s, nullptr);
    XmStringFree(s);
  }
  return w;
}

Widget button(Widget parent, const std::string &name, const char *label) {
  return make(xmPushButtonWidgetClass, parent, name, label);
}

Widget toggle(Widget parent, const std::string &name, const char *label) {
  return make(xmToggleButtonWidgetClass, parent, name, label);
}

// A titled frame stacked below above (or at the top), across the form.
Widget frame(Widget form, Widget above, const char *name, const char *title) {
  Widget f = XtVaCreateManagedWidget(
      name, xmFrameWidgetClass, form, XmNtopAttachment, above ? XmATTACH_WIDGET : XmATTACH_FORM,
      XmNtopWidget, above, XmNtopOffset, 4, XmNleftAttachment, XmATTACH_FORM, XmNrightAttachment,
      XmATTACH_FORM, nullptr);
  XmString s = make_string(GUI_MSG(title));
  XtVaCreateManagedWidget("title", xmLabelWidgetClass, f, XmNchildType, XmFRAME_TITLE_CHILD,
                          XmNlabelString, s, nullptr);
  XmStringFree(s);
  return f;
}

// "Label: [field] . . ." as one row of a form, below above.
void field_row(Widget form, Widget above, const std::string &name, const char *label,
               Widget *text, Widget *dots) {
  Widget l = make(xmLabelWidgetClass, form, name + "_label", label);
  *dots = button(form, name + "_dots", ". . .");
  *text = XtVaCreateManagedWidget(name.c_str(), xmTextFieldWidgetClass, form, nullptr);
  XtVaSetValues(l, XmNtopAttachment, above ? XmATTACH_WIDGET : XmATTACH_FORM, XmNtopWidget, above,
                XmNtopOffset, 8, XmNleftAttachment, XmATTACH_FORM, XmNwidth, 100,
                XmNrecomputeSize, False, XmNalignment, XmALIGNMENT_END, nullptr);
  XtVaSetValues(*dots, XmNtopAttachment, above ? XmATTACH_WIDGET : XmATTACH_FORM, XmNtopWidget,
                above, XmNtopOffset, 2, XmNrightAttachment, XmATTACH_FORM, nullptr);
  XtVaSetValues(*text, XmNtopAttachment, above ? XmATTACH_WIDGET : XmATTACH_FORM, XmNtopWidget,
                above, XmNleftAttachment, XmATTACH_WIDGET, XmNleftWidget, l, XmNrightAttachment,
                XmATTACH_WIDGET, XmNrightWidget, *dots, nullptr);
}

Widget inner_form(Widget frame) {
  return XtVaCreateManagedWidget("inner", xmFormWidgetClass, frame, XmNmarginWidth, 6,
                                 XmNmarginHeight, 4, nullptr);
}

Widget comment_box(Widget form, Widget above, const std::string &name, Widget *text) {
  Widget f = frame(form, above, (name + "_frame").c_str(), "Comments");
  Arg args[4];
  XtSetArg(args[0], XmNrows, 3);
  XtSetArg(args[1], XmNeditMode, XmMULTI_LINE_EDIT);
  XtSetArg(args[2], XmNwordWrap, True);
  XtSetArg(args[3], XmNscrollHorizontal, False);
  *text = XmCreateScrolledText(f, const_cast<char *>(name.c_str()), args, 4);
  XtManageChild(*text);
  return f;
}

// Action, Show Output, Close and Help along the bottom of a form.
Widget button_row(Widget form, const char *prefix, const char *action, Widget *buttons) {
  Widget row = XtVaCreateManagedWidget(
      named(prefix, "buttons").c_str(), xmFormWidgetClass, form, XmNbottomAttachment,
      XmATTACH_FORM, XmNleftAttachment, XmATTACH_FORM, XmNrightAttachment, XmATTACH_FORM,
      XmNfractionBase, 4, nullptr);
  const char *names[4] = {"action_btn", "output_btn", "close_btn", "help_btn"};
  const char *labels[4] = {action, "Show Output", "Close", "Help"};
  for (int i = 0; i < 4; i++) {
    buttons[i] = button(row, named(prefix, names[i]), labels[i]);
    XtVaSetValues(buttons[i], XmNleftAttachment, XmATTACH_POSITION, XmNleftPosition, i,
                  XmNrightAttachment, XmATTACH_POSITION, XmNrightPosition, i + 1, XmNleftOffset, 6,
                  XmNrightOffset, 6, XmNtopAttachment, XmATTACH_FORM, XmNtopOffset, 6, nullptr);
  }
  return row;
}

Widget page(Widget parent, const char *name) {
  return XtVaCreateWidget(name, xmFormWidgetClass, parent, XmNtopAttachment, XmATTACH_FORM,
                          XmNbottomAttachment, XmATTACH_FORM, XmNleftAttachment, XmATTACH_FORM,
                          XmNrightAttachment, XmATTACH_FORM, XmNmarginWidth, 6, XmNmarginHeight, 4,
                          nullptr);
}

}  // namespace

trans_shell_c::~trans_shell_c() {
  delete progress;
  if (shell) XtDestroyWidget(shell);
}

Widget trans_shell_c::form_of(int kind) const {
  static_assert(sizeof(tabs) / sizeof(tabs[0]) == 5, "five tabs");
  switch (kind) {
    case 0:
    case 1: return boc.form;
    case 2: return pb.form;
    case 3: return resolve_form;
    default: return undo_form;
  }
}

void trans_shell_c::create(Widget parent) {
  shell = XtVaCreatePopupShell("trans_shell", topLevelShellWidgetClass, parent, XmNtitle,
                               GUI_MSG("Lathe Weaving: Transactions"), XmNiconName,
                               GUI_MSG("Create"), XmNdeleteResponse, XmUNMAP, XmNx, 600, XmNy, 0,
                               nullptr);
  xd_widget = shell;
  Widget top = XtVaCreateWidget("trans_form", xmFormWidgetClass, shell, XmNmarginWidth, 4,
                                XmNmarginHeight, 4, nullptr);
  trans_tab_mgr = XtVaCreateManagedWidget(
      "trans_tab_mgr", xmRowColumnWidgetClass, top, XmNorientation, XmHORIZONTAL, XmNradioBehavior,
      True, XmNpacking, XmPACK_TIGHT, XmNspacing, 0, XmNtopAttachment, XmATTACH_FORM,
      XmNleftAttachment, XmATTACH_FORM, nullptr);
  const char *tab_names[5] = {"trans_bo_btn", "trans_bo_update_btn", "trans_pb_btn",
                              "trans_resolve_btn", "trans_undo_btn"};
  const char *tab_labels[5] = {"Bringover Create", "Bringover Update", "Putback", "Resolve",
                               "Undo"};
  for (int i = 0; i < 5; i++) {
    tabs[i] = toggle(trans_tab_mgr, tab_names[i], tab_labels[i]);
    XtVaSetValues(tabs[i], XmNindicatorOn, XmINDICATOR_NONE, XmNshadowThickness, 2,
                  XmNmarginWidth, 10, nullptr);
  }

  Widget bottom = XtVaCreateManagedWidget(
      "trans_footer_row", xmFormWidgetClass, top, XmNbottomAttachment, XmATTACH_FORM,
      XmNleftAttachment, XmATTACH_FORM, XmNrightAttachment, XmATTACH_FORM, nullptr);
  progress = new SSGauge(bottom, "trans_progress_bar", 180, 18);
  trans_progress_bar = progress->getWidget();
  XtVaSetValues(trans_progress_bar, XmNrightAttachment, XmATTACH_FORM, XmNrightOffset, 4,
                XmNtopAttachment, XmATTACH_FORM, XmNtopOffset, 3, XmNbottomAttachment,
                XmATTACH_FORM, XmNbottomOffset, 3, nullptr);
  trans_status_label = XtVaCreateManagedWidget(
      "trans_status_label", xmLabelWidgetClass, bottom, XmNalignment, XmALIGNMENT_BEGINNING,
      XmNrecomputeSize, False, XmNleftAttachment, XmATTACH_FORM, XmNrightAttachment,
      XmATTACH_WIDGET, XmNrightWidget, trans_progress_bar, XmNbottomAttachment, XmATTACH_FORM,
      nullptr);
  XmString blank = make_string(" ");
  XtVaSetValues(trans_status_label, XmNlabelString, blank, nullptr);
  XmStringFree(blank);

  Widget pages = XtVaCreateManagedWidget(
      "trans_pages", xmFormWidgetClass, top, XmNtopAttachment, XmATTACH_WIDGET, XmNtopWidget,
      trans_tab_mgr, XmNbottomAttachment, XmATTACH_WIDGET, XmNbottomWidget, bottom,
      XmNleftAttachment, XmATTACH_FORM, XmNrightAttachment, XmATTACH_FORM, XmNshadowThickness, 2,
      XmNshadowType, XmSHADOW_OUT, nullptr);
  create_files_form(&boc, pages, "trans_boc", 0);
  create_files_form(&pb, pages, "trans_pb", 1);
  create_resolve_form(pages);
  create_undo_form(pages);
  XtManageChild(boc.form);
  XtManageChild(top);
}

void trans_shell_c::create_files_form(trans_files_form *f, Widget parent, const char *prefix,
                                      int putback) {
  f->form = page(parent, named(prefix, "form").c_str());
  Widget ws = inner_form(frame(f->form, nullptr, "workspaces_frame", "Workspaces"));
  field_row(ws, nullptr, named(prefix, "parent"), putback ? "Parent(To):" : "Parent(From):",
            &f->parent_text, &f->parent_dots);
  field_row(ws, f->parent_text, named(prefix, "child"), putback ? "Child(From):" : "Child(To):",
            &f->child_text, &f->child_dots);
  Widget files_frame = frame(f->form, XtParent(ws), "files_frame",
                             putback ? "Child Files" : "Parent Files");
  f->files_label = files_frame;
  Widget files = inner_form(files_frame);
  Widget radio = XmCreateRadioBox(files, const_cast<char *>(named(prefix, "mode").c_str()),
                                  nullptr, 0);
  XtVaSetValues(radio, XmNorientation, XmHORIZONTAL, XmNtopAttachment, XmATTACH_FORM,
                XmNleftAttachment, XmATTACH_FORM, nullptr);
  f->files_tgl = toggle(radio, named(prefix, "files_tgl"), "Directories and Files");
  f->flps_tgl = toggle(radio, named(prefix, "flps_tgl"), "File List Programs (FLPs)");
  f->entire_tgl = toggle(radio, named(prefix, "entire_tgl"), "Entire Workspace");
  XtManageChild(radio);
  Widget column = XtVaCreateManagedWidget(
      named(prefix, "list_buttons").c_str(), xmRowColumnWidgetClass, files, XmNorientation,
      XmVERTICAL, XmNpacking, XmPACK_COLUMN, XmNtopAttachment, XmATTACH_WIDGET, XmNtopWidget,
      radio, XmNrightAttachment, XmATTACH_FORM, nullptr);
  f->add_btn = button(column, named(prefix, "add_btn"), "Add...");
  f->load_args_btn = button(column, named(prefix, "load_args_btn"), "Load From args File");
  f->save_args_btn = button(column, named(prefix, "save_args_btn"), "Save To args File");
  f->select_all_btn = button(column, named(prefix, "select_all_btn"), "Select All");
  f->deselect_all_btn = button(column, named(prefix, "deselect_all_btn"), "Deselect All");
  f->delete_btn = button(column, named(prefix, "delete_btn"), "Delete");
  Arg args[2];
  XtSetArg(args[0], XmNselectionPolicy, XmEXTENDED_SELECT);
  XtSetArg(args[1], XmNvisibleItemCount, 8);
  f->list = XmCreateScrolledList(files, const_cast<char *>(named(prefix, "list").c_str()), args, 2);
  XtVaSetValues(XtParent(f->list), XmNtopAttachment, XmATTACH_WIDGET, XmNtopWidget, radio,
                XmNleftAttachment, XmATTACH_FORM, XmNrightAttachment, XmATTACH_WIDGET,
                XmNrightWidget, column, XmNrightOffset, 6, XmNbottomAttachment, XmATTACH_FORM,
                nullptr);
  XtManageChild(f->list);

  Widget comments = comment_box(f->form, files_frame, named(prefix, "comment_text"),
                                &f->comment_text);
  Widget options = frame(f->form, comments, "options_frame", "Options");
  Widget grid = XtVaCreateManagedWidget("options", xmRowColumnWidgetClass, options,
                                        XmNorientation, XmHORIZONTAL, XmNpacking, XmPACK_COLUMN,
                                        XmNnumColumns, 2, nullptr);
  const char *names[7] = {"preview_tgl", "skip_gets_tgl", "verbose_tgl",
                          putback ? "auto_bringover_tgl" : "force_conflicts_tgl",
                          "quiet_tgl", "skip_backups_tgl", "delta_comments_tgl"};
  const char *labels[7] = {"Preview", "Skip SCCS gets", "Verbose",
                           putback ? "Auto Bringover" : "Force Conflicts",
                           "Quiet", "Skip Backups", "Delta Comments"};
  for (int i = 0; i < 7; i++) f->options[i] = toggle(grid, named(prefix, names[i]), labels[i]);
  Widget buttons[4];
  Widget row = button_row(f->form, prefix, putback ? "Putback" : "Bringover", buttons);
  XtVaSetValues(options, XmNbottomAttachment, XmATTACH_WIDGET, XmNbottomWidget, row, nullptr);
  f->action_btn = buttons[0];
  f->output_btn = buttons[1];
  f->close_btn = buttons[2];
  f->help_btn = buttons[3];
}

void trans_shell_c::create_resolve_form(Widget parent) {
  resolve_form = page(parent, "trans_resolve_form");
  Widget ws = inner_form(frame(resolve_form, nullptr, "workspace_frame", "Workspace"));
  field_row(ws, nullptr, "trans_resolve_ws", "Workspace:", &resolve_ws_text, &resolve_dots);
  resolve_pane_create(this, resolve_form, XtParent(ws));
}

void trans_shell_c::create_undo_form(Widget parent) {
  undo_form = page(parent, "trans_undo_form");
  Widget ws = inner_form(frame(undo_form, nullptr, "workspace_frame", "Workspace"));
  field_row(ws, nullptr, "trans_undo_ws", "Workspace:", &undo_ws_text, &undo_dots);
  Widget comments = comment_box(undo_form, XtParent(ws), "trans_undo_comment_text",
                                &undo_comment_text);
  Widget options = frame(undo_form, comments, "options_frame", "Options");
  Widget grid = XtVaCreateManagedWidget("options", xmRowColumnWidgetClass, options,
                                        XmNorientation, XmHORIZONTAL, nullptr);
  undo_preview_tgl = toggle(grid, "trans_undo_preview_tgl", "Preview");
  undo_quiet_tgl = toggle(grid, "trans_undo_quiet_tgl", "Quiet");
  Widget buttons[4];
  button_row(undo_form, "trans_undo", "Perform Undo", buttons);
  undo_action_btn = buttons[0];
  undo_output_btn = buttons[1];
  undo_close_btn = buttons[2];
  undo_help_btn = buttons[3];
}
