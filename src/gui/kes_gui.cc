// Kes_gui: the application object, the process-wide state of the tool, the
// footers, the message service and the start-up loading of workspaces.
#include "gui/kes_gui.h"

#include <Xm/Label.h>
#include <Xm/MessageB.h>
#include <Xm/ToggleB.h>
#include <Xm/Xm.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "gui/kes_canvas.h"
#include "gui/kes_gui_debug.h"
#include "gui/kes_gui_engine.h"
#include "gui/kes_gui_trans.h"
#include "gui/kes_ws_choosers.h"
#include "gui/kes_gui_load.h"
#include "gui/kes_gui_props.h"
#include "gui/shells/resolve_pane.h"
#include "gui/shells/main_shell.h"
#include "hailway/hailway.h"
#include "toolkit/modal_dialog.h"
#include "toolkit/ss_trace.h"
#include "toolkit/ss_xpm.h"
#include "util/kes_err.h"
#include "util/kes_msg.h"
#include "util/kes_process.h"
#include "util/kes_quote.h"
#include "workspace/kes_workspace.h"

namespace {

Kes_gui *the_gui;
Display *the_display;
XtAppContext the_context;
char *startup_load_list;
int hw_connected;
char *hw_procid;
Kes_cleanup *the_cleanup;

const char *const kNoneLoaded = "No workspaces loaded - Select File=>Load Workspaces...";

int is_blank(const char *text) {
  for (; text && *text; text++)
    if (!isspace(static_cast<unsigned char>(*text))) return 0;
  return 1;
}

void receive_hw_message(XtPointer, int *, XtInputId *) {
  // The merge tool's operations are the only ones the tool takes: the
  // resolve pane answers them and refuses the rest.
  if (Hw_message message = hw_message_receive()) receive_hw_message(message);
}

}  // namespace

const char *const kes_gui_version = "1.0";

Kes_gui *get_gui() { return the_gui; }
Display *get_display() { return the_display; }
XtAppContext get_app_context() { return the_context; }

void set_display(Display *display, XtAppContext context) {
  the_display = display;
  the_context = context;
}

const char *get_startup_load_list() { return startup_load_list; }

void set_startup_load_list(char *list) {
  free(startup_load_list);
  startup_load_list = list;
}

const char *gui_icon_path(const char *name, char *buf) {
  char *run_dir = nullptr;
  Kes_err *err = kes_find_run_dir(&run_dir);
  delete err;
  snprintf(buf, 1024, "%s/../lib/icons/%s", run_dir ? run_dir : ".", name);
  return buf;
}

void gui_issue_errdialog(const char *message) {
  if (main_shell_c *shell = get_main_shell())
    shell->issue_errdialog(message);
  else
    fprintf(stderr, "%s\n", message);
}

void gui_set_busy(int busy) {
  if (main_shell_c *shell = get_main_shell()) ss_set_busy_cursor(shell->app_shell, busy);
}

int kes_set_icon(const char *picture, Widget shell) {
  char path[1024];
  gui_icon_path(picture, path);
  Display *dpy = XtDisplay(shell);
  Screen *screen = XtScreen(shell);
  Pixmap pixmap = None;
  if (SSXpmFileToPixmap(dpy, RootWindowOfScreen(screen), path, BlackPixelOfScreen(screen),
                        WhitePixelOfScreen(screen), &pixmap, nullptr, nullptr))
    return 1;
  Window icon = XCreateSimpleWindow(dpy, RootWindowOfScreen(screen), 0, 0, 48, 48, 0,
                                    BlackPixelOfScreen(screen), WhitePixelOfScreen(screen));
  XSetWindowBackgroundPixmap(dpy, icon, pixmap);
  XtVaSetValues(shell, XmNiconWindow, icon, nullptr);
  return 0;
}

const char *gui_hw_procid() { return hw_connected ? hw_procid : nullptr; }

