// The process-wide facts every message needs: the command name, the user's
// umask, the out-of-memory report and the version option.  Kept apart from start-up so that error
// objects depend on nothing else.
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "util/kes_init.h"
#include "util/kes_str.h"

namespace {
mode_t saved_umask = 022;
char *full_cmdname = nullptr;
const char *base_cmdname = nullptr;
// Kept from the start so that the report needs no allocation when memory is gone.
const char *oom_text = "%s: Memory allocation failed - you may be out of swap space.\n";
}  // namespace

void umask_save() {
  saved_umask = umask(0);
  umask(saved_umask);
}

mode_t umask_get() { return saved_umask; }

void kes_set_full_cmdname(char **argv) {
  free(full_cmdname);
  full_cmdname = nullptr;
  base_cmdname = nullptr;
  if (!argv || !argv[0]) return;  // no name: messages carry no prefix
  full_cmdname = kes_strdup(argv[0]);
  const char *slash = strrchr(full_cmdname, '/');
  base_cmdname = slash ? slash + 1 : full_cmdname;
}

const char *kes_get_full_cmdname() { return full_cmdname; }
const char *kes_get_base_cmdname() { return base_cmdname; }

void kes_new_handler() {
  fprintf(stderr, oom_text, base_cmdname ? base_cmdname : "");
  exit(1);
}

void kes_set_oom_text(const char *text) { oom_text = text; }

int kes_check_if_invoked_for_version(int argc, char **argv, const char *version) {
  for (int i = 0; i < argc; i++) {
    if (argv[i] && strncmp(argv[i], "-V", 2) == 0) {
      printf("%s: %s\n", argv[0], version);
      fflush(stdout);
      return 1;
    }
  }
  return 0;
}
