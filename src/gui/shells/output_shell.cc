// output_shell_c: the transaction output window, its text, status line and menus.
#include <Xm/CascadeB.h>
#include <Xm/Form.h>
#include <Xm/Label.h>
#include <Xm/MainW.h>
#include <Xm/PushB.h>
#include <Xm/RowColumn.h>
#include <Xm/Text.h>
#include <Xm/Xm.h>
#include <X11/Shell.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "gui/kes_gui_debug.h"
#include "gui/shells/trans_shell.h"
#include "toolkit/modal_dialog.h"

namespace {

XmString make_string(const char *text) { return XmStringCreateLocalized(const_cast<char *>(text)); }

void report_save(output_shell_c *out, const char *file) {
  int err = out->save(file);
  char text[1400];
  if (err)
    snprintf(text, sizeof text, GUI_MSG("Could not save the output in %s: %s"), file,
             strerror(err));
  else
    snprintf(text, sizeof text, GUI_MSG("Output saved in %s"), file);
  out->set_status(text);
  gui_debug("output status %s", text);
}

void save_as_callback(Widget, XtPointer client, XtPointer) {
  auto *out = static_cast<output_shell_c *>(client);
  char file[1024];
  snprintf(file, sizeof file, "%s", out->file_name.c_str());
  if (!selection_prompt_dialog(out->shell, GUI_MSG("Lathe Weaving: Save Output"),
                               GUI_MSG("Save the output in the file:"), file, sizeof file) ||
      !*file)
    return;
  out->file_name = file;
  report_save(out, file);
}

void save_callback(Widget w, XtPointer client, XtPointer call) {
  auto *out = static_cast<output_shell_c *>(client);
  if (out->file_name.empty())
    save_as_callback(w, client, call);
  else
    report_save(out, out->file_name.c_str());
}

void clear_callback(Widget, XtPointer client, XtPointer) {
  static_cast<output_shell_c *>(client)->clear();
}

void close_callback(Widget, XtPointer client, XtPointer) {
  XtPopdown(static_cast<output_shell_c *>(client)->shell);
}

Widget menu(Widget bar, const char *name, const char *label) {
  Widget pulldown = XmCreatePulldownMenu(bar, const_cast<char *>(name), nullptr, 0);
  XmString s = make_string(GUI_MSG(label));
  XtVaCreateManagedWidget((std::string(name) + "_cascade").c_str(), xmCascadeButtonWidgetClass,
                          bar, XmNsubMenuId, pulldown, XmNlabelString, s, nullptr);
  XmStringFree(s);
  return pulldown;
}

Widget entry(Widget menu, const char *name, const char *label, XtCallbackProc proc,
             XtPointer data) {
  XmString s = make_string(GUI_MSG(label));
  Widget w = XtVaCreateManagedWidget(name, xmPushButtonWidgetClass, menu, XmNlabelString, s,
                                     nullptr);
  XmStringFree(s);
  XtAddCallback(w, XmNactivateCallback, proc, data);
  return w;
}

}  // namespace

output_shell_c::~output_shell_c() {
  if (shell) XtDestroyWidget(shell);
}

void output_shell_c::create(Widget parent) {
  shell = XtVaCreatePopupShell("output_shell", topLevelShellWidgetClass, parent, XmNtitle,
                               GUI_MSG("Lathe Weaving: Transaction Output"), XmNdeleteResponse,
                               XmUNMAP, XmNx, 0, XmNy, 640, XmNwidth, 860, XmNheight, 360,
                               nullptr);
  xd_widget = shell;
  Widget main = XtVaCreateManagedWidget("output_main", xmMainWindowWidgetClass, shell, nullptr);
  Widget bar = XmCreateMenuBar(main, const_cast<char *>("output_menu_bar"), nullptr, 0);
  Widget file = menu(bar, "output_file", "File");
  entry(file, "output_save_btn", "Save", save_callback, this);
  entry(file, "output_save_as_btn", "Save As...", save_as_callback, this);
  Widget edit = menu(bar, "output_edit", "Edit");
  entry(edit, "output_clear_btn", "Clear", clear_callback, this);
  XtManageChild(bar);
  Widget form = XtVaCreateManagedWidget("output_form", xmFormWidgetClass, main, XmNmarginWidth, 4,
                                        XmNmarginHeight, 4, nullptr);
  XmString s = make_string(GUI_MSG("Close"));
  close_btn = XtVaCreateManagedWidget("output_close_btn", xmPushButtonWidgetClass, form,
                                      XmNlabelString, s, XmNbottomAttachment, XmATTACH_FORM,
                                      XmNrightAttachment, XmATTACH_FORM, nullptr);
  XmStringFree(s);
  XtAddCallback(close_btn, XmNactivateCallback, close_callback, this);
  s = make_string(" ");
  output_status = XtVaCreateManagedWidget(
      "output_status", xmLabelWidgetClass, form, XmNlabelString, s, XmNalignment,
      XmALIGNMENT_BEGINNING, XmNrecomputeSize, False, XmNleftAttachment, XmATTACH_FORM,
      XmNrightAttachment, XmATTACH_WIDGET, XmNrightWidget, close_btn, XmNbottomAttachment,
      XmATTACH_FORM, nullptr);
  XmStringFree(s);
  Arg args[3];
  XtSetArg(args[0], XmNeditMode, XmMULTI_LINE_EDIT);
  XtSetArg(args[1], XmNeditable, False);
  XtSetArg(args[2], XmNcursorPositionVisible, False);
  output_text = XmCreateScrolledText(form, const_cast<char *>("output_text"), args, 3);
  XtVaSetValues(XtParent(output_text), XmNtopAttachment, XmATTACH_FORM, XmNleftAttachment,
                XmATTACH_FORM, XmNrightAttachment, XmATTACH_FORM, XmNbottomAttachment,
                XmATTACH_WIDGET, XmNbottomWidget, close_btn, XmNbottomOffset, 4, nullptr);
  XtManageChild(output_text);
  XmMainWindowSetAreas(main, bar, nullptr, nullptr, nullptr, form);
}

void output_shell_c::update_output(const char *text, int length) {
  std::string piece(text, length);
  XmTextInsert(output_text, insertion_point, const_cast<char *>(piece.c_str()));
  insertion_point += static_cast<long>(piece.size());
  XmTextSetInsertionPosition(output_text, insertion_point);
  XmTextShowPosition(output_text, insertion_point);
}

void output_shell_c::set_status(const char *text) {
  XmString s = make_string(text && *text ? text : " ");
  XtVaSetValues(output_status, XmNlabelString, s, nullptr);
  XmStringFree(s);
}

void output_shell_c::clear() {
  XmTextSetString(output_text, const_cast<char *>(""));
  insertion_point = 0;
}

int output_shell_c::save(const char *file) {
  FILE *f = fopen(file, "w");
  if (!f) return errno;
  char *text = XmTextGetString(output_text);
  int err = fputs(text, f) < 0 ? errno : 0;
  XtFree(text);
  if (fclose(f) != 0 && !err) err = errno;
  return err;
}
