// twinpane's side of the merge-tool protocol over Hailway: it announces itself to
// the resolve side, loads the files it is sent, reports each decision, and quits.
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>

#include "desktop/twinpane.h"
#include "hailway/hailway.h"
#include "hailway/hw_twinpane.h"
#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"

namespace {
void report(const char *what, Hw_status s) {
  Kes_err err;
  err.format_msg(2042, 0, BWM_MSG(15010, "%s failed, Hailway error = %d: %s"), what,
                 static_cast<int>(s), hw_status_message(s));
  err.print();
}

// A notice to the process with id to; fill adds its arguments.
Hw_status notify(const std::string &to, const char *op,
                 const std::function<void(Hw_message)> &fill = nullptr) {
  Hw_message m =
      hw_message_create(op, HW_CLASS_NOTICE, HW_SCOPE_SESSION, HW_ADDRESS_HANDLER, to.c_str());
  if (!m) return hw_pointer_error(m);
  if (fill) fill(m);
  Hw_status s = hw_message_send(m);
  hw_message_destroy(m);
  if (s != HW_OK) report(op, s);
  return s;
}

// A string argument, "" for null; false when the argument isn't a string.
bool string_arg(Hw_message m, int n, std::string *out) {
  const char *v = nullptr;
  if (hw_message_arg_string(m, n, &v) != HW_OK) return false;
  *out = v ? v : "";
  return true;
}

bool read_load(Hw_message m, Tp_job *job, int *autosave) {
  bool ok = hw_message_args_count(m) >= HW_TP_LOAD_COUNT &&
            string_arg(m, HW_TP_LOAD_ANCESTOR, &job->ancestor) &&
            string_arg(m, HW_TP_LOAD_CHILD_CAPTION, &job->captions[0]) &&
            string_arg(m, HW_TP_LOAD_PARENT_CAPTION, &job->captions[1]) &&
            string_arg(m, HW_TP_LOAD_MERGED_CAPTION, &job->captions[2]) &&
            string_arg(m, HW_TP_LOAD_CHILD, &job->child) &&
            string_arg(m, HW_TP_LOAD_PARENT, &job->parent) &&
            string_arg(m, HW_TP_LOAD_MERGED, &job->merged) &&
            string_arg(m, HW_TP_LOAD_PATH, &job->title) &&
            hw_message_arg_int(m, HW_TP_LOAD_AUTOSAVE, autosave) == HW_OK;
  return ok && !job->child.empty() && !job->parent.empty() && !job->merged.empty() &&
         !job->title.empty();
}

// Returns false when the file ended without a decision: the session ends, and
// the resolve side learns from Quitted that the file is still in conflict.
bool load(Hw_message m, int preset) {
  Tp_job job;
  int autosave = 0;
  if (!read_load(m, &job, &autosave)) {
    fprintf(stderr, BWM_MSG(15011, "%s: a Load message without its files is refused\n"),
            kes_get_base_cmdname());
    hw_message_reject(m);
    return true;
  }
  hw_message_reply(m);
  std::string pane = hw_message_sender(m);
  notify(pane, HW_TP_LOADED);
  job.ask = isatty(0) && !autosave;
  Tp_decision decision;
  if (Kes_err *err = tp_resolve(job, preset, &decision)) {
    err->print();
    delete err;
    return false;
  }
  if (decision == TP_SKIP) return false;
  notify(pane, HW_TP_SAVED, [&](Hw_message saved) {  // in the order of Hw_tp_saved_arg
    const std::string *names[] = {&job.ancestor, &job.child, &job.parent, &job.merged};
    for (const std::string *name : names)
      hw_message_string_arg_add(saved, HW_MODE_IN, name->empty() ? nullptr : name->c_str());
    hw_message_int_arg_add(saved, HW_MODE_IN, decision == TP_PARENT);
    hw_message_int_arg_add(saved, HW_MODE_IN, decision == TP_CHILD);
  });
  return true;
}
}  // namespace

int tp_serve(const char *caller, int preset) {
  char *me = hw_open();
  Hw_status s = hw_pointer_error(me);
  if (s == HW_OK) s = hw_session_join(hw_default_session());
  // Registered before announcing itself, so that the Load the announcement
  // brings finds this process.
  if (s == HW_OK) s = hw_op_register(HW_TP_LOAD);
  // A resolve side that dies without a Quit must not leave the tool behind.
  if (s == HW_OK) s = hw_process_watch(caller);
  if (s != HW_OK) {
    report(BWM_MSG(15012, "Opening the Hailway channel"), s);
    return 1;
  }
  if (notify(caller, HW_TP_STARTED) != HW_OK) return 1;
  for (;;) {
    pollfd p{hw_fd(), POLLIN, 0};
    if (p.fd >= 0 && poll(&p, 1, -1) < 0 && errno == EINTR) continue;
    Hw_message m = hw_message_receive();
    if (!m) {
      if (hw_pointer_error(m) == HW_ERR_NO_MESSAGE) continue;
      report(BWM_MSG(15013, "Receiving"), hw_pointer_error(m));
      return 1;
    }
    std::string op = hw_message_op(m);
    bool quit = false;
    if (op == HW_TP_LOAD) {
      if (!load(m, preset)) {
        notify(caller, HW_TP_QUITTED);
        quit = true;
      }
    } else if (op == HW_TP_SET_LFTR) {
      // The resolve side's progress line, shown here too.
      std::string line;
      if (string_arg(m, 0, &line) && line.find_first_not_of(' ') != std::string::npos)
        fprintf(stderr, "%s\n", line.c_str());
      hw_message_reply(m);
    } else if (op == HW_TP_UNLOAD) {
      hw_message_reply(m);
    } else if (op == HW_OP_PROCESS_GONE && hw_message_sender(m) == std::string(caller)) {
      fprintf(stderr, BWM_MSG(15014, "%s: the resolve side has gone; quitting\n"),
              kes_get_base_cmdname());
      quit = true;
    } else if (op == HW_TP_QUIT) {
      hw_message_reply(m);
      notify(caller, HW_TP_QUITTED);
      quit = true;
    } else {
      hw_message_reject(m);
    }
    hw_message_destroy(m);
    if (quit) {
      hw_close();
      return 0;
    }
  }
}
