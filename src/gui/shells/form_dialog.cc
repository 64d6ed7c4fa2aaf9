// form_dialog_c: building, showing and tracing the tool's dialogs, the modal
// question, help pages through the browser and the field helpers.
#include "gui/shells/form_dialog.h"

#include <Xm/DialogS.h>
#include <Xm/Form.h>
#include <Xm/Label.h>
#include <Xm/List.h>
#include <Xm/MessageB.h>
#include <Xm/PushB.h>
#include <Xm/RowColumn.h>
#include <Xm/Text.h>
#include <Xm/TextF.h>
#include <Xm/ToggleB.h>
#include <Xm/Xm.h>

#include <unistd.h>

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "gui/kes_canvas.h"
#include "gui/kes_gui.h"
#include "gui/kes_gui_debug.h"
#include "gui/kes_gui_stubs.h"
#include "toolkit/modal_dialog.h"
#include "util/kes_err.h"
#include "util/kes_path.h"
#include "util/kes_process.h"
#include "util/kes_quote.h"
#include "workspace/kes_workspace.h"

namespace {

XmString xms(const char *text) { return XmStringCreateLocalized(const_cast<char *>(text)); }

// The part's name: the label's words in lower case joined by "_".
std::string part_name(const char *label) {
  std::string out;
  for (const char *p = label; *p; p++) {
    if (isalnum(static_cast<unsigned char>(*p)))
      out += static_cast<char>(tolower(static_cast<unsigned char>(*p)));
    else if (!out.empty() && out.back() != '_')
      out += '_';
  }
  while (!out.empty() && out.back() == '_') out.pop_back();
  return out;
}

}  // namespace

form_dialog_c::form_dialog_c(const char *dialog_name, const char *title, const char *topic)
    : name(dialog_name), help_topic(topic) {
  Widget parent = get_main_shell()->app_shell;
  XmString t = xms(title);
  form = XmCreateFormDialog(parent, const_cast<char *>(dialog_name), nullptr, 0);
  dialog_shell = XtParent(form);
  xd_widget = form;
  XtVaSetValues(form, XmNdialogTitle, t, XmNautoUnmanage, False, XmNhorizontalSpacing, 6,
                XmNverticalSpacing, 6, nullptr);
  XtVaSetValues(dialog_shell, XmNdeleteResponse, XmUNMAP, nullptr);
  XmStringFree(t);
  XtAddEventHandler(dialog_shell, StructureNotifyMask, False, map_handler, this);
  footer = XtVaCreateManagedWidget("footer", xmLabelWidgetClass, form, XmNalignment,
                                   XmALIGNMENT_BEGINNING, XmNbottomAttachment, XmATTACH_FORM,
                                   XmNleftAttachment, XmATTACH_FORM, XmNrightAttachment,
                                   XmATTACH_FORM, XmNrecomputeSize, False, nullptr);
  set_label(footer, "");
  work = XtVaCreateManagedWidget("work", xmRowColumnWidgetClass, form, XmNorientation,
                                 XmVERTICAL, XmNtopAttachment, XmATTACH_FORM, XmNleftAttachment,
                                 XmATTACH_FORM, XmNrightAttachment, XmATTACH_FORM, nullptr);
  into = work;
}

form_dialog_c::~form_dialog_c() {
  if (dialog_shell) XtDestroyWidget(dialog_shell);
}

void form_dialog_c::map_handler(Widget w, XtPointer client, XEvent *event, Boolean *) {
  if (event->type != MapNotify || !gui_debug_on()) return;
  auto *self = static_cast<form_dialog_c *>(client);
  // The parts' places are final once the shell is on the screen.
  XSync(XtDisplay(w), False);
  gui_trace_places(self->form);
  gui_debug("window %s %lu", self->name.c_str(), static_cast<unsigned long>(XtWindow(w)));
  gui_debug("mapped %s", self->name.c_str());
}

void form_dialog_c::show() {
  shown = 1;
  XtManageChild(form);
  XtPopup(dialog_shell, XtGrabNone);
  XRaiseWindow(XtDisplay(dialog_shell), XtWindow(dialog_shell));
}

void form_dialog_c::hide() {
  shown = 0;
  XtUnmanageChild(form);
  gui_debug("closed %s", name.c_str());
}

void form_dialog_c::set_footer(const char *text) {
  set_label(footer, text ? text : "");
  gui_debug("footer %s %s", name.c_str(), text ? text : "");
}

Widget form_dialog_c::add_row(const char *part, const char *label) {
  Widget row = XtVaCreateManagedWidget(part, xmRowColumnWidgetClass, into, XmNorientation,
                                       XmHORIZONTAL, XmNpacking, XmPACK_TIGHT, nullptr);
  if (label && *label) {
    Widget l = XtVaCreateManagedWidget("label", xmLabelWidgetClass, row, nullptr);
    set_label(l, label);
  }
  return row;
}

