// Kes_gui_action_select_dlg: two radio buttons with OK, Cancel and Help.
#include "gui/shells/action_select_dlg.h"

#include <Xm/MessageB.h>
#include <Xm/RowColumn.h>
#include <Xm/ToggleB.h>
#include <Xm/Xm.h>

#include "gui/kes_gui.h"
#include "gui/kes_gui_debug.h"
#include "gui/kes_gui_stubs.h"
#include "gui/shells/form_dialog.h"

Kes_gui_action_select_dlg::Kes_gui_action_select_dlg(Widget parent, const char *first,
                                                     const char *second)
    : parent_(parent) {
  XmString title = XmStringCreateLocalized(const_cast<char *>(GUI_MSG("Lathe Weaving: Select Action")));
  xd_widget = XmCreateMessageDialog(parent, const_cast<char *>("action_select_dlg"), nullptr, 0);
  XtVaSetValues(xd_widget, XmNdialogType, XmDIALOG_QUESTION, XmNdialogStyle,
                XmDIALOG_FULL_APPLICATION_MODAL, XmNdialogTitle, title, XmNautoUnmanage, False,
                nullptr);
  XmStringFree(title);
  Widget radio = XmCreateRadioBox(xd_widget, const_cast<char *>("action_radio"), nullptr, 0);
  const char *labels[2] = {first, second};
  for (int i = 0; i < 2; i++) {
    XmString label = XmStringCreateLocalized(const_cast<char *>(labels[i]));
    choices_[i] = XtVaCreateManagedWidget(i == 0 ? "first_action" : "second_action",
                                          xmToggleButtonWidgetClass, radio, XmNlabelString, label,
                                          XmNset, i == 0, nullptr);
    XmStringFree(label);
  }
  XtManageChild(radio);
  XtAddCallback(xd_widget, XmNokCallback, ok_callback, this);
  XtAddCallback(xd_widget, XmNcancelCallback, cancel_callback, this);
  XtAddCallback(xd_widget, XmNhelpCallback, help_callback, this);
  XtAddCallback(xd_widget, XmNunmapCallback, cancel_callback, this);
  gui_debug("dialog %s: %s | %s", GUI_MSG("Lathe Weaving: Select Action"), first, second);
}

Kes_gui_action_select_dlg::~Kes_gui_action_select_dlg() {
  XtRemoveCallback(xd_widget, XmNunmapCallback, cancel_callback, this);
  XtDestroyWidget(XtParent(xd_widget));
}

int Kes_gui_action_select_dlg::ask() {
  answer_ = -1;
  gui_set_busy(1);
  XtManageChild(xd_widget);
  while (answer_ < 0) XtAppProcessEvent(XtWidgetToApplicationContext(parent_), XtIMAll);
  XtUnmanageChild(xd_widget);
  gui_set_busy(0);
  gui_debug("dialog %s closed: answer %d", GUI_MSG("Lathe Weaving: Select Action"), answer_);
  return answer_;
}

void Kes_gui_action_select_dlg::ok_callback(Widget, XtPointer client, XtPointer) {
  auto *self = static_cast<Kes_gui_action_select_dlg *>(client);
  self->answer_ = XmToggleButtonGetState(self->choices_[1]) ? 1 : 0;
}

void Kes_gui_action_select_dlg::cancel_callback(Widget, XtPointer client, XtPointer) {
  auto *self = static_cast<Kes_gui_action_select_dlg *>(client);
  if (self->answer_ < 0) self->answer_ = 2;
}

void Kes_gui_action_select_dlg::help_callback(Widget, XtPointer, XtPointer) {
  gui_help_topic("index");
}
