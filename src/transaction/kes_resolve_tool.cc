// Resolve_tool: the merge tool as the resolve command drives it, twinpane
// over the message service or, without one, "twinpane -x" per file.
#include "transaction/kes_resolve_tool.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"
#include "util/kes_process.h"

namespace {

// The answer to the running Load; set by its callback.
Hw_status load_status = HW_OK;

void load_answered(Hw_message m) {
  if (hw_message_state(m) == HW_STATE_FAILED) load_status = hw_message_status(m);
  hw_message_destroy(m);
}

Kes_err *tool_error(const char *text, const char *arg) {
  return (new Kes_err)->format_msg(2074, 0, text, arg);
}

}  // namespace

Resolve_tool::Resolve_tool(Kes_workspace *w, const Kes_resolve_rc *s)
    : ws(w), settings(s), connected(-1), pid(-1), pidfd(-1), started(false), gone(false) {}

Resolve_tool::~Resolve_tool() {
  quit();
  if (connected == 1) hw_close();
}

Kes_err *Resolve_tool::spawn(const std::vector<std::string> &words) {
  std::vector<char *> argv;
  for (const std::string &w : words) argv.push_back(const_cast<char *>(w.c_str()));
  argv.push_back(nullptr);
  fflush(nullptr);
  pid = fork();
  if (pid == 0) {
    // Answers piped to resolve are not the tool's; the tool writes the user's
    // files, with the user's mask.
    if (!isatty(0)) dup2(open("/dev/null", O_RDONLY), 0);
    umask(umask_get());
    execv(argv[0], argv.data());
    fprintf(stderr, "%s: %s: %s\n", kes_get_base_cmdname(), argv[0], strerror(errno));
    _exit(127);
  }
  if (pid < 0)
    return (new Kes_err)
        ->format_msg(1032, errno,
                     BWM_MSG(14540, "Cannot start command \"%s\" because fork failed"), argv[0]);
  pidfd = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
  return nullptr;
}

bool Resolve_tool::reaped() {
  if (pid < 0) return true;
  int status;
  if (waitpid(pid, &status, WNOHANG) != pid) return false;
  pid = -1;
  if (pidfd >= 0) close(pidfd);
  pidfd = -1;
  return true;
}

Kes_err *Resolve_tool::merge(Kes_resolve *r, int *decision) {
  *decision = KES_RS_SKIP;
  char program[1024];
  Kes_err *err = kes_find_executable("twinpane", program);
  if (err) return err;
  if (connected < 0) {
    connected = 0;
    if (!getenv("BRINDLE_NO_HAILWAY")) {
      char *id = hw_open();
      if (id && hw_session_join(hw_default_session()) == HW_OK) {
        me = id;
        connected = 1;
      } else if (id) {
        hw_close();
      }
    }
  }
  return connected ? served(program, r, decision) : offline(program, r, decision);
}

Kes_err *Resolve_tool::offline(const char *program, Kes_resolve *r, int *decision) {
  Kes_err *err = spawn(resolve_twinpane_command(program, nullptr, r));
  if (err) return err;
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) continue;
  pid = -1;
  if (pidfd >= 0) close(pidfd);
  pidfd = -1;
  int rc = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  if (rc == KES_RS_PARENT || rc == KES_RS_CHILD || rc == KES_RS_MERGED) {
    *decision = rc;
    return nullptr;
  }
  // 0 is a skip; anything else the tool has explained on standard error.
  if (rc == 0) return nullptr;
  return (new Kes_err)
      ->format_msg(2074, 0, BWM_MSG(14541, "The merge tool \"%s\" failed"), program);
}

