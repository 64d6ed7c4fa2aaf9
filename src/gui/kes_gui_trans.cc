// Kes_gui_trans: running the command, reading its output on a timer, the
// SIGCHLD handler, the Stop button, and the footers and log it writes to.
#include "gui/kes_gui_trans.h"

#include <Xm/Label.h>
#include <Xm/Xm.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "gui/kes_canvas.h"
#include "gui/kes_gui.h"
#include "gui/kes_gui_debug.h"
#include "gui/kes_gui_engine.h"
#include "gui/kes_gui_props.h"
#include "gui/kes_gui_sigchld.h"
#include "gui/kes_trans_forms.h"
#include "gui/shells/main_shell.h"
#include "gui/shells/trans_shell.h"
#include "toolkit/modal_dialog.h"
#include "toolkit/ss_gauge.h"
#include "util/kes_err.h"
#include "util/kes_list.h"
#include "workspace/kes_workspace.h"

namespace {

// What the SIGCHLD handler reads: the newest object, whose child it reaps.
Kes_gui_trans *volatile newest_trans;
volatile sig_atomic_t child_reaped;

Kes_gui_trans *long_lived_trans;
Kes_gui_undo *long_lived_undo;

void reap_command() {
  Kes_gui_trans *t = newest_trans;
  if (t && t->child_pid) {
    int status = 0;
    if (waitpid(t->child_pid, &status, WNOHANG) == t->child_pid) {
      // A child killed by a signal leaves 0: Stop is told by its own flag.
      t->exit_status = (status >> 8) & 0xff;
      child_reaped = 1;
    }
  }
}

void block_sigchld(int block) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGCHLD);
  sigprocmask(block ? SIG_BLOCK : SIG_UNBLOCK, &set, nullptr);
}

// The end of output can come before the signal: the shell is then waited for,
// so that the verdict is never taken before the status is there.
void collect_status(Kes_gui_trans *t) {
  block_sigchld(1);
  if (t->child_pid && !child_reaped) {
    int status = 0;
    pid_t r;
    while ((r = waitpid(t->child_pid, &status, 0)) < 0 && errno == EINTR) {
    }
    if (r == t->child_pid) t->exit_status = (status >> 8) & 0xff;
    child_reaped = 1;
  }
  block_sigchld(0);
}

void main_busy(int busy) { gui_set_busy(busy); }

}  // namespace

Kes_gui_trans *get_gui_trans() { return long_lived_trans; }
void set_gui_trans(Kes_gui_trans *trans) { long_lived_trans = trans; }
Kes_gui_undo *get_gui_undo() { return long_lived_undo; }
void set_gui_undo(Kes_gui_undo *undo) { long_lived_undo = undo; }

Kes_gui_trans::Kes_gui_trans(Kes_gui_trans_kind k, Kes_gui_engine *e)
    : command_prefix(strdup(" ")), command_suffix(strdup(" 2>&1")), kind(k), engine(e) {
  if (!engine && get_gui()) engine = get_gui()->get_engine(kind);
  newest_trans = this;
  if (Kes_gui_trans *base = get_gui_trans()) {
    file_list = base->file_list;
    flp_list = base->flp_list;
  }
}

Kes_gui_trans::~Kes_gui_trans() {
  if (newest_trans == this) newest_trans = nullptr;
  free(command);
  free(command_prefix);
  free(command_suffix);
  free(last_bringover_comment);
  free(last_putback_comment);
  free(last_undo_comment);
  delete parent_ws;
  delete child_ws;
}

// ---- the slots that the panels fill (the ones that find widgets are in
// kes_gui_panels.cc)

void Kes_gui_trans::set_abort_button(Widget) {}
void Kes_gui_trans::hide_abort_button() {}
void Kes_gui_trans::enable_panel() {}
void Kes_gui_trans::disable_panel() {}
void Kes_gui_trans::get_options() {}
int Kes_gui_trans::verify_parent_ws() { return 1; }
int Kes_gui_trans::verify_child_ws() { return 1; }
int Kes_gui_trans::verify_comment() { return 1; }
int Kes_gui_trans::build_cmd() { return 0; }
void Kes_gui_trans::cleanup() {}

