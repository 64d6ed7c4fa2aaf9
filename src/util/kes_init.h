// Process start-up.  A front end's main calls, before anything else:
//   umask_save(); kes_init(argv); libbwm_init(); libutil_init();
#ifndef BRINDLE_UTIL_KES_INIT_H
#define BRINDLE_UTIL_KES_INIT_H

#include <sys/types.h>

void umask_save();
mode_t umask_get();

void kes_init(char **argv);
void kes_set_full_cmdname(char **argv);
const char *kes_get_full_cmdname();   // null until set
const char *kes_get_base_cmdname();   // null until set

// The out-of-memory report: prints the kept text and exits with status 1.
[[noreturn]] void kes_new_handler();
void kes_set_oom_text(const char *text);  // text is kept, not copied

void kes_i18n_path_init();

// 1 (after printing "argv[0]: version") if any argument begins with "-V".
int kes_check_if_invoked_for_version(int argc, char **argv, const char *version);

// The whole start-up of a command-line program, as above; 1 when it was asked
// only for its version, which it has printed.
int kes_start_command(int argc, char **argv);

#endif