Widget form_dialog_c::add_field(const char *part, const char *label, int dots) {
  Widget row = add_row((std::string(part) + "_row").c_str(), label);
  Widget field = XtVaCreateManagedWidget(part, xmTextFieldWidgetClass, row, XmNcolumns, 40,
                                         nullptr);
  if (dots) {
    Widget b = XtVaCreateManagedWidget((std::string(part) + "_dots").c_str(),
                                       xmPushButtonWidgetClass, row, nullptr);
    set_label(b, ". . .");
    XtAddCallback(b, XmNactivateCallback, dots_callback, field);
  }
  return field;
}

Widget form_dialog_c::add_toggle(Widget row, const char *part, const char *label) {
  Widget t = XtVaCreateManagedWidget(part, xmToggleButtonWidgetClass, parent_for(row), nullptr);
  set_label(t, label);
  return t;
}

void form_dialog_c::add_radio(const char *part, const char *label, const char *const *choices,
                              int n, Widget *out) {
  Widget row = add_row((std::string(part) + "_row").c_str(), label);
  Widget box = XmCreateRadioBox(row, const_cast<char *>(part), nullptr, 0);
  XtVaSetValues(box, XmNorientation, XmHORIZONTAL, nullptr);
  for (int i = 0; i < n; i++) {
    out[i] = XtVaCreateManagedWidget((std::string(part) + "_" + part_name(choices[i])).c_str(), xmToggleButtonWidgetClass,
                                     box, XmNset, i == 0, nullptr);
    set_label(out[i], choices[i]);
  }
  XtManageChild(box);
}

Widget form_dialog_c::add_label(const char *part, const char *text) {
  Widget l = XtVaCreateManagedWidget(part, xmLabelWidgetClass, into, XmNalignment,
                                     XmALIGNMENT_BEGINNING, nullptr);
  set_label(l, text);
  return l;
}

Widget form_dialog_c::add_list(const char *part, int rows, int browse) {
  Arg args[3];
  XtSetArg(args[0], XmNvisibleItemCount, rows);
  XtSetArg(args[1], XmNselectionPolicy, browse ? XmBROWSE_SELECT : XmEXTENDED_SELECT);
  XtSetArg(args[2], XmNscrollBarDisplayPolicy, XmSTATIC);
  Widget list = XmCreateScrolledList(into, const_cast<char *>(part), args, 3);
  XtManageChild(list);
  return list;
}

Widget form_dialog_c::add_text(const char *part, int rows, int editable) {
  Arg args[4];
  XtSetArg(args[0], XmNrows, rows);
  XtSetArg(args[1], XmNcolumns, 60);
  XtSetArg(args[2], XmNeditMode, XmMULTI_LINE_EDIT);
  XtSetArg(args[3], XmNeditable, editable);
  Widget text = XmCreateScrolledText(into, const_cast<char *>(part), args, 4);
  XtManageChild(text);
  return text;
}

void form_dialog_c::add_buttons(const char *const *labels, int n) {
  Widget row = XtVaCreateManagedWidget(
      "buttons", xmRowColumnWidgetClass, form, XmNorientation, XmHORIZONTAL, XmNpacking,
      XmPACK_COLUMN, XmNentryAlignment, XmALIGNMENT_CENTER, XmNleftAttachment, XmATTACH_FORM,
      XmNrightAttachment, XmATTACH_FORM, XmNbottomAttachment, XmATTACH_WIDGET, XmNbottomWidget,
      footer, nullptr);
  XtVaSetValues(work, XmNbottomAttachment, XmATTACH_WIDGET, XmNbottomWidget, row, nullptr);
  for (int i = 0; i < n; i++) {
    Widget b = XtVaCreateManagedWidget(part_name(labels[i]).c_str(), xmPushButtonWidgetClass, row,
                                       XmNuserData, reinterpret_cast<XtPointer>(static_cast<intptr_t>(i)), nullptr);
    set_label(b, labels[i]);
    XtAddCallback(b, XmNactivateCallback, button_callback, this);
  }
}

Widget form_dialog_c::begin_page(const char *part) {
  into = XtVaCreateWidget(part, xmRowColumnWidgetClass, work, XmNorientation, XmVERTICAL, nullptr);
  return into;
}

void form_dialog_c::show_page(Widget page) {
  WidgetList kids = nullptr;
  Cardinal n = 0;
  XtVaGetValues(work, XmNchildren, &kids, XmNnumChildren, &n, nullptr);
  for (Cardinal i = 0; i < n; i++)
    if (XtIsSubclass(kids[i], xmRowColumnWidgetClass) && kids[i] != page &&
        strstr(XtName(kids[i]), "_page"))
      XtUnmanageChild(kids[i]);
  XtManageChild(page);
  if (shown && XtIsRealized(form)) {
    XSync(XtDisplay(form), False);
    gui_trace_places(form);
    gui_debug("page %s %s", name.c_str(), XtName(page));
  }
}