void Kes_gui_trans::show_abort_button() {
  Widget button = get_abort_button();
  if (!button) return;
  XmString s = XmStringCreateLocalized(const_cast<char *>(GUI_MSG("Stop")));
  XtVaSetValues(button, XmNlabelString, s, nullptr);
  XmStringFree(s);
  XtSetSensitive(button, True);
}

// Prefix, command path (escaped: up to twice its length), options, comment,
// programs and files: the exact room the command line needs.
int Kes_gui_trans::get_cmd_size() {
  auto room = [](const char *s) { return s ? 2 * static_cast<int>(strlen(s)) + 8 : 0; };
  int size = room(command_prefix) + room(command_suffix) + 2 * 1024 + 64;
  size += parent_ws ? room(parent_ws->wsname) : 0;
  size += child_ws ? room(child_ws->wsname) : 0;
  char *comment = get_comments();
  size += room(comment) + 8;
  free(comment);
  size += 2 * static_cast<int>(strlen(integration_request)) + 8;
  for (Kes_strlist *list : {file_list, flp_list})
    if (list)
      for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next)
        size += room(static_cast<char *>(e->data)) + 4;
  return size;
}

void Kes_gui_trans::process() {
  clear_footer(KES_GUI_LEFT_FOOTER);
  clear_footer(KES_GUI_RIGHT_FOOTER);
  clear_popup_footer();
  main_busy(1);
  get_options();
  if (!verify_child_ws() || !verify_parent_ws() || !verify_comment()) {
    main_busy(0);
    return;
  }
  disable_panel();
  if (!build_cmd()) {
    main_busy(0);
    enable_panel();
    return;
  }
  if (get_gui() && get_gui()->get_props()->auto_display_output) show_output_window();
  run();
  main_busy(0);
}

void Kes_gui_trans::run() {
  main_busy(1);
  std::string shown = command ? command : "";
  size_t pre = strlen(command_prefix), suf = strlen(command_suffix);
  if (shown.size() >= pre + suf) shown = shown.substr(pre, shown.size() - pre - suf);
  write_to_log("\n\n", 2);
  write_to_log(shown.c_str(), static_cast<int>(shown.size()));
  write_to_log("\n", 1);
  changes = updates = creates = conflicts = renames = removes = restores = 0;
  update_statistics_footer();
  gui_debug("trans command %s", shown.c_str());

  int fds[2] = {-1, -1};
  if (pipe(fds) != 0) fprintf(stderr, "Pipe failed for process %d\n", static_cast<int>(getpid()));
  read_fd = fds[0];
  write_fd = fds[1];
  // The handler must not look for the child before its id is stored.
  block_sigchld(1);
  child_reaped = 0;
  pid_t pid = vfork();
  if (pid == 0) {
    setpgid(0, 0);  // a process group of its own, for Stop
    if (read_fd >= 0) close(read_fd);
    if (write_fd >= 0) {
      dup2(write_fd, 1);
      dup2(write_fd, 2);
      close(write_fd);
    }
    execlp("sh", "sh", "-c", command, static_cast<char *>(nullptr));
    fprintf(stderr, "Could not execute \"%s\"", command);
    _exit(1);
  }
  if (pid < 0) {
    block_sigchld(0);
    Kes_err err;
    err.format_msg(1032, errno, GUI_MSG("Cannot start command \"%s\" because vfork failed"),
                   command);
    main_busy(0);
    if (read_fd >= 0) close(read_fd);
    if (write_fd >= 0) close(write_fd);
    read_fd = write_fd = -1;
    trans_error_dialog(err.text);
    return;
  }
  if (write_fd >= 0) close(write_fd);
  write_fd = -1;
  show_abort_button();
  child_pid = pid;
  newest_trans = this;
  gui_on_sigchld(reap_command);
  block_sigchld(0);
  gui_debug("trans pid %d", pid);

  if (Widget b = get_abort_button()) XtVaSetValues(b, XmNuserData, this, nullptr);
  if (trans_shell_c *t = get_trans_shell()) XtVaSetValues(t->shell, XmNuserData, this, nullptr);
  finished = 0;
  timer = XtAppAddTimeOut(get_app_context(), poll_time, cmd_timer_func, this);
}

