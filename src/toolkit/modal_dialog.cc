// modal_dialog, show_message, selection_prompt_dialog and the busy cursor.
#include "toolkit/modal_dialog.h"

#include <Xm/MessageB.h>
#include <Xm/PushB.h>
#include <Xm/SelectioB.h>
#include <Xm/TextF.h>
#include <Xm/Xm.h>
#include <X11/cursorfont.h>

#include <cstdint>
#include <cstdio>
#include <map>

#include "toolkit/ss_trace.h"

namespace {

void (*help_proc)(const char *topic);

XmString make_string(const char *text) { return XmStringCreateLocalized(const_cast<char *>(text)); }

Widget shell_of(Widget w) {
  while (w && !XtIsShell(w)) w = XtParent(w);
  return w;
}

// Runs the loop until *answer is set; the dialog is managed by the caller.
void wait_for_answer(Widget parent, const int *answer) {
  ss_set_busy_cursor(parent, 1);
  XtAppContext app = XtWidgetToApplicationContext(parent);
  while (*answer < 0) XtAppProcessEvent(app, XtIMAll);
  ss_set_busy_cursor(parent, 0);
}

}  // namespace

void ss_set_busy_cursor(Widget w, int busy) {
  static std::map<Widget, int> depth;
  static Cursor watch = None;
  Widget shell = shell_of(w);
  if (!shell) return;
  int &d = depth[shell];
  d = busy ? d + 1 : (d > 0 ? d - 1 : 0);
  if (!XtIsRealized(shell)) return;
  if (watch == None) watch = XCreateFontCursor(XtDisplay(shell), XC_watch);
  XDefineCursor(XtDisplay(shell), XtWindow(shell), d ? watch : None);
  XFlush(XtDisplay(shell));
}

void modal_dialog::set_help_proc(void (*proc)(const char *topic)) { help_proc = proc; }

void modal_dialog::help(const char *topic) {
  if (help_proc) help_proc(topic);
}

int modal_dialog::show(const char *title, const char *message, int flags, const char *help_topic) {
  static const int kTypes[] = {MODAL_ERROR,    MODAL_INFORMATION, MODAL_MESSAGE,
                               MODAL_QUESTION, MODAL_WARNING,     MODAL_WORKING};
  int type = flags & 63;
  int known = 0;
  for (int t : kTypes) known += type == t;
  if (!known) return -1;
  static const struct {
    int bit;
    const char *label;
  } kButtons[] = {{MODAL_OK, "OK"}, {MODAL_YES, "Yes"}, {MODAL_NO, "No"}, {MODAL_CANCEL, "Cancel"}};
  const char *labels[4];
  int bits[4];
  int count = 0;
  for (const auto &b : kButtons)
    if (flags & b.bit) {
      labels[count] = SS_MSG(b.label);
      bits[count++] = b.bit;
    }
  if (count == 0 || count > 3) return -1;
  int index = show(title, message, type, labels, count, help_topic);
  return bits[index];
}

int modal_dialog::show(const char *title, const char *message, int type,
                       const char *const *labels, int count, const char *help_topic) {
  static const struct {
    int bit;
    unsigned char kind;
  } kKinds[] = {{MODAL_ERROR, XmDIALOG_ERROR},       {MODAL_INFORMATION, XmDIALOG_INFORMATION},
                {MODAL_MESSAGE, XmDIALOG_MESSAGE},   {MODAL_QUESTION, XmDIALOG_QUESTION},
                {MODAL_WARNING, XmDIALOG_WARNING},   {MODAL_WORKING, XmDIALOG_WORKING}};
  unsigned char kind = XmDIALOG_MESSAGE;
  for (const auto &k : kKinds)
    if (k.bit == type) kind = k.kind;
  if (count < 1) count = 1;
  if (count > 3) count = 3;
  SSTrace("dialog %s: %s", title, message);

  // Without the box's own unmanaging, which would run before the buttons'
  // callbacks and look like a close by the window manager.
  Arg no_auto[1];
  XtSetArg(no_auto[0], XmNautoUnmanage, False);
  Widget box = XmCreateMessageDialog(parent_, const_cast<char *>("modal_dialog"), no_auto, 1);
  XmString text = make_string(message), heading = make_string(title);
  XtVaSetValues(box, XmNdialogType, kind, XmNdialogStyle, XmDIALOG_FULL_APPLICATION_MODAL,
                XmNmessageString, text, XmNdialogTitle, heading, nullptr);
  XmStringFree(text);
  XmStringFree(heading);
  // The first label on OK, the last on Cancel (Escape), a third between them.
  Widget buttons[3] = {XmMessageBoxGetChild(box, XmDIALOG_OK_BUTTON), nullptr,
                       XmMessageBoxGetChild(box, XmDIALOG_CANCEL_BUTTON)};
  if (count == 3)
    buttons[1] = XtVaCreateManagedWidget("middle_button", xmPushButtonWidgetClass, box, nullptr);
  if (count == 1) XtUnmanageChild(buttons[2]);
  Widget order[3] = {buttons[0], count == 3 ? buttons[1] : buttons[2], buttons[2]};
  for (int i = 0; i < count; i++) {
    XmString label = make_string(labels[i]);
    XtVaSetValues(order[i], XmNlabelString, label, XmNuserData, reinterpret_cast<XtPointer>(static_cast<intptr_t>(i)), nullptr);
    XmStringFree(label);
    XtAddCallback(order[i], XmNactivateCallback, answer_callback, this);
  }
  Widget help = XmMessageBoxGetChild(box, XmDIALOG_HELP_BUTTON);
  if (help_topic)
    XtAddCallback(help, XmNactivateCallback, help_callback, const_cast<char *>(help_topic));
  else
    XtUnmanageChild(help);
  answer_ = -1;
  last_ = count - 1;
  XtAddCallback(box, XmNunmapCallback, closed_callback, this);
  XtManageChild(box);
  wait_for_answer(parent_, &answer_);
  XtRemoveCallback(box, XmNunmapCallback, closed_callback, this);
  XtDestroyWidget(XtParent(box));
  SSTrace("dialog %s closed: %s", title, labels[answer_]);
  return answer_;
}