Kes_err *Resolve_tool::next(Hw_message *m) {
  *m = nullptr;
  for (;;) {
    load_status = HW_OK;
    *m = hw_message_receive();
    Hw_status s = hw_pointer_error(*m);
    // 3022: the tool left before it answered; its leaving is reported too.
    if (load_status != HW_OK && load_status != HW_ERR_NO_REPLY) {
      if (*m) hw_message_destroy(*m);
      *m = nullptr;
      char number[32];
      snprintf(number, sizeof number, "%d", static_cast<int>(load_status));
      return tool_error(BWM_MSG(14542, "Couldn't start Merging window (Hailway error %s)"),
                        number);
    }
    if (*m) return nullptr;
    if (s != HW_ERR_NO_MESSAGE)
      return (new Kes_err)
          ->format_msg(2042, 0, BWM_MSG(14543, "Hailway failed, error = %d: %s"),
                       static_cast<int>(s), hw_status_message(s));
    // The tool's end is told by the bus once it has started: what it sent
    // before comes first.  Before that, only the process can tell.
    if (gone || (!started && reaped())) return nullptr;
    pollfd fds[2] = {{hw_fd(), POLLIN, 0}, {pidfd, POLLIN, 0}};
    bool watch = pidfd >= 0 && !started;
    // Without a process descriptor the process is looked at every second.
    if (poll(fds, watch ? 2 : 1, !started && pidfd < 0 && pid >= 0 ? 1000 : -1) < 0 &&
        errno != EINTR)
      return (new Kes_err)->format_msg(1040, errno, BWM_MSG(14544, "Poll failed"));
    if (started) reaped();
  }
}

void Resolve_tool::over() {
  started = gone = false;
  tool_id.clear();
  if (pid >= 0) {
    while (waitpid(pid, nullptr, 0) < 0 && errno == EINTR) continue;
    pid = -1;
  }
  if (pidfd >= 0) close(pidfd);
  pidfd = -1;
}

// Always to the tool started here: by procedure the service could hand the
// file to another resolve side's tool, registered first.
Kes_err *Resolve_tool::load(Kes_resolve *r) {
  return resolve_send_hw_load_msg(1, r, tool_id.c_str(), settings->autosave, load_answered);
}

Kes_err *Resolve_tool::served(const char *program, Kes_resolve *r, int *decision) {
  Kes_err *err = nullptr;
  if (!started) {
    over();
    if ((err = spawn(resolve_twinpane_command(program, me.c_str(), nullptr)))) return err;
  } else if ((err = load(r))) {
    return err;
  }
  for (int decided = 0; !decided;) {
    Hw_message m;
    if ((err = next(&m))) break;
    if (!m) {
      // Ended: before its start, or gone from the bus.
      if (!started) err = tool_error(BWM_MSG(14545, "The merge tool \"%s\" ended before it started"),
                                     program);
      over();
      break;
    }
    std::string op = hw_message_op(m);
    std::string from = hw_message_sender(m) ? hw_message_sender(m) : "";
    if (op == HW_TP_STARTED && !started) {
      started = true;
      tool_id = from;
      // A tool that dies must not leave us waiting.
      gone = hw_process_watch(tool_id.c_str()) != HW_OK;
      err = load(r);
      if (err) decided = 1;
    } else if (op == HW_TP_LOADED) {
      tool_id = from;
    } else if (op == HW_TP_SAVED) {
      Kes_resolve *saved = nullptr;
      int took_parent = 0, took_child = 0;
      Kes_err *bad = resolve_get_hw_save_msg(m, ws, &saved, &took_parent, &took_child);
      // A report on other files (a late one, or somebody else's) is told and passed over.
      if (bad) {
        bad->print();
        delete bad;
      } else if (!strcmp(saved->path, r->path) && !strcmp(saved->merged_file, r->merged_file)) {
        *decision = took_parent ? KES_RS_PARENT : took_child ? KES_RS_CHILD : KES_RS_MERGED;
        decided = 1;
      }
      delete saved;  // its files are r's: they stay
    } else if (op == HW_TP_QUITTED || (op == HW_OP_PROCESS_GONE && from == tool_id)) {
      // The tool ended with this file undecided.
      over();
      decided = 1;
    } else {
      hw_message_reject(m);
    }
    hw_message_destroy(m);
  }
  // A tool that can't be talked to is let go: the next file starts a new one.
  if (err) quit();
  return err;
}

void Resolve_tool::quit() {
  if (started && !tool_id.empty())
    resolve_send_hw_quit_msg(tool_id.c_str());
  else if (pid >= 0)
    kill(pid, SIGTERM);  // started, not yet announced: it would wait for us
  over();
}
