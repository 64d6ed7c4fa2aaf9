// Kes_gui_props: reading the tool properties from ~/.brindletoolrc and the
// resolve settings from ~/.brindle_resrc, and writing the first.
#include "gui/kes_gui_props.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "gui/kes_gui_debug.h"
#include "util/kes_err.h"
#include "util/kes_path.h"
#include "util/kes_str.h"

namespace {

Kes_gui_props *the_props;

// One resource: its key, and the words it takes with the number each stands
// for; a property without words is text.
struct Prop {
  const char *key;
  int Kes_gui_props::*number;
  char *Kes_gui_props::*text;
  const char *words[6];
};

#define BOOL_PROP(key, field) {key, &Kes_gui_props::field, nullptr, {"False", "True"}}
const Prop kProps[] = {
    {"normal_double_click", nullptr, &Kes_gui_props::normal_double_click, {}},
    {"conflict_double_click", nullptr, &Kes_gui_props::conflict_double_click, {}},
    BOOL_PROP("load_parents_and_children", load_parents_and_children),
    {"orientation", &Kes_gui_props::orientation, nullptr, {"Vertical", "Horizontal"}},
    {"workspace_names", &Kes_gui_props::workspace_names, nullptr, {"Full", "Short", "Descriptive"}},
    BOOL_PROP("auto_load_file_list", auto_load_file_list),
    BOOL_PROP("auto_display_output", auto_display_output),
    BOOL_PROP("auto_bringover_update", auto_bringover_update),
    BOOL_PROP("issue_comment_warn", issue_comment_warn),
    BOOL_PROP("show_children_dlg", show_children_dlg),
    BOOL_PROP("history_viewer_show_time", show_time),
    BOOL_PROP("history_viewer_show_operation", show_operation),
    BOOL_PROP("history_viewer_show_user", show_user),
    BOOL_PROP("history_viewer_show_host", show_host),
    BOOL_PROP("history_viewer_show_release", show_release),
    BOOL_PROP("history_viewer_show_status", show_status),
    {"history_viewer_sort_option", &Kes_gui_props::sort_option, nullptr,
     {"0", "1", "2", "3", "4", "5"}},
    BOOL_PROP("history_viewer_filter_operation", filter_operation),
    BOOL_PROP("history_viewer_filter_user", filter_user),
    BOOL_PROP("history_viewer_filter_host", filter_host),
    BOOL_PROP("history_viewer_filter_release", filter_release),
    BOOL_PROP("history_viewer_filter_status", filter_status),
};
#undef BOOL_PROP

const char *home_dir() {
  const char *home = getenv("HOME");
  if (home && *home) return home;
  struct passwd *pw = getpwuid(getuid());
  return pw ? pw->pw_dir : nullptr;
}

void replace(char **field, const char *value) {
  free(*field);
  *field = value ? kes_strdup(value) : nullptr;
}

}  // namespace

Kes_gui_props *get_gui_props() { return the_props; }

Kes_gui_props::Kes_gui_props() { the_props = this; }

Kes_gui_props::~Kes_gui_props() {
  if (the_props == this) the_props = nullptr;
  free(current_dir);
  free(normal_double_click);
  free(conflict_double_click);
  free(workspace_path);
  free(rc_path);
  free(failure_text);
  if (database) XrmDestroyDatabase(database);
}

