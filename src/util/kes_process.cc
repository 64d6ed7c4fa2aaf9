// Running shell commands and programs, and reading what their status means.
#include "util/kes_process.h"

#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "util/kes_err.h"
#include "util/kes_hash.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"
#include "util/kes_path.h"
#include "util/kes_quote.h"
#include "util/kes_str.h"

namespace {
// Messages show at most this much of a command line, then " ...".
const size_t kCmdLineLimit = 924;

std::string command_line(const char *path, char *const *argv) {
  if (!argv || !argv[0]) return path ? path : "";
  std::string line;
  for (int i = 0; argv[i]; i++) {
    size_t next = line.size() + (i ? 1 : 0) + strlen(argv[i]);
    if (next > kCmdLineLimit) {
      line += " ...";
      break;
    }
    if (i) line += ' ';
    line += argv[i];
  }
  return line;
}

// Output written before a child starts must not appear after the child's.
void flush_output() {
  fflush(stdout);
  fflush(stderr);
}
}  // namespace

Kes_err *kes_decode_sh_wait(int status, const char *cmd, int *rc) {
  if (rc) *rc = 0;
  // -1 is system's or pclose's own failure: no shell ran.
  if (status == -1 || (status >> 8) == 127) {
    if (rc && status != -1) *rc = 127;
    return (new Kes_err)->format_msg(
        2010, 0,
        UTIL_MSG(300, "Command \"%s\"\nfailed, could not execute the shell, /bin/sh"), cmd);
  }
  if (status != 0 && (status & 0xff) == status)
    return (new Kes_err)->format_msg(
        2009, 0, UTIL_MSG(301, "Command \"%s\"\nfailed, /bin/sh killed by signal %d"), cmd,
        status & 127);
  int high = (status >> 8) & 0xff;
  if (high == 0) return nullptr;
  if (rc) *rc = high;
  // The shell reports a child killed by a signal as 128 + the signal.
  if (high & 0x80)
    return (new Kes_err)->format_msg(2011, 0, UTIL_MSG(302, "Command \"%s\"\nkilled by signal %d"),
                                     cmd, high & 127);
  return (new Kes_err)->format_msg(2012, 0, UTIL_MSG(303, "Command \"%s\"\nexited with status %d"),
                                   cmd, high);
}

Kes_err *kes_system_with_rc_no_quoting(const char *cmd, int *rc) {
  flush_output();
  return kes_decode_sh_wait(system(cmd), cmd, rc);
}

Kes_err *kes_system_with_rc(const char *cmd, int *rc) {
  std::string quoted(2 * strlen(cmd) + 1, '\0');
  kes_quote_str(cmd, &quoted[0]);
  flush_output();
  return kes_decode_sh_wait(system(quoted.c_str()), cmd, rc);
}

Kes_err *kes_system(const char *cmd) { return kes_system_with_rc(cmd, nullptr); }

Kes_err *kes_system_no_quoting(const char *cmd) {
  return kes_system_with_rc_no_quoting(cmd, nullptr);
}

Kes_err *kes_pclose_with_rc(FILE *fp, const char *cmd, int *rc) {
  return kes_decode_sh_wait(pclose(fp), cmd, rc);
}

Kes_err *kes_pclose(FILE *fp, const char *cmd) { return kes_pclose_with_rc(fp, cmd, nullptr); }

Kes_err *kes_decode_wait(int status, const char *path, char *const *argv, int *rc) {
  if (rc) *rc = 0;
  if (WIFSIGNALED(status))
    return (new Kes_err)->format_msg(2011, 0, UTIL_MSG(302, "Command \"%s\"\nkilled by signal %d"),
                                     command_line(path, argv).c_str(), WTERMSIG(status));
  if (!WIFEXITED(status) || WEXITSTATUS(status) == 0) return nullptr;
  int code = WEXITSTATUS(status);
  if (rc) *rc = code;
  // 127 is what the child leaves with when execv failed; it said why already.
  if (code == 127)
    return (new Kes_err)->format_msg(1028, 0, UTIL_MSG(304, "Execv of \"%s\" failed"), path);
  return (new Kes_err)->format_msg(2012, 0, UTIL_MSG(303, "Command \"%s\"\nexited with status %d"),
                                   command_line(path, argv).c_str(), code);
}