int join_hailway() {
  hw_procid = hw_open();
  if (hw_pointer_error(hw_procid) == HW_OK && hw_procid) {
    int fd = hw_fd();
    if (hw_int_error(fd) == HW_OK && fd >= 0) {
      XtAppAddInput(the_context, fd, reinterpret_cast<XtPointer>(XtInputReadMask),
                    receive_hw_message, nullptr);
      hw_session_join(hw_default_session());
      hw_connected = 1;
    }
  }
  if (hw_connected) {
    gui_debug("hailway joined as %s", hw_procid);
  } else {
    const char *text = GUI_MSG("Unable to open Hailway channel. Some features might not work.");
    if (main_shell_c *shell = get_main_shell())
      show_message(shell->app_shell, GUI_MSG("Weaving: Hailway Initialization Error"), text,
                   MODAL_INFORMATION | MODAL_OK);
    else
      fprintf(stderr, "%s\n", text);
  }
  return hw_connected;
}

// ---- the application object

Kes_gui::Kes_gui(main_shell_c *shell) : main_shell(shell) {
  the_gui = this;
  Screen *screen = XtScreen(shell->app_shell);
  colour_screen = DefaultDepthOfScreen(screen) >= 8;
  XtVaGetValues(shell->main_window, XmNforeground, &foreground, XmNbackground, &background,
                nullptr);
  Widget popup = create_canvas_menu(shell->main_draw);
  canvas = new Kes_canvas(shell->app_shell, nullptr, 0, 0, popup);
  undo_engine = kes_gui_make_undo_engine();
  bringover_engine = kes_gui_make_bringover_engine();
  putback_engine = kes_gui_make_putback_engine();

  props = new Kes_gui_props;
  props->init();
  // A file that is there but cannot be read is worth a word; a missing one is
  // the usual case and runs on the defaults silently.
  if (props->file_unreadable()) gui_issue_errdialog(props->load_failure_text());

  // Stored orientation numbers are the reverse of the canvas's.
  const int horizontal = props->orientation == Kes_gui_props::PROPS_HORIZONTAL;
  canvas->set_orientation(horizontal ? KES_HORIZONTAL : KES_VERTICAL);
  XmToggleButtonSetState(horizontal ? shell->main_hor_tgl : shell->main_vertical_tgl, True, False);
  Widget name_toggles[] = {shell->main_full_tgl, shell->main_short_tgl, shell->main_descr_tgl};
  const int style = props->workspace_names >= 0 && props->workspace_names <= 2
                        ? props->workspace_names
                        : KES_NAMES_FULL;
  canvas->set_name_style(static_cast<Kes_canvas_name_style>(style));
  XmToggleButtonSetState(name_toggles[style], True, False);
  canvas->layout();  // the canvas takes the settings while it is still empty

  set_canvas_callbacks(canvas);
  load_workspaces_auto();

  auto *base = new Kes_gui_trans;
  base->file_list = new Kes_strlist;
  base->flp_list = new Kes_strlist;
  set_gui_trans(base);
  rt_main_init();
  auto *undo = new Kes_gui_undo;
  undo->undo_list = new Kes_strlist;
  set_gui_undo(undo);
}

Kes_gui::~Kes_gui() {
  delete canvas;
  delete props;
  delete undo_engine;
  delete bringover_engine;
  delete putback_engine;
  delete add_files_chooser;
  delete add_flp_chooser;
  delete load_chooser;
  if (the_gui == this) the_gui = nullptr;
}

Kes_gui_engine *Kes_gui::get_engine(int kind) const {
  switch (kind) {
    case KES_TRANS_PUTBACK: return putback_engine;
    case KES_TRANS_UNDO: return undo_engine;
    default: return bringover_engine;
  }
}

void Kes_gui::set_choosers(WSSfileChooser *files, WSFLPChooser *programs) {
  add_files_chooser = files;
  add_flp_chooser = programs;
  gui_trace_places_on_map(files->getDialog()->shell);
  gui_trace_places_on_map(programs->getDialog()->shell);
}

void Kes_gui::print_footer(Kes_gui_footer_enum footer, const char *text) {
  if (!text) text = "";
  Widget label = footer == KES_GUI_LEFT_FOOTER ? main_shell->left_footer : main_shell->right_footer;
  static std::string shown[2];
  if (shown[footer] == text) return;
  shown[footer] = text;
  XmString s = XmStringCreateLocalized(const_cast<char *>(text));
  XtVaSetValues(label, XmNlabelString, s, nullptr);
  XmStringFree(s);
  gui_debug("footer %s %s", footer == KES_GUI_LEFT_FOOTER ? "left" : "right", text);
}