Widget form_dialog_c::add_action(Widget row, const char *part, const char *label, int n) {
  Widget b = XtVaCreateManagedWidget(part, xmPushButtonWidgetClass, parent_for(row), XmNuserData,
                                     reinterpret_cast<XtPointer>(static_cast<intptr_t>(n)),
                                     nullptr);
  set_label(b, label);
  XtAddCallback(b, XmNactivateCallback, action_callback, this);
  return b;
}

void form_dialog_c::action_callback(Widget w, XtPointer client, XtPointer) {
  auto *self = static_cast<form_dialog_c *>(client);
  XtPointer data = nullptr;
  XtVaGetValues(w, XmNuserData, &data, nullptr);
  gui_debug("button %s.%s", self->name.c_str(), XtName(w));
  self->action(static_cast<int>(reinterpret_cast<intptr_t>(data)));
}

void form_dialog_c::button_callback(Widget w, XtPointer client, XtPointer) {
  auto *self = static_cast<form_dialog_c *>(client);
  XtPointer data = nullptr;
  XtVaGetValues(w, XmNuserData, &data, nullptr);
  const int index = static_cast<int>(reinterpret_cast<intptr_t>(data));
  gui_debug("button %s.%s", self->name.c_str(), XtName(w));
  if (strcmp(XtName(w), "help") == 0) {
    gui_help_topic(self->help_topic.c_str());
    return;
  }
  self->button(index);
}

void form_dialog_c::dots_callback(Widget, XtPointer client, XtPointer) {
  std::string ws = selected_ws_path();
  if (!ws.empty()) set_text(static_cast<Widget>(client), ws.c_str());
}

std::string form_dialog_c::text_of(Widget field) {
  char *v = XtIsSubclass(field, xmTextFieldWidgetClass) ? XmTextFieldGetString(field)
                                                          : XmTextGetString(field);
  std::string s = v ? v : "";
  XtFree(v);
  return s;
}

void form_dialog_c::set_text(Widget field, const char *text) {
  gui_debug("text %s %s", XtName(field), text ? text : "");
  if (XtIsSubclass(field, xmTextFieldWidgetClass))
    XmTextFieldSetString(field, const_cast<char *>(text ? text : ""));
  else
    XmTextSetString(field, const_cast<char *>(text ? text : ""));
}

void form_dialog_c::set_label(Widget label, const char *text) {
  XmString s = xms(text);
  XtVaSetValues(label, XmNlabelString, s, nullptr);
  XmStringFree(s);
}

int form_dialog_c::radio_index(const Widget *radios, int n) {
  for (int i = 0; i < n; i++)
    if (XmToggleButtonGetState(radios[i])) return i;
  return -1;
}

void form_dialog_c::set_radio(const Widget *radios, int n, int index) {
  for (int i = 0; i < n; i++) XmToggleButtonSetState(radios[i], i == index, False);
}

int ask_question(const char *title, const char *text) {
  return show_message(get_main_shell()->app_shell, title, text,
                      MODAL_QUESTION | MODAL_YES | MODAL_NO) == MODAL_YES;
}

void gui_help_topic(const char *topic) {
  char *run_dir = nullptr;
  delete kes_find_run_dir(&run_dir);
  char page[1024];
  snprintf(page, sizeof page, "%s/../share/brindle/help/%s.html", run_dir ? run_dir : ".", topic);
  char real[1024];
  if (realpath(page, real)) snprintf(page, sizeof page, "%s", real);
  std::string command = std::string("xdg-open ") + shell_escape(page) + " >/dev/null 2>&1 &";
  gui_debug("command %s", command.c_str());
  if (access(page, R_OK) != 0 || system(command.c_str()) != 0) {
    char text[1200];
    snprintf(text, sizeof text, GUI_MSG("Cannot show the help page %s"), page);
    if (Kes_gui *gui = get_gui()) gui->print_footer(KES_GUI_LEFT_FOOTER, text);
  }
}

std::string selected_ws_path() {
  Kes_gui *gui = get_gui();
  if (!gui) return "";
  std::unique_ptr<Kes_wslist> sel(gui->get_canvas()->get_selected_workspaces());
  if (sel->count != 1) return "";
  return static_cast<Kes_workspace *>(sel->head.next->data)->wsname;
}

std::string absolute_path(const std::string &text) {
  size_t b = text.find_first_not_of(" \t"), e = text.find_last_not_of(" \t");
  if (b == std::string::npos) return "";
  std::string t = text.substr(b, e - b + 1);
  char buf[1024];
  return kes_fully_qualify(t.c_str(), buf) ? buf : t;
}

void gui_stubs_help() { gui_help_topic("index"); }

void gui_stubs_about() {
  char text[1024];
  snprintf(text, sizeof text,
           GUI_MSG("Brindletool %s\n\nWorkspaces of SCCS history files, drawn as a forest.\n"
                   "Changes travel between parent and child by bringover and putback."),
           kes_gui_version);
  show_message(get_main_shell()->app_shell, GUI_MSG("About Brindletool"), text,
               MODAL_INFORMATION | MODAL_OK);
}