void modal_dialog::answer_callback(Widget w, XtPointer client, XtPointer) {
  auto *self = static_cast<modal_dialog *>(client);
  XtPointer index = nullptr;
  XtVaGetValues(w, XmNuserData, &index, nullptr);
  if (self->answer_ < 0) self->answer_ = static_cast<int>(reinterpret_cast<intptr_t>(index));
}

void modal_dialog::help_callback(Widget, XtPointer client, XtPointer) {
  help(static_cast<const char *>(client));
}

void modal_dialog::closed_callback(Widget, XtPointer client, XtPointer) {
  auto *self = static_cast<modal_dialog *>(client);
  if (self->answer_ < 0) self->answer_ = self->last_;
}

int show_message(Widget parent, const char *title, const char *message, int flags,
                 const char *help_topic) {
  modal_dialog dialog(parent);
  return dialog.show(title, message, flags, help_topic);
}

namespace {

struct Prompt {
  int answer = -1;
  char *buf;
  int size;
};

void prompt_ok(Widget w, XtPointer client, XtPointer) {
  auto *p = static_cast<Prompt *>(client);
  char *text = XmTextFieldGetString(XmSelectionBoxGetChild(w, XmDIALOG_TEXT));
  snprintf(p->buf, p->size, "%s", text);
  XtFree(text);
  p->answer = 1;
}

void prompt_cancel(Widget, XtPointer client, XtPointer) {
  auto *p = static_cast<Prompt *>(client);
  if (p->answer < 0) p->answer = 0;
}

}  // namespace

int selection_prompt_dialog(Widget parent, const char *title, const char *label, char *buf,
                            int size) {
  SSTrace("dialog %s: %s", title, label);
  Arg no_auto[1];
  XtSetArg(no_auto[0], XmNautoUnmanage, False);
  Widget box = XmCreatePromptDialog(parent, const_cast<char *>("prompt_dialog"), no_auto, 1);
  XmString heading = make_string(title), question = make_string(label), value = make_string(buf);
  XtVaSetValues(box, XmNdialogStyle, XmDIALOG_FULL_APPLICATION_MODAL, XmNdialogTitle, heading,
                XmNselectionLabelString, question, XmNtextString, value, nullptr);
  XmStringFree(heading);
  XmStringFree(question);
  XmStringFree(value);
  XtUnmanageChild(XmSelectionBoxGetChild(box, XmDIALOG_HELP_BUTTON));
  Prompt p;
  p.buf = buf;
  p.size = size;
  XtAddCallback(box, XmNokCallback, prompt_ok, &p);
  XtAddCallback(box, XmNcancelCallback, prompt_cancel, &p);
  XtAddCallback(box, XmNunmapCallback, prompt_cancel, &p);
  XtManageChild(box);
  wait_for_answer(parent, &p.answer);
  XtRemoveCallback(box, XmNunmapCallback, prompt_cancel, &p);
  XtDestroyWidget(XtParent(box));
  SSTrace("dialog %s closed: %s", title, p.answer ? "OK" : "Cancel");
  return p.answer;
}
