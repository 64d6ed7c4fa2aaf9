// The resolve pane's two modal dialogs: checked_out_file_dlg, for a file in
// conflict that the user has checked out (check it in, uncheck it out, or skip
// it), and checkin_comment_dlg, which asks for the comment of a check-in with
// a multi-line text that starts with the default comment.
//
// Both run a local event loop until a button is pressed; closing the window
// counts as Skip or Cancel.
#ifndef BRINDLE_GUI_SHELLS_RESOLVE_DIALOGS_H
#define BRINDLE_GUI_SHELLS_RESOLVE_DIALOGS_H

#include <string>

#include "gui/shells/form_dialog.h"

// A form dialog that blocks the tool's other windows while it is up.
class modal_form_dialog_c : public form_dialog_c {
public:
  modal_form_dialog_c(const char *name, const char *title, const char *help_topic,
                      int closed_result);
  // Pops up, waits for a button, pops down: the button's result.
  int run();

protected:
  void button(int index) override;  // the index is the result

private:
  static void popdown_callback(Widget w, XtPointer client, XtPointer call);
  int result = -1;
  int closed_result;
};

class checked_out_file_dlg : public modal_form_dialog_c {
public:
  enum { CHECK_IN = 0, UNCHECK_OUT = 1, SKIP = 2 };
  checked_out_file_dlg();
  // The user's choice for the file (its name relative to the workspace);
  // with CHECK_IN, the comment typed.
  int show(const char *file, std::string *comment);

private:
  Widget file_label, comment_text;
};

class checkin_comment_dlg : public modal_form_dialog_c {
public:
  checkin_comment_dlg();
  // The comment for the file, starting from the default: 1 with the user's
  // text in comment, 0 when cancelled.
  int show(const char *file, std::string *comment);

private:
  Widget file_label, comment_text;
};

#endif
