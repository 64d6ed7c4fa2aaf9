// Clear files refreshed in the background: get_clear_file starts a `get` for
// a file and goes on with the next, at most five at a time, and
// kes_gets_finish waits for the rest.  A get that fails with status 11 is
// tried once more; any other failure is the file's contents error.
//
// Each get writes its standard error into a file of its own, read when it
// ends: a failure is told with what get said, and the chatter of one that
// worked (warnings about keywords) does not fill the user's terminal.  The
// file is an anonymous one in memory: no name to race, nothing to unlink.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "transaction/kes_file.h"
#include "transaction/kes_trans_timers.h"
#include "transaction/kes_transaction.h"
#include "util/kes_crash.h"
#include "util/kes_err.h"
#include "util/kes_msg.h"
#include "util/kes_process.h"
#include "util/kes_timing.h"

namespace {

const int kMaxGets = 5;
const int kRetryStatus = 11;

char get_path[2048];
const char *const get_name = "get";
bool get_searched = false;

struct Running {
  Kes_file *file;
  int errors;  // the file that takes the get's standard error, or -1
};
std::deque<Kes_file *> pending;
std::vector<Running> running;

std::string take_text(int fd) {
  std::string text;
  char buf[1024];
  ssize_t n;
  for (off_t at = 0; (n = pread(fd, buf, sizeof buf, at)) > 0; at += n) {
    text.append(buf, n);
    // The get has ended, and a file reads short only at its end.
    if ((size_t)n < sizeof buf) break;
  }
  close(fd);
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

// The history's name as get's operand: one that begins with "-" gets "./" in
// front, so that get does not take it for an option.
std::string operand(Kes_file *f) {
  char sdot[1024];
  f->to->get_rel_sdotname(sdot);
  return sdot[0] == '-' ? std::string("./") + sdot : std::string(sdot);
}

void start(Kes_transaction *t, Kes_file *f) {
  char clr[1024];
  std::string gopt = std::string("-G") + f->to->get_rel_clrname(clr);
  std::string sdot = operand(f);
  char *argv[] = {const_cast<char *>(get_name), const_cast<char *>("-s"), &gopt[0], &sdot[0], nullptr};
  int errfd = memfd_create("brindle_get", MFD_CLOEXEC);
  kes_crash_point();
  long pid = -1;
  Kes_err *err = kes_execute_cmd_bg(get_path, argv, &pid, errfd);
  if (err) {
    if (errfd >= 0) close(errfd);
    f->contents_error = err;
    t->counts.contents_errors++;
    return;
  }
  f->get_pid = static_cast<int>(pid);
  running.push_back({f, errfd});
}

void start_more(Kes_transaction *t) {
  Kes_timing *timer = kes_trans_timer(KES_TIMER_SCCS_GETS);
  Kes_timing::start(timer);
  while (running.size() < static_cast<size_t>(kMaxGets) && !pending.empty()) {
    Kes_file *f = pending.front();
    pending.pop_front();
    start(t, f);
  }
  Kes_timing::stop(timer);
}

// What the get of running[i], which ended with status, leaves to do.
void finished(Kes_transaction *t, size_t i, int status) {
  Running r = running[i];
  running.erase(running.begin() + i);
  std::string said = r.errors < 0 ? "" : take_text(r.errors);
  Kes_file *f = r.file;
  f->get_pid = 0;
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return;
  if (WIFEXITED(status) && WEXITSTATUS(status) == kRetryStatus && f->get_retries == 0) {
    f->get_retries++;
    pending.push_back(f);
    return;
  }
  char clr[1024];
  std::string gopt = std::string("-G") + f->to->get_rel_clrname(clr);
  std::string sdot = operand(f);
  char *argv[] = {const_cast<char *>(get_name), const_cast<char *>("-s"), &gopt[0], &sdot[0], nullptr};
  Kes_err *err = kes_decode_wait(status, get_path, argv, nullptr);
  if (err && !said.empty()) {
    Kes_err *told = (new Kes_err(strlen(err->text) + said.size() + 8))
                        ->format_msg(err->code, err->system_errno, "%s\n%s", err->text, said.c_str());
    delete err;
    err = told;
  }
  if (!err) return;
  delete f->contents_error;
  f->contents_error = err;
  t->counts.contents_errors++;
}

// Collects the gets that have ended; with block, waits for the first.
void reap(Kes_transaction *t, int block) {
  for (size_t i = 0; i < running.size();) {
    int status = 0;
    pid_t got;
    while ((got = waitpid(running[i].file->get_pid, &status, block ? 0 : WNOHANG)) < 0 &&
           errno == EINTR) {
    }
    if (got == 0) {
      i++;
      continue;
    }
    if (got < 0) status = 0;  // someone else collected it; nothing is known against it
    finished(t, i, status);
    if (block) return;
  }
}

}  // namespace

void Kes_file::get_clear_file(Kes_transaction *t) {
  if (!get_searched) {
    get_searched = true;
    Kes_err *err = kes_find_cmd_in_path(get_name, get_path);
    if (err) {
      delete err;
      get_path[0] = '\0';
      t->flags.update_clear_files = 0;
      const char *path = getenv("PATH");
      t->issue_warning(2628, 0,
                       BWM_MSG(11020, "Not updating clear files because check out command "
                                      "couldn't be found in PATH \"%s\""),
                       path ? path : "(null)");
    }
  }
  if (!get_path[0]) return;
  reap(t, 0);
  pending.push_back(this);
  start_more(t);
}

void kes_gets_finish(Kes_transaction *t) {
  while (!pending.empty()) {
    start_more(t);
    reap(t, 1);
  }
  while (!running.empty()) reap(t, 1);
}
