// main_shell_c, the main window of brindletool: the menu bar with File, View,
// Workspace, Actions, Options and Help, the scrolled drawing area "main_draw"
// that the canvas draws on, and the footer row "msg_rowcol" with the left and
// right footer; xd_XtWidget_c, the base of the window classes; and the modal
// message boxes that the tool's dialogs are built on.
//
// Menu entries whose work is not in this version say so on the left footer.
// The five View toggles act as two radio groups kept in step by hand.
#ifndef BRINDLE_GUI_SHELLS_MAIN_SHELL_H
#define BRINDLE_GUI_SHELLS_MAIN_SHELL_H

#include <X11/Intrinsic.h>

// A window class: the object behind one shell or dialog.
class xd_XtWidget_c {
public:
  xd_XtWidget_c() = default;
  virtual ~xd_XtWidget_c() = default;
  xd_XtWidget_c(const xd_XtWidget_c &) = delete;
  xd_XtWidget_c &operator=(const xd_XtWidget_c &) = delete;
  Widget get_xd_widget() const { return xd_widget; }

protected:
  Widget xd_widget = nullptr;
};

class main_shell_c : public xd_XtWidget_c {
public:
  main_shell_c();
  ~main_shell_c() override;
  // The whole window, managed but not realized; name is the application's name.
  virtual void create(Display *display, const char *name, int argc, char **argv, int flags);
  // A modal error dialog titled "Error Dialog" over the application shell.
  void issue_errdialog(const char *message);

  // The shell Xt made for the display, and the one the window lives in: the
  // same widget, since the tool needs no hidden top-level.
  Widget toolkit_shell = nullptr;
  Widget app_shell = nullptr;
  Widget main_window = nullptr;
  Widget main_vertical_tgl = nullptr;
  Widget main_hor_tgl = nullptr;
  Widget main_full_tgl = nullptr;
  Widget main_short_tgl = nullptr;
  Widget main_descr_tgl = nullptr;
  Widget main_form = nullptr;
  Widget main_draw = nullptr;
  Widget left_footer = nullptr;
  Widget right_footer = nullptr;
  Widget menu_bar = nullptr;
  Widget menu_widgets[64] = {};  // the other entries, in the order they are made
  int menu_widget_count = 0;
  Widget help_cascade = nullptr;
  Widget msg_rowcol = nullptr;

private:
  Widget add_menu(const char *name, const char *label, char mnemonic);
  void add_entries(Widget menu, int first, int last);
};

main_shell_c *get_main_shell();
void set_main_shell(main_shell_c *shell);

// The popup menu of the canvas, on the drawing area.
Widget create_canvas_menu(Widget drawing_area);

// File, Exit, and the window manager's close.
void main_exit_btn_callback(Widget w, XtPointer client, XtPointer call);

#endif