void Kes_gui_props::load() {
  char cwd[1024], am[1024];
  if (getcwd(cwd, sizeof cwd))
    replace(&current_dir, kes_path_thru_automounter(cwd, am) ? am : cwd);

  const char *wspath = getenv("BRINDLE_WSPATH");
  replace(&workspace_path, wspath ? wspath : "");
  for (char *p = workspace_path; *p; p++)
    if (*p == ':') *p = ' ';

  replace(&normal_double_click, "<versioning>");
  replace(&conflict_double_click, "<resolve pane>");
  replace(&failure_text, nullptr);
  unreadable = 0;
  const char *home = home_dir();
  char path[1024];
  snprintf(path, sizeof path, "%s/%s", home ? home : "~", ".brindletoolrc");
  const char *tool_failed = nullptr;
  if (home) replace(&rc_path, path);
  if (database) XrmDestroyDatabase(database);
  database = home ? XrmGetFileDatabase(path) : nullptr;
  if (database) {
    read_resources();
  } else {
    struct stat st;
    unreadable = home && stat(path, &st) == 0;
    tool_failed = path;
  }
  resolve_settings = Kes_resolve_rc();
  Kes_err *resolve_err = resolve_settings.read();
  if (resolve_err) {
    // The lines before the bad one do not count: the pane runs on defaults.
    resolve_settings = Kes_resolve_rc();
    unreadable = 1;
  }
  if (tool_failed || resolve_err) load_failure(tool_failed, resolve_err);
  delete resolve_err;
}

void Kes_gui_props::read_resources() {
  for (const Prop &p : kProps) {
    char name[128], cls[128];
    snprintf(name, sizeof name, "brindletool.%s", p.key);
    snprintf(cls, sizeof cls, "Brindletool.%c%s", p.key[0] - 'a' + 'A', p.key + 1);
    char *type = nullptr;
    XrmValue value;
    if (!XrmGetResource(database, name, cls, &type, &value) || !value.addr) continue;
    const char *v = static_cast<const char *>(value.addr);
    if (p.text) {
      replace(&(this->*p.text), v);
      continue;
    }
    for (int i = 0; i < 6 && p.words[i]; i++) {
      if (strncmp(v, p.words[i], value.size) == 0) {
        this->*p.number = i;
        break;
      }
    }
  }
}

void Kes_gui_props::load_failure(const char *tool_file, Kes_err *resolve_err) {
  char text[4096], resolve_file[1024] = "~/.brindle_resrc";
  if (resolve_err) Kes_resolve_rc::path(resolve_file);
  if (tool_file && resolve_err)
    snprintf(text, sizeof text,
             GUI_MSG("Could not open tool properties file (%s) and attempt to read resolve "
                     "properties file (%s) resulted in the following error: %s"),
             tool_file, resolve_file, resolve_err->text);
  else if (resolve_err)
    snprintf(text, sizeof text,
             GUI_MSG("Attempt to read resolve properties file (%s) resulted in the following "
                     "error: \n\n\t%s"),
             resolve_file, resolve_err->text);
  else
    snprintf(text, sizeof text, GUI_MSG("Could not open tool properties file (%s)"), tool_file);
  replace(&failure_text, text);
  gui_debug("props: %s", text);
}

int Kes_gui_props::store_tool_props(char *why) {
  why[0] = '\0';
  if (!rc_path || (::access(rc_path, F_OK) == 0 && ::access(rc_path, W_OK) != 0)) {
    snprintf(why, 1024, GUI_MSG("Unable to write into file %s.\nPlease check permission bits of this file."),
             rc_path ? rc_path : "~/.brindletoolrc");
    return 0;
  }
  for (const Prop &p : kProps) {
    char name[128];
    snprintf(name, sizeof name, "brindletool.%s", p.key);
    const char *value = p.text ? this->*p.text : p.words[this->*p.number];
    XrmPutStringResource(&database, name, value ? value : "");
  }
  // A whole new file renamed into place: a failed write leaves the old one.
  std::string tmp = std::string(rc_path) + ".XXXXXX";
  int fd = mkstemp(&tmp[0]);
  if (fd >= 0) close(fd);
  if (fd >= 0) XrmPutFileDatabase(database, tmp.c_str());
  if (fd < 0 || rename(tmp.c_str(), rc_path) != 0) {
    if (fd >= 0) unlink(tmp.c_str());
    snprintf(why, 1024, GUI_MSG("Unable to write into file %s.\nPlease check permission bits of this file."),
             rc_path);
    return 0;
  }
  gui_debug("props: saved %s", rc_path);
  return 1;
}
