// brindletool: the graphical tool's start-up, in the order the libraries, the
// display, the main window, the message service and the workspaces need.
#include <Xm/Protocols.h>
#include <Xm/Xm.h>
#include <libintl.h>
#include <sys/stat.h>
#include <X11/xpm.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "gui/kes_graph.h"
#include "gui/kes_gui.h"
#include "gui/kes_gui_debug.h"
#include "gui/shells/main_shell.h"
#include "toolkit/ss_xpm.h"
#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"
#include "util/kes_process.h"
#include "util/kes_quote.h"

namespace {

const char *const kVersion = kes_gui_version;

// Used when no application defaults file for the class XBrindle is installed.
String fallback_resources[] = {
    const_cast<char *>("XBrindle.title: Lathe Fathom Weaving"),
    const_cast<char *>("XBrindle.iconName: brindletool"),
    const_cast<char *>("XBrindle.geometry: 860x600"),
    const_cast<char *>("XBrindle*fontList: -*-helvetica-medium-r-normal--12-*-*-*-*-*-iso8859-1"),
    const_cast<char *>("XBrindle*background: #d8d6ce"),
    const_cast<char *>("XBrindle*foreground: #1c1c1c"),
    const_cast<char *>("XBrindle*main_draw.background: #fbfaf6"),
    const_cast<char *>("XBrindle*left_footer.width: 620"),
    const_cast<char *>("XBrindle*msg_rowcol.marginHeight: 2"),
    nullptr,
};

const char *tool_name = "brindletool";

int x_error_handler(Display *display, XErrorEvent *error) {
  char text[256];
  XGetErrorText(display, error->error_code, text, sizeof text);
  fprintf(stderr, "%s:%s\n", tool_name, text);
  if (error->request_code == 14)
    fprintf(stderr,
            "%s:You have an application that has used up all color maps.\nPlease exit from "
            "'%s', kill the offending application, and resume '%s' again.",
            tool_name, tool_name, tool_name);
  return 0;
}

void gui_set_xerror_handler(const char *name) {
  tool_name = name;
  XSetErrorHandler(x_error_handler);
}

// The arguments behind the name, each escaped for the shell and followed by a
// blank, in a buffer of 8192 bytes.
char *startup_list(int argc, char **argv) {
  std::string list;
  for (int i = 1; i < argc; i++) {
    std::string word = std::string(shell_escape(argv[i])) + " ";
    if (list.size() + word.size() >= 8192) break;
    list += word;
  }
  return list.empty() ? nullptr : strdup(list.c_str());
}

}  // namespace

int main(int argc, char **argv) {
  if (kes_check_if_invoked_for_version(argc, argv, kVersion)) {
    fflush(stdout);
    return 0;
  }
  umask_save();
  kes_init(argv);
  gui_debug_init();
  char *run_dir = nullptr;
  if (Kes_err *err = kes_find_run_dir(&run_dir)) {
    err->print();
    delete err;
    exit(-1);
  }
  if (!run_dir || !*run_dir) exit(-1);
  if (getenv("BRINDLE_CURR_ITEM")) set_brindle_curr_item(nullptr);

  const char *base = strrchr(argv[0], '/') ? strrchr(argv[0], '/') + 1 : argv[0];
  gui_set_xerror_handler("brindletool");
  XtSetLanguageProc(nullptr, nullptr, nullptr);
  XtToolkitInitialize();
  XtAppContext context = XtCreateApplicationContext();
  XtAppSetFallbackResources(context, fallback_resources);
  Display *display = XtOpenDisplay(context, nullptr, base, "XBrindle", nullptr, 0, &argc, argv);

  char locale_dir[1100];
  snprintf(locale_dir, sizeof locale_dir, "%s/../lib/locale", run_dir);
  bindtextdomain("brindle", locale_dir);
  textdomain("brindle");
  libbwm_init();

  if (!display) {
    printf(GUI_MSG("%s: cannot open display, exiting\n"), base);
    exit(-1);
  }
  set_display(display, context);
  static char display_entry[1100];
  snprintf(display_entry, sizeof display_entry, "DISPLAY=%s", XDisplayString(display));
  putenv(display_entry);

  auto *shell = new main_shell_c;
  set_main_shell(shell);
  shell->create(display, base, argc, argv, 0);
  if (kes_set_icon("brindle_48.xpm", shell->app_shell))
    fprintf(stderr, GUI_MSG("%s: Warning: cannot set desktop icon\n"), base);
  XtRealizeWidget(shell->app_shell);

  if (!getenv("BRINDLE_NO_HAILWAY")) join_hailway();
  if (char *list = startup_list(argc, argv)) set_startup_load_list(list);
  new Kes_gui(shell);

  Atom wm_delete = XmInternAtom(display, const_cast<char *>("WM_DELETE_WINDOW"), False);
  XmAddWMProtocolCallback(shell->app_shell, wm_delete, main_exit_btn_callback, nullptr);
  new BW_cleanup;
  gui_debug("started");
  XtAppMainLoop(context);
}