void Kes_gui::clear_footer(Kes_gui_footer_enum footer) { print_footer(footer, nullptr); }

void Kes_gui::load_workspaces_auto() {
  std::string names = startup_load_list ? startup_load_list : "";
  set_startup_load_list(nullptr);  // kept only until the first load
  if (is_blank(names.c_str())) {
    char ws[1024];
    getenv_brindle_ws(ws);
    names = ws;
  }
  if (is_blank(names.c_str())) {
    char ws[1024];
    kes_find_containing_ws(ws, props->current_dir ? props->current_dir : ".");
    names = ws[0] ? shell_escape(ws) : "";
  }
  if (const char *wspath = getenv("BRINDLE_WSPATH")) {
    std::string more = wspath;
    for (char &c : more)
      if (c == ':') c = ' ';
    names += " " + more;
  }
  if (is_blank(names.c_str())) {
    print_footer(KES_GUI_LEFT_FOOTER, GUI_MSG(kNoneLoaded));
    return;
  }

  char message[Kes_gui_load::MESSAGE_SIZE];
  char path[1024];
  // Names are resolved by the workspace command alone: without it nothing loads.
  if (Kes_err *err = kes_find_executable("workspace", path)) {
    gui_issue_errdialog(err->text);
    delete err;
    print_footer(KES_GUI_LEFT_FOOTER, GUI_MSG(kNoneLoaded));
    return;
  }
  print_footer(KES_GUI_LEFT_FOOTER, GUI_MSG("loading workspaces..."));
  std::string command = std::string(shell_escape(path)) + " list " + names + " 2>/dev/null";
  gui_debug("command %s", command.c_str());
  std::unique_ptr<Kes_wslist> list(Kes_gui_load::build_workspace_list(command.c_str(), message));
  if (message[0]) {
    gui_issue_errdialog(message);
    print_footer(KES_GUI_LEFT_FOOTER, GUI_MSG(kNoneLoaded));
    return;
  }

  Kes_wslist *loading = nullptr;
  if (props->load_parents_and_children) {
    if (Kes_err *e = Kes_gui_load::add_parent_children_context(list.get(), &loading)) {
      gui_issue_errdialog(e->text);
      delete e;
      delete loading;
      loading = nullptr;
    }
  }
  if (!loading) loading = Kes_gui_load::no_context(list.get());
  std::unique_ptr<Kes_wslist> owner(loading);

  char text[256];
  snprintf(text, sizeof text, GUI_MSG("loading %d workspace(s)..."), loading->count);
  print_footer(KES_GUI_LEFT_FOOTER, text);
  if (gui_debug_on()) {
    std::string line = "ws_list:";
    for (Kes_listelem *e = loading->head.next; e != &loading->head; e = e->next)
      line += std::string(" ") + static_cast<Kes_workspace *>(e->data)->wsname;
    gui_debug("%s", line.c_str());
  }
  canvas->load_workspaces(loading);

  if (loading->count == 0)
    snprintf(text, sizeof text, "%s", GUI_MSG(kNoneLoaded));
  else if (loading->count == 1)
    snprintf(text, sizeof text, "%s", GUI_MSG("1 workspace loaded"));
  else
    snprintf(text, sizeof text, GUI_MSG("%d workspaces loaded"), loading->count);
  print_footer(KES_GUI_LEFT_FOOTER, text);
}

// ---- cleanup at exit

Kes_cleanup::Kes_cleanup() {
  the_cleanup = this;
  libutil_init();
}

Kes_cleanup::~Kes_cleanup() {
  if (the_cleanup == this) the_cleanup = nullptr;
  libutil_fini();
}

Kes_cleanup *Kes_cleanup::access() { return the_cleanup; }

BW_cleanup::~BW_cleanup() {
  if (hw_connected) hw_close();
  libbwm_fini();
}
