// Running the workspace command for the workspace dialogs, and their footers.
#include "gui/shells/ws_ops.h"

#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "gui/kes_gui.h"
#include "gui/kes_gui_debug.h"
#include "gui/kes_trans_forms.h"
#include "gui/shells/main_shell.h"
#include "workspace/kes_workspace.h"
#include "util/kes_err.h"
#include "util/kes_process.h"
#include "util/kes_quote.h"

namespace {

void vfooter(Kes_gui_footer_enum which, const char *fmt, va_list ap) {
  char text[8192];
  vsnprintf(text, sizeof text, fmt, ap);
  if (Kes_gui *gui = get_gui()) gui->print_footer(which, text);
}

}  // namespace

void left_footer(const char *fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  vfooter(KES_GUI_LEFT_FOOTER, fmt, ap);
  va_end(ap);
}

void right_footer(const char *fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  vfooter(KES_GUI_RIGHT_FOOTER, fmt, ap);
  va_end(ap);
}

std::string quoted(const char *text) { return shell_escape(text); }

std::string ws_command_path(int fallback) {
  char path[1024];
  if (Kes_err *err = kes_find_executable("workspace", path)) {
    if (!fallback) gui_issue_errdialog(err->text);
    delete err;
    return fallback ? "workspace" : "";
  }
  return quoted(path);
}

int run_ws_command(const std::string &command, std::string *output) {
  gui_debug("command %s", command.c_str());
  output->clear();
  gui_set_busy(1);
  FILE *p = popen(command.c_str(), "r");
  if (!p) {
    gui_set_busy(0);
    char text[8192];
    snprintf(text, sizeof text, GUI_MSG("Could not execute \"%s\""), command.c_str());
    *output = text;
    return -1;
  }
  char line[1026];
  while (fgets(line, sizeof line, p)) *output += line;
  int status = pclose(p);
  gui_set_busy(0);
  status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  gui_debug("exit %d", status);
  return status;
}

std::string error_lines(const std::string &output, const char *prefix) {
  std::string out;
  int in_error = 0;
  size_t at = 0;
  while (at < output.size()) {
    size_t end = output.find('\n', at);
    if (end == std::string::npos) end = output.size();
    std::string line = output.substr(at, end - at);
    if (line.compare(0, strlen(prefix), prefix) == 0)
      in_error = 1;
    else if (line.empty() || (line[0] != ' ' && line[0] != '\t'))
      in_error = 0;
    if (in_error) out += line + "\n";
    at = end + 1;
  }
  return out;
}

int has_containing_dir(const std::string &path) {
  size_t slash = path.find_last_of('/');
  std::string dir = slash == 0 ? "/" : path.substr(0, slash);
  struct stat st;
  return slash != std::string::npos && stat(dir.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

int is_workspace_dir(const std::string &path) {
  struct stat st;
  return !path.empty() && stat((path + "/Brindle_wsdata").c_str(), &st) == 0 &&
         S_ISDIR(st.st_mode);
}

void gui_bringover_create(const std::string &parent, const std::string &child) {
  // The child exists by now, so the bringover is an update of it.
  if (!init_trans_shell(get_main_shell(), KES_GUI_BRINGOVER_UPDATE)) return;
  set_source_ws_dir(parent.c_str());
  set_destination_ws_dir(child.c_str());
  check_trans_fields();
  // The new child's list is empty: the parent's is what it usually wants.
  Kes_workspace ws(parent.c_str(), nullptr);
  set_argument_lists(&ws);
  trans_field_footers();
  gui_debug("propagation bringover-update %s %s", parent.c_str(), child.c_str());
}
