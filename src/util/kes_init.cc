// Process start-up: umask_save, kes_init and the libraries' initialisation.
#include "util/kes_init.h"

#include <sys/stat.h>
#include <sys/types.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "util/kes_err.h"
#include "util/kes_msg.h"
#include "util/kes_process.h"

namespace {
char stdout_buffer[1024];
bool i18n_done = false;
void oom_handler() { kes_new_handler(); }
}  // namespace

void kes_init(char **argv) {
  setvbuf(stdout, stdout_buffer, _IOLBF, sizeof stdout_buffer);
  kes_set_full_cmdname(argv);
  std::set_new_handler(oom_handler);
  umask(0);
  kes_find_run_dir_init(kes_get_full_cmdname());
  kes_set_path();
  kes_i18n_path_init();
  kes_set_oom_text(UTIL_MSG(10, "%s: Memory allocation failed - you may be out of swap space.\n"));
}

void kes_i18n_path_init() {
  if (i18n_done) return;
  i18n_done = true;
  char *dir = nullptr;
  Kes_err *err = kes_find_run_dir(&dir);
  if (err) {
    delete err;
    return;
  }
  const char *cur = getenv("NLSPATH");
  std::string assignment = std::string("NLSPATH=") + (cur ? cur : "");
  const char *shapes[] = {"%s/../%s/%s:%s/../%s/%s:%s", "%s/../../%s/%s:%s/../../%s/%s:%s"};
  for (const char *shape : shapes) {
    char list[4 * 1024];
    snprintf(list, sizeof list, shape, dir, "lib/locale/%L/LC_MESSAGES", "%N.cat", dir,
             "lib/locale/C/LC_MESSAGES", "%N.cat", "/usr/dt/lib/nls/msg/%L/%N.cat");
    char *next = maybe_append_str_to_env_var(assignment.c_str(), list);
    assignment = next;
    free(next);
  }
  // putenv keeps the pointer: the string lives for the rest of the process.
  char *keep = strdup(assignment.c_str());
  if (!keep) kes_new_handler();
  putenv(keep);
  setlocale(LC_ALL, "");
}

int kes_start_command(int argc, char **argv) {
  umask_save();
  kes_init(argv);
  libbwm_init();
  libutil_init();
  return kes_check_if_invoked_for_version(argc, argv, "6.02");
}
