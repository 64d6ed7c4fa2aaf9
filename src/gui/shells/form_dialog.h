// form_dialog_c, the base of the tool's own dialogs: a dialog shell over the
// main window with a column of labelled parts, a row of buttons and a footer,
// made on first use and then only popped up and down.
//
// A subclass builds its parts with the add_ helpers in its constructor, then
// calls add_buttons; a press of a button calls button(index).  The Help button
// opens the dialog's page of the help (gui_help_topic).  With the debug trace
// on, every named part's place on the screen is traced when the dialog maps
// (the "place" lines of gui_trace_places), so that stories can aim at it, and footers
// are traced as "footer DIALOG text".
#ifndef BRINDLE_GUI_SHELLS_FORM_DIALOG_H
#define BRINDLE_GUI_SHELLS_FORM_DIALOG_H

#include <X11/Intrinsic.h>

#include <string>

#include "gui/shells/main_shell.h"

class form_dialog_c : public xd_XtWidget_c {
public:
  // name names the shell's widgets and the trace lines; help_topic the page.
  form_dialog_c(const char *name, const char *title, const char *help_topic);
  ~form_dialog_c() override;

  void show();
  void hide();
  int is_shown() const { return shown; }
  void set_footer(const char *text);
  const char *get_name() const { return name.c_str(); }

  // A labelled one-line text field, with a ". . ." button when dots is set
  // (it fills the field with the canvas's selected workspace).
  Widget add_field(const char *part, const char *label, int dots = 0);
  // A labelled row to put toggles or radio buttons in.
  Widget add_row(const char *part, const char *label);
  Widget add_toggle(Widget row, const char *part, const char *label);
  // Radio buttons in a row; choices[i] gets widget out[i], the first set.
  void add_radio(const char *part, const char *label, const char *const *choices, int n,
                 Widget *out);
  Widget add_label(const char *part, const char *text);
  // A scrolled list of visible rows; browse picks one, else several.
  Widget add_list(const char *part, int rows, int browse = 0);
  Widget add_text(const char *part, int rows, int editable);
  void add_buttons(const char *const *labels, int n);
  // Parts made from here on go into a new page (a column in the work area)
  // until the next begin_page; show_page shows one page and hides the rest.
  Widget begin_page(const char *part);
  void show_page(Widget page);

  // A push button in row (a row of add_row) whose press calls action(n).
  Widget add_action(Widget row, const char *part, const char *label, int n);

  virtual void button(int index) = 0;
  virtual void action(int) {}

  static std::string text_of(Widget field);
  static void set_text(Widget field, const char *text);
  static void set_label(Widget label, const char *text);
  static int radio_index(const Widget *radios, int n);
  static void set_radio(const Widget *radios, int n, int index);

protected:
  Widget dialog_shell = nullptr;
  Widget form = nullptr;
  Widget work = nullptr;
  Widget footer = nullptr;
  Widget into = nullptr;  // where the add_ helpers put parts: work or a page
  Widget parent_for(Widget row) const { return row ? row : into; }

private:
  static void button_callback(Widget w, XtPointer client, XtPointer call);
  static void action_callback(Widget w, XtPointer client, XtPointer call);
  static void dots_callback(Widget w, XtPointer client, XtPointer call);
  static void map_handler(Widget w, XtPointer client, XEvent *event, Boolean *cont);
  std::string name;
  std::string help_topic;
  int shown = 0;
};

// A modal question with Yes and No over the main window: 1 for Yes.
int ask_question(const char *title, const char *text);
// The help page of topic (its file name without ".html") in the user's browser,
// through xdg-open; the footer tells when that cannot start.
void gui_help_topic(const char *topic);
// The workspace of the canvas's selection when exactly one is selected, else "".
std::string selected_ws_path();
// The text made absolute against the tool's working directory, blanks cut;
// "" stays "".
std::string absolute_path(const std::string &text);

#endif
