// Running programs: shell commands, programs without a shell, and finding them.
#ifndef BRINDLE_UTIL_KES_PROCESS_H
#define BRINDLE_UTIL_KES_PROCESS_H

#include <cstdio>

class Kes_err;

// Shell commands.  The status of system or pclose is decoded by
// kes_decode_sh_wait; rc, where given, gets the exit status or 0.
[[nodiscard]] Kes_err *kes_decode_sh_wait(int status, const char *cmd, int *rc);
[[nodiscard]] Kes_err *kes_system(const char *cmd);
[[nodiscard]] Kes_err *kes_system_no_quoting(const char *cmd);
[[nodiscard]] Kes_err *kes_system_with_rc(const char *cmd, int *rc);
[[nodiscard]] Kes_err *kes_system_with_rc_no_quoting(const char *cmd, int *rc);
[[nodiscard]] Kes_err *kes_pclose(FILE *fp, const char *cmd);
[[nodiscard]] Kes_err *kes_pclose_with_rc(FILE *fp, const char *cmd, int *rc);

// Programs without a shell.
[[nodiscard]] Kes_err *kes_decode_wait(int status, const char *path, char *const *argv, int *rc);
[[nodiscard]] Kes_err *kes_execute_cmd(const char *path, char *const *argv);
[[nodiscard]] Kes_err *kes_execute_cmd_with_rc(const char *path, char *const *argv, int *rc);
// With errfd, the program's standard error is that file; ours stays as it is.
[[nodiscard]] Kes_err *kes_execute_cmd_bg(const char *path, char *const *argv, long *pid,
                                          int errfd = -1);

// A shell command started without waiting.
class KesCommand {
public:
  explicit KesCommand(const char *text);
  virtual ~KesCommand();
  virtual long invoke();
  virtual void error(const char *fmt);
  const char *get_text() const { return text; }

protected:
  char text[4096];
};

class KesGCommand : public KesCommand {
public:
  explicit KesGCommand(const char *text) : KesCommand(text) {}
  void error(const char *fmt) override;
};

// Finding programs.  buf holds 1024 bytes.
[[nodiscard]] Kes_err *kes_find_cmd_in_path(const char *cmd, char *buf);
[[nodiscard]] Kes_err *kes_find_executable(const char *cmd, char *buf);
void kes_find_run_dir_init(const char *argv0);
[[nodiscard]] Kes_err *kes_find_run_dir(char **dir);  // *dir stays owned by the library
void kes_set_path();
// assignment is "NAME=list"; returns a new malloc-ed "NAME=list" with each
// member of the colon list value appended that was not there yet.
char *maybe_append_str_to_env_var(const char *assignment, const char *value);

#endif
