// Kes_gui_action_select_dlg: the modal question that follows a drag between two
// workspaces that are not parent and child: which of two transactions to set up.
#ifndef BRINDLE_GUI_SHELLS_ACTION_SELECT_DLG_H
#define BRINDLE_GUI_SHELLS_ACTION_SELECT_DLG_H

#include <X11/Intrinsic.h>

#include "gui/shells/main_shell.h"

class Kes_gui_action_select_dlg : public xd_XtWidget_c {
public:
  // The two choices' labels, the first chosen at the start.
  Kes_gui_action_select_dlg(Widget parent, const char *first, const char *second);
  ~Kes_gui_action_select_dlg() override;
  // Runs a nested event loop until a button is pressed: 0 for the first
  // choice, 1 for the second, 2 for Cancel.
  int ask();

private:
  static void ok_callback(Widget w, XtPointer client, XtPointer call);
  static void cancel_callback(Widget w, XtPointer client, XtPointer call);
  static void help_callback(Widget w, XtPointer client, XtPointer call);

  Widget parent_;
  Widget choices_[2] = {nullptr, nullptr};
  int answer_ = -1;
};

#endif
