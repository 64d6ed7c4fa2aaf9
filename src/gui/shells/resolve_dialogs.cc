// checked_out_file_dlg, checkin_comment_dlg and their modal base.
#include "gui/shells/resolve_dialogs.h"

#include <Xm/Xm.h>

#include <cstdio>

#include "gui/kes_gui.h"
#include "gui/kes_gui_debug.h"

modal_form_dialog_c::modal_form_dialog_c(const char *name, const char *title,
                                         const char *help_topic, int closed)
    : form_dialog_c(name, title, help_topic), closed_result(closed) {
  XtVaSetValues(form, XmNdialogStyle, XmDIALOG_FULL_APPLICATION_MODAL, nullptr);
  XtAddCallback(dialog_shell, XmNpopdownCallback, popdown_callback, this);
}

int modal_form_dialog_c::run() {
  result = -1;
  form_dialog_c::show();
  XtAppContext app = get_app_context();
  while (result < 0) XtAppProcessEvent(app, XtIMAll);
  if (is_shown()) hide();
  return result;
}

void modal_form_dialog_c::button(int index) {
  result = index;
  hide();
}

void modal_form_dialog_c::popdown_callback(Widget, XtPointer client, XtPointer) {
  auto *self = static_cast<modal_form_dialog_c *>(client);
  if (self->result < 0) self->result = self->closed_result;
}

checked_out_file_dlg::checked_out_file_dlg()
    : modal_form_dialog_c("checked_out_file_dlg", GUI_MSG("Lathe Weaving: Checked Out File"),
                          "resolve", SKIP) {
  file_label = add_label("checked_out_file", "");
  add_label("comment_caption", GUI_MSG("Check-in comment:"));
  comment_text = add_text("checked_out_comment", 4, True);
  const char *buttons[] = {"Check In", "Uncheck Out", "Skip", "Help"};
  add_buttons(buttons, 4);
}

int checked_out_file_dlg::show(const char *file, std::string *comment) {
  char text[2048];
  snprintf(text, sizeof text, GUI_MSG("File \"%s\" is checked out."), file);
  set_label(file_label, text);
  set_text(comment_text, "");
  int answer = run();
  *comment = text_of(comment_text);
  gui_debug("checked out %s: %d", file, answer);
  return answer;
}

checkin_comment_dlg::checkin_comment_dlg()
    : modal_form_dialog_c("checkin_comment_dlg", GUI_MSG("Lathe Weaving: Checkin Comment"),
                          "resolve", 1) {
  file_label = add_label("checkin_file", "");
  comment_text = add_text("checkin_comment", 6, True);
  const char *buttons[] = {"OK", "Cancel", "Help"};
  add_buttons(buttons, 3);
}

int checkin_comment_dlg::show(const char *file, std::string *comment) {
  char text[2048];
  snprintf(text, sizeof text, GUI_MSG("Check-in comment for %s:"), file);
  set_label(file_label, text);
  set_text(comment_text, comment->c_str());
  int answer = run();
  if (answer != 0) return 0;
  *comment = text_of(comment_text);
  return 1;
}
