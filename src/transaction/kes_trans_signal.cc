// What a transaction leaves behind when it ends early or at all: the file
// being written, the command locks, the record of the signal, and the mail.
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "transaction/kes_renames.h"
#include "transaction/kes_transaction.h"
#include "util/kes_err.h"
#include "util/kes_host.h"
#include "util/kes_msg.h"
#include "workspace/kes_cmdlog.h"
#include "workspace/kes_history.h"
#include "workspace/kes_nametable.h"
#include "workspace/kes_workspace.h"

Kes_transaction *current_transaction = nullptr;

namespace {

char incomplete_file[1024];
volatile sig_atomic_t exit_signal = 0;
bool exit_step_registered = false;

const int clean_exit_signals[] = {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM};
const int crash_signals[] = {SIGILL, SIGFPE, SIGBUS, SIGSEGV, SIGSYS};

// Interrupts, hang-ups and kills: clean up and leave with status 1.
void clean_exit_handler(int sig) {
  for (int s : clean_exit_signals) signal(s, SIG_IGN);
  kes_trans_cleanup(sig);
  exit(1);
}

// A crash: clean up what can be cleaned and keep the core.
void crash_handler(int sig) {
  kes_trans_cleanup(sig);
  signal(SIGABRT, SIG_DFL);
  abort();
}

void exit_step_hook() { kes_trans_exit_step(); }

}  // namespace

int kes_get_exit_signal() { return exit_signal; }

void kes_set_incomplete_file(const char *path) {
  if (!path) {
    incomplete_file[0] = '\0';
    return;
  }
  snprintf(incomplete_file, sizeof incomplete_file, "%s", path);
}

const char *kes_get_incomplete_file() { return incomplete_file[0] ? incomplete_file : nullptr; }

void kes_trans_take_signals() {
  for (int s : clean_exit_signals) signal(s, clean_exit_handler);
  for (int s : crash_signals) signal(s, crash_handler);
  if (!exit_step_registered) {
    exit_step_registered = true;
    atexit(exit_step_hook);
  }
}

void kes_trans_cleanup(int sig) {
  if (incomplete_file[0]) unlink(incomplete_file);
  Kes_transaction *t = current_transaction;
  if (t) {
    // A name table half written goes; its journal stays for the next reader.
    if (t->renames) {
      if (t->renames->from_nt) t->renames->from_nt->cleanup_on_intr();
      if (t->renames->to_nt) t->renames->to_nt->cleanup_on_intr();
    }
    if (t->backup_nametable) t->backup_nametable->cleanup_on_intr();
  }
  kes_trans_exit_step();
  if (t) {
    // The terminal has seen the signal already; the line is for the log.
    t->flags.silent = 1;
    t->printf(BWM_MSG(9050, "Command exited due to signal %d\n"), sig);
    // What was done up to here is recorded, with the failure.
    if (!t->flags.preview && t->history && t->cmdlog) {
      t->cmdlog->finish(1);
      t->history->done(t->cmdlog);
    }
  }
  exit_signal = sig;
  if (t && !t->flags.blocked && !t->flags.preview) t->notification();
}

void kes_trans_exit_step() {
  Kes_transaction *t = current_transaction;
  if (!t) return;
  t->release_locks();
  if (t->read_lock)
    kes_issue_warning(2623, 0, BWM_MSG(9051, "Read-lock left in workspace \"%s\""),
                      t->from_ws && t->from_ws->wsname ? t->from_ws->wsname : "");
  if (t->write_lock)
    kes_issue_warning(2623, 0, BWM_MSG(9052, "Write-lock left in workspace \"%s\""),
                      t->to_ws && t->to_ws->wsname ? t->to_ws->wsname : "");
}

void Kes_transaction::notification() {
  // The child must not write out what the parent still holds in its buffers.
  fflush(stdout);
  fflush(stderr);
  pid_t pid = fork();
  if (pid < 0) {
    issue_warning(2620, 0, BWM_MSG(9053, "Can't fork process to send notification"));
    return;
  }
  if (pid > 0) return;
  // The template has six X's, as this host's C library requires.
  char tmpname[] = "/tmp/notify.XXXXXX";
  int fd = mkstemp(tmpname);
  if (fd >= 0) {
    ::close(fd);
    setup_notification(tmpname, kes_get_user(0, 1));
    unlink(tmpname);
  }
  fflush(stdout);
  _exit(0);
}