Kes_err *kes_execute_cmd_bg(const char *path, char *const *argv, long *pid, int errfd) {
  flush_output();
  pid_t child = vfork();
  if (child == 0) {
    // The child's descriptors are its own: ours need no saving and restoring.
    if (errfd >= 0 && errfd != 2) dup2(errfd, 2);
    execv(path, argv);
    Kes_err *err = (new Kes_err)->format_msg(1028, errno, UTIL_MSG(304, "Execv of \"%s\" failed"),
                                             path);
    err->print();
    delete err;  // the memory is the parent's until _exit
    _exit(127);
  }
  if (child < 0) {
    if (pid) *pid = -1;
    return (new Kes_err)->format_msg(
        1032, errno, UTIL_MSG(305, "Cannot start command \"%s\" because vfork failed"), path);
  }
  if (pid) *pid = child;
  return nullptr;
}

Kes_err *kes_execute_cmd_with_rc(const char *path, char *const *argv, int *rc) {
  if (rc) *rc = 0;
  long pid;
  Kes_err *err = kes_execute_cmd_bg(path, argv, &pid);
  if (err) return err;
  int status;
  pid_t got;
  // The heartbeat's alarm may interrupt the wait.
  while ((got = waitpid(static_cast<pid_t>(pid), &status, 0)) < 0 && errno == EINTR) {
  }
  if (got < 0) return (new Kes_err)->format_msg(1029, errno, UTIL_MSG(306, "Waitpid failed"));
  return kes_decode_wait(status, path, argv, rc);
}

Kes_err *kes_execute_cmd(const char *path, char *const *argv) {
  return kes_execute_cmd_with_rc(path, argv, nullptr);
}

KesCommand::KesCommand(const char *cmd) { snprintf(text, sizeof text, "%s", cmd ? cmd : ""); }

KesCommand::~KesCommand() = default;

long KesCommand::invoke() {
  flush_output();
  pid_t child = vfork();
  if (child == 0) {
    execl("/bin/sh", "/bin/sh", "-c", text, static_cast<char *>(nullptr));
    error(UTIL_MSG(307, "Cannot start command \"%s\" because exec failed\n"));
    _exit(127);
  }
  if (child < 0) error(UTIL_MSG(308, "Cannot start command \"%s\" because vfork failed\n"));
  return child;
}

void KesCommand::error(const char *fmt) {
  fprintf(stderr, fmt, text);
  fflush(stderr);
}

void KesGCommand::error(const char *fmt) { KesCommand::error(fmt); }

namespace {
// Where each program was found, for the whole process.
Kes_str_str_hash *found_programs() {
  static Kes_str_str_hash *found = new Kes_str_str_hash;
  return found;
}

void remember_program(const char *cmd, const char *path) {
  char *key = kes_strdup(cmd), *value = kes_strdup(path);
  if (found_programs()->insert(key, value)) {
    free(key);
    free(value);
  }
}

bool is_runnable(const char *path) {
  struct stat st;
  return access(path, R_OK | X_OK) == 0 && stat(path, &st) == 0 && S_ISREG(st.st_mode);
}
}  // namespace

Kes_err *kes_find_executable(const char *cmd, char *buf) {
  const char *known = found_programs()->lookup(cmd);
  if (known) {
    snprintf(buf, 1024, "%s", known);
    return nullptr;
  }
  if (getenv("BRINDLE_PATH_ONLY")) {
    Kes_err *err = kes_find_cmd_in_path(cmd, buf);
    if (!err) remember_program(cmd, buf);
    return err;
  }
  // The system's own programs first: those installed beside this one.
  char own[1024];
  snprintf(own, sizeof own, "%s", cmd);
  char *run_dir = nullptr;
  Kes_err *err = kes_find_run_dir(&run_dir);
  if (err) {
    delete err;
  } else {
    std::string joined = std::string(run_dir) + "/../../bin/" + cmd;
    err = kes_path_remove_dots(joined.c_str(), own);
    if (err) {
      delete err;
      snprintf(own, sizeof own, "%s", joined.c_str());
    } else if (is_runnable(own)) {
      snprintf(buf, 1024, "%s", own);
      remember_program(cmd, buf);
      return nullptr;
    }
  }
  err = kes_find_cmd_in_path(cmd, buf);
  if (!err) {
    remember_program(cmd, buf);
    return nullptr;
  }
  delete err;
  const char *path = getenv("PATH");
  return (new Kes_err)->format_msg(
      2025, 0,
      UTIL_MSG(309, "Could not find the \"%s\" command.  Executable \"%s\" does not exist.\n"
                    "Also, could not find the command in PATH \"%s\""),
      cmd, own, path ? path : "");
}