void cmd_timer_func(XtPointer object, XtIntervalId *) {
  auto *t = static_cast<Kes_gui_trans *>(object);
  t->timer = 0;
  if (t->finished) return;
  struct pollfd p = {t->read_fd, POLLIN, 0};
  int n = poll(&p, 1, t->poll_time);
  if (n > 0) {
    char buf[1024];
    ssize_t got = read(t->read_fd, buf, sizeof buf);
    if (got > 0) {
      t->process_buffer(buf, static_cast<int>(got));
      t->timer = XtAppAddTimeOut(get_app_context(), 100, cmd_timer_func, t);
    } else if (got < 0 && errno == EINTR) {
      t->timer = XtAppAddTimeOut(get_app_context(), 100, cmd_timer_func, t);
    } else {
      clean_up_after_trans(t);
    }
    return;
  }
  t->timer = XtAppAddTimeOut(get_app_context(), 100, cmd_timer_func, t);
}

void clean_up_after_trans(Kes_gui_trans *t) {
  t->finished = 1;
  if (t->timer) XtRemoveTimeOut(t->timer);
  t->timer = 0;
  if (t->read_fd >= 0) close(t->read_fd);
  t->read_fd = -1;
  collect_status(t);
  t->cleanup();  // deletes t
}

void cmd_kill_proc(Widget button) {
  XtPointer data = nullptr;
  XtVaGetValues(button, XmNuserData, &data, nullptr);
  auto *t = static_cast<Kes_gui_trans *>(data);
  if (!t || !t->child_pid || t->finished) return;
  t->stopped = 1;
  if (trans_shell_c *shell = get_trans_shell()) ss_set_busy_cursor(shell->shell, 1);
  pid_t pid = t->child_pid;
  gui_debug("trans stop %d", static_cast<int>(pid));
  kill(-pid, SIGTERM);
  for (;;) {
    struct pollfd p = {t->read_fd, POLLIN, 0};
    if (poll(&p, 1, t->poll_time) <= 0) break;
    char buf[1024];
    ssize_t got = read(t->read_fd, buf, sizeof buf);
    if (got <= 0) break;
    t->process_buffer(buf, static_cast<int>(got));
  }
  t->write_to_log("\nStopped\n", 9);
  if (trans_shell_c *shell = get_trans_shell()) ss_set_busy_cursor(shell->shell, 0);
  clean_up_after_trans(t);  // waits for the shell and deletes t
  while (waitpid(pid, nullptr, 0) >= 0 || errno == EINTR) {
  }
  XtVaSetValues(button, XmNuserData, nullptr, nullptr);
}

// ---- footers and the log

void Kes_gui_trans::write_to_log(const char *text, int length) {
  if (length <= 0) return;
  if (output_shell_c *out = get_output_shell()) out->update_output(text, length);
  if (gui_debug_on()) {
    std::string line(text, strnlen(text, length));
    while (!line.empty() && line.back() == '\n') line.pop_back();
    for (size_t i = 0; (i = line.find('\n', i)) != std::string::npos;) line.replace(i, 1, "\\n");
    if (!line.empty()) gui_debug("log %s", line.c_str());
  }
}

void Kes_gui_trans::print_footer(int footer, const char *text) {
  trans_shell_c *t = get_trans_shell();
  if (footer == KES_GUI_LEFT_FOOTER) {
    if (t) {
      XmString s = XmStringCreateLocalized(const_cast<char *>(text && *text ? text : " "));
      XtVaSetValues(t->trans_status_label, XmNlabelString, s, nullptr);
      XmStringFree(s);
    }
    gui_debug("trans status %s", text ? text : "");
    return;
  }
  // The right footer is the progress bar: cleared, it stands empty.
  if (t && !(text && *text)) t->progress->set(0, 100, 0);
}

void Kes_gui_trans::clear_footer(int footer) { print_footer(footer, nullptr); }

void Kes_gui_trans::print_popup_footer(const char *text) {
  if (output_shell_c *out = get_output_shell()) out->set_status(text);
  gui_debug("output status %s", text ? text : "");
}

void Kes_gui_trans::clear_popup_footer() { print_popup_footer(nullptr); }

void Kes_gui_trans::restore_panel() {
  hide_abort_button();
  enable_panel();
  gui_set_busy(0);
  if (trans_shell_c *t = get_trans_shell()) XtVaSetValues(t->shell, XmNuserData, nullptr, nullptr);
}
