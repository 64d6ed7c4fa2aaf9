// modal_dialog, a message box that waits for its answer; show_message, the
// one-shot form; selection_prompt_dialog, a question with a text field; and
// the busy cursor that both put on the window they stand over.
//
// A dialog runs a nested event loop (XtAppProcessEvent) until a button sets
// the answer, with the wait cursor on its parent.  The first button is the
// default (Return), the last one answers Escape and a close by the window
// manager.  Each question and its answer go to the toolkit's trace as
// "dialog TITLE: TEXT" and "dialog TITLE closed: LABEL".
#ifndef BRINDLE_TOOLKIT_MODAL_DIALOG_H
#define BRINDLE_TOOLKIT_MODAL_DIALOG_H

#include <X11/Intrinsic.h>

// The flags of show: one type in the low six bits, and the buttons.
enum {
  MODAL_ERROR = 1,
  MODAL_INFORMATION = 2,
  MODAL_MESSAGE = 4,
  MODAL_QUESTION = 8,
  MODAL_WARNING = 16,
  MODAL_WORKING = 32,
  MODAL_OK = 64,
  MODAL_YES = 128,
  MODAL_NO = 256,
  MODAL_CANCEL = 512,
};

class modal_dialog {
public:
  explicit modal_dialog(Widget parent) : parent_(parent) {}
  modal_dialog(const modal_dialog &) = delete;
  modal_dialog &operator=(const modal_dialog &) = delete;

  // Answers the bit of the button pressed, or -1 for flags without exactly
  // one type or without a button.  A help button shows only with a topic.
  int show(const char *title, const char *message, int flags, const char *help_topic = nullptr);
  // Buttons with these labels (one to three), left to right; answers the
  // index of the one pressed.  type is one of the type bits.
  int show(const char *title, const char *message, int type, const char *const *labels, int count,
           const char *help_topic = nullptr);
  // What help buttons call, here and in the choosers; nothing by default.
  static void set_help_proc(void (*proc)(const char *topic));
  static void help(const char *topic);

private:
  static void answer_callback(Widget w, XtPointer client, XtPointer call);
  static void help_callback(Widget w, XtPointer client, XtPointer call);
  static void closed_callback(Widget w, XtPointer client, XtPointer call);

  Widget parent_;
  int answer_ = -1;
  int last_ = 0;
};

// One question, made, shown and destroyed; answers as modal_dialog::show.
int show_message(Widget parent, const char *title, const char *message, int flags,
                 const char *help_topic = nullptr);

// A prompt with a text field that starts with buf.  OK copies the text into
// buf (size bytes) and answers 1; Cancel answers 0 and leaves buf alone.
int selection_prompt_dialog(Widget parent, const char *title, const char *label, char *buf,
                            int size);

// The wait cursor on the shell of w; calls nest per shell, so a dialog over a
// busy window leaves it busy.
void ss_set_busy_cursor(Widget w, int busy);

#endif
