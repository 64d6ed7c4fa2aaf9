// Kes_gui, the one application object of brindletool, and the process-wide
// state around it: display, application context, the start-up load list, the
// message-bus connection and the cleanup object that runs at exit.
//
// Kes_gui owns the canvas and the tool properties, writes the footers, loads the
// start-up workspaces and installs the canvas's callbacks.  The left footer
// tells what the tool has just done or needs; the right one stays empty in the
// main window and is only ever cleared with the left.
//
// Defined in kes_gui.cc (the object, globals, start-up loading) and
// kes_gui_stubs.cc (the menu actions and canvas callbacks).
#ifndef BRINDLE_GUI_KES_GUI_H
#define BRINDLE_GUI_KES_GUI_H

#include <X11/Intrinsic.h>

class Kes_canvas;
class Kes_gui_props;
class Kes_gui_engine;
class Kes_gui_trans;
class Kes_wslist;
class WSSfileChooser;
class WSFLPChooser;
class BW_wsviewer;
class main_shell_c;

enum Kes_gui_footer_enum { KES_GUI_LEFT_FOOTER = 0, KES_GUI_RIGHT_FOOTER = 1 };
enum Kes_gui_util_trans_enum {
  KES_GUI_BRINGOVER_CREATE = 0,
  KES_GUI_BRINGOVER_UPDATE = 1,
  KES_GUI_PUTBACK = 2,
  KES_GUI_RESOLVE = 3,
  KES_GUI_UNDO = 4,
};

class Kes_gui {
public:
  // Builds the canvas and properties, applies the stored view settings and
  // loads the start-up workspaces.
  explicit Kes_gui(main_shell_c *shell);
  ~Kes_gui();
  Kes_gui(const Kes_gui &) = delete;
  Kes_gui &operator=(const Kes_gui &) = delete;

  main_shell_c *get_main_shell() const { return main_shell; }
  Kes_canvas *get_canvas() const { return canvas; }
  Kes_gui_props *get_props() const { return props; }
  int get_colour_screen() const { return colour_screen; }
  Pixel get_foreground() const { return foreground; }
  Pixel get_background() const { return background; }

  // The engine object of a kind of transaction (Kes_gui_trans_kind), whose
  // words the output parser compares with.
  Kes_gui_engine *get_engine(int kind) const;
  // The panel of the transaction in progress; null between transactions.
  Kes_gui_trans *get_current_panel() const { return current_panel; }
  void set_current_panel(Kes_gui_trans *panel) { current_panel = panel; }
  WSSfileChooser *get_add_files_chooser() const { return add_files_chooser; }
  WSFLPChooser *get_add_flp_chooser() const { return add_flp_chooser; }
  // The transaction window's choosers, made with it; owned from then on.
  void set_choosers(WSSfileChooser *files, WSFLPChooser *programs);
  // The Load Workspaces chooser, made on first use; owned from then on.
  BW_wsviewer *get_load_chooser() const { return load_chooser; }
  void set_load_chooser(BW_wsviewer *chooser) { load_chooser = chooser; }

  // An absent or empty text clears the footer.
  void print_footer(Kes_gui_footer_enum footer, const char *text);
  void clear_footer(Kes_gui_footer_enum footer);
  void load_workspaces_auto();

private:
  main_shell_c *main_shell;
  // The engines are there only for the words that the command line programs
  // print, which the output parser compares with; no transaction runs here.
  Kes_gui_engine *undo_engine = nullptr;
  Kes_gui_engine *bringover_engine = nullptr;
  Kes_gui_engine *putback_engine = nullptr;
  Widget bringover_stop_button = nullptr;
  Widget putback_stop_button = nullptr;
  Widget undo_stop_button = nullptr;
  Kes_gui_trans *current_panel = nullptr;
  WSSfileChooser *add_files_chooser = nullptr;
  WSFLPChooser *add_flp_chooser = nullptr;
  BW_wsviewer *load_chooser = nullptr;
  Kes_canvas *canvas = nullptr;
  Kes_gui_props *props = nullptr;
  int colour_screen = 0;
  Pixel foreground = 0;
  Pixel background = 0;
};

// The version that -V prints and the About box shows.
extern const char *const kes_gui_version;

Kes_gui *get_gui();
Display *get_display();
XtAppContext get_app_context();
void set_display(Display *display, XtAppContext context);

// The workspace arguments in shell syntax, kept until the first load; the
// setter takes ownership of a malloc-ed text.
const char *get_startup_load_list();
void set_startup_load_list(char *list);

// The message service: joined at start unless BRINDLE_NO_HAILWAY is set.
// Answers 1 when connected.
int join_hailway();
// This process's id on the message service; null when not connected.
const char *gui_hw_procid();

// Opens the transaction window on a tab; 0 while that window is not there.
int init_trans_shell(main_shell_c *shell, Kes_gui_util_trans_enum kind);
// Installs the application's eight canvas callbacks.
void set_canvas_callbacks(Kes_canvas *canvas);

// The busy cursor on the main window while long work runs; calls nest.
void gui_set_busy(int busy);
// A modal error dialog over the main window (standard error before it exists).
void gui_issue_errdialog(const char *message);
// The path of a picture that the tool reads, in ../lib/icons beside its own
// directory; buf holds 1024 bytes.
const char *gui_icon_path(const char *name, char *buf);
// A 48 by 48 window showing the picture becomes the shell's icon window; 0
// on success.
int kes_set_icon(const char *picture, Widget shell);

// The object whose destructor closes the libraries at exit.
class Kes_cleanup {
public:
  Kes_cleanup();
  virtual ~Kes_cleanup();
  static Kes_cleanup *access();
};

class BW_cleanup : public Kes_cleanup {
public:
  BW_cleanup() = default;
  ~BW_cleanup() override;
};

#endif
