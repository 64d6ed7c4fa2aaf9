// The run directory, PATH and the search for programs.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"
#include "util/kes_path.h"
#include "util/kes_process.h"
#include "util/kes_str.h"

namespace {
char *run_dir = nullptr;

bool is_runnable_file(const char *path) {
  struct stat st;
  return access(path, R_OK | X_OK) == 0 && stat(path, &st) == 0 && S_ISREG(st.st_mode);
}

bool list_has(const std::string &list, const std::string &member) {
  size_t start = 0;
  while (start <= list.size()) {
    size_t end = list.find(':', start);
    if (end == std::string::npos) end = list.size();
    if (list.compare(start, end - start, member) == 0) return true;
    start = end + 1;
  }
  return false;
}
}  // namespace

char *maybe_append_str_to_env_var(const char *assignment, const char *value) {
  std::string result(assignment);
  size_t eq = result.find('=');
  size_t list_start = eq == std::string::npos ? result.size() : eq + 1;
  if (eq == std::string::npos) result += '=';
  std::string vals(value ? value : "");
  size_t start = 0;
  while (start <= vals.size()) {
    size_t end = vals.find(':', start);
    if (end == std::string::npos) end = vals.size();
    std::string member = vals.substr(start, end - start);
    std::string list = result.substr(list_start);
    if (!member.empty() && !list_has(list, member)) {
      if (!list.empty()) result += ':';
      result += member;
    }
    start = end + 1;
  }
  return kes_strdup(result.c_str());
}

Kes_err *kes_find_cmd_in_path(const char *cmd, char *buf) {
  if (strchr(cmd, '/')) {
    snprintf(buf, 1024, "%s", cmd);
    return nullptr;
  }
  const char *path = getenv("PATH");
  std::string p(path ? path : "");
  size_t start = 0;
  while (start <= p.size()) {
    size_t end = p.find(':', start);
    if (end == std::string::npos) end = p.size();
    std::string dir = p.substr(start, end - start);
    if (dir.empty()) dir = ".";
    std::string cand = dir + "/" + cmd;
    if (cand.size() < 1024 && is_runnable_file(cand.c_str())) {
      memcpy(buf, cand.c_str(), cand.size() + 1);
      return nullptr;
    }
    start = end + 1;
  }
  buf[0] = '\0';
  return (new Kes_err)->format_msg(
      2028, 0, UTIL_MSG(20, "Could not find the \"%s\" command in PATH \"%s\""), cmd,
      path ? path : "");
}

void kes_find_run_dir_init(const char *argv0) {
  if (!argv0 || !*argv0) return;
  char prog[1024];
  if (strchr(argv0, '/')) {
    snprintf(prog, sizeof prog, "%s", argv0);
  } else {
    Kes_err *err = kes_find_cmd_in_path(argv0, prog);
    if (err) {
      delete err;
      return;
    }
  }
  char dir[1024], abs[1024], am[1024];
  kes_parse_filename(prog, dir, nullptr);
  if (!kes_abspath(dir, abs, sizeof abs)) return;
  const char *keep = kes_path_thru_automounter(abs, am) ? am : abs;
  free(run_dir);
  run_dir = strdup(keep);
  if (!run_dir) kes_new_handler();
}

Kes_err *kes_find_run_dir(char **dir) {
  if (!run_dir && kes_get_full_cmdname()) kes_find_run_dir_init(kes_get_full_cmdname());
  if (!run_dir) {
    const char *name = kes_get_base_cmdname();
    *dir = nullptr;
    return (new Kes_err)->format_msg(
        2076, 0,
        UTIL_MSG(21, "Internal error: Cannot find the directory in which command \"%s\"\n"
                     "is located because kes_find_run_dir_init() has not been called"),
        name ? name : "this program");
  }
  *dir = run_dir;
  return nullptr;
}

void kes_set_path() {
  const char *cur = getenv("PATH");
  std::string assignment = std::string("PATH=") + (cur ? cur : "");
  std::string add = BRINDLE_SCCS_DIR;
  const char *home = getenv("TILEWINHOME");
  if (home) add += std::string(":") + home + "/bin";
  add += ":/usr/bin:/usr/sbin";
  char *next = maybe_append_str_to_env_var(assignment.c_str(), add.c_str());
  if (assignment != next) {
    putenv(next);  // kept by the environment for the rest of the process
  } else {
    free(next);
  }
}
