// The abstract command.  A transaction moves changes from the "from" workspace
// to the "to" workspace in a fixed order of phases; the subclasses (bringover,
// putback, undo) say which workspace is which, what blocks and what the
// messages say.  The base owns the phases, the two command locks, the signal
// handling, the output and the exit status.
#ifndef BRINDLE_TRANSACTION_KES_TRANSACTION_H
#define BRINDLE_TRANSACTION_KES_TRANSACTION_H

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "transaction/kes_trans_state.h"
#include "workspace/kes_nt_client.h"

class Kes_err;
class Kes_workspace;
class Kes_backuparea;
class Kes_first_pages;
class Kes_renames;
class Kes_strlist;
class Kes_filelist;
class Kes_str_int_hash;
class Kes_cmdlog;
class Kes_md_history;
class Kes_blocks;
class Kes_cmdlock;
class Kes_dir_hash;
class Kes_md_backupnew;
class Kes_md_nametable;
class Kes_timing;
class Kes_file;
class Kes_ws_file;
class Kes_autofr;

// The flags, lowest bit first.
struct Kes_trans_flags {
  unsigned creating_child : 1;
  unsigned child_root_empty : 1;
  unsigned preview : 1;
  unsigned backup : 1;
  unsigned no_backup : 1;
  unsigned spare_merge_bit : 1;
  unsigned quiet : 1;
  unsigned silent : 1;
  unsigned accepts_parent_option : 1;
  unsigned parent_given : 1;
  unsigned update_clear_files : 1;
  unsigned check_renames : 1;
  unsigned verbose : 1;
  unsigned blocked : 1;
  unsigned force_conflict : 1;
  unsigned verify_from_names : 1;
  unsigned verify_to_names : 1;
  unsigned show_delta_comments : 1;
};

// Which of the per-file counts a file contributes to; the order is that of
// the counters below.
struct Kes_trans_counts {
  int conflicts;
  int updates;
  int restores;
  int removes;
  int creates;
  int unchanged;
  int new_in_to;
  int changed_in_to_only;
  int cross_type;
  int unresolved_in_from;
  int unresolved_in_to;
  int checked_out_in_from;
  int checked_out_in_to;
  int renamed;
  int rename_conflicts;
  int name_changed_in_to_only;
  int update_parent_nh;
  int update_children_nh;
  int merge_nh;
  int differentiate_parent;
  int differentiate_child;
  int contents_errors;
  int rename_errors;
};

class Kes_transaction : public Kes_nt_client {
public:
  int argc;
  char **argv;  // not owned
  int first_file_arg;
  Kes_workspace *from_ws;
  Kes_workspace *to_ws;
  Kes_workspace *parent_ws;  // null for an undo
  Kes_workspace *child_ws;   // null for an undo
  Kes_backuparea *backup_area;
  Kes_renames *renames;
  Kes_strlist *file_args;
  char *include_file;
  Kes_strlist *excludes;
  char *exclude_file;
  Kes_strlist *flps;
  Kes_filelist *action_files;
  Kes_filelist *rename_candidates;
  Kes_str_int_hash *seen_names;
  Kes_strlist *from_conflicts;
  Kes_strlist *to_conflicts;
  Kes_cmdlog *cmdlog;
  Kes_md_history *history;
  Kes_blocks *blocks;
  Kes_cmdlock *read_lock;
  Kes_cmdlock *write_lock;
  Kes_dir_hash *dir_cache[2];
  int to_dir_fd;
  int from_dir_fd;
  int exit_status;
  Kes_md_backupnew *backup_list;
  Kes_strlist *comment;
  char *integration_request;
  Kes_md_nametable *backup_nametable;
  Kes_trans_flags flags;
  int examined;
  int action_count;
  int contents_action_count;
  int name_action_count;
  Kes_trans_counts counts;
  int quiet_merges;
  // Made only when BRINDLE_TIMING is set; a null timer ignores every call.
  Kes_timing *command_timer;
  Kes_timing *determine_files_timer;
  Kes_timing *create_ws_files_timer;
  Kes_timing *examine_creates_timer;
  Kes_timing *readdir_timer;
  Kes_timing *determine_states_timer;
  Kes_timing *execute_actions_timer;
  Kes_str_int_hash *symlink_cache;
  // First-page checks made ahead on a second thread, while names are read
  // from a file list program; page_item is the name being added, else -1.
  Kes_first_pages *first_pages;
  long page_item;

  Kes_transaction(int argc, char **argv);
  virtual ~Kes_transaction();
  Kes_transaction(const Kes_transaction &) = delete;
  Kes_transaction &operator=(const Kes_transaction &) = delete;

  virtual void command();
  [[nodiscard]] virtual Kes_err *transaction();
  [[nodiscard]] virtual Kes_err *obtain_locks();
  virtual void release_locks();
  [[nodiscard]] virtual Kes_err *propagate();
  [[nodiscard]] virtual Kes_err *determine_files();
  [[nodiscard]] virtual Kes_err *add_file(Kes_workspace *ws, char *name, int *found);
  [[nodiscard]] virtual Kes_err *add_kes_file(Kes_file *file, char *name, int *found);
  [[nodiscard]] virtual Kes_err *determine_prop_state(Kes_file *file);
  [[nodiscard]] virtual Kes_err *execute_actions();
  [[nodiscard]] virtual Kes_err *execute_validation_program();
  virtual int execute_prop_action(Kes_file *file);
  [[nodiscard]] virtual Kes_err *determine_relname(const char *path, char *out);
  virtual int history_file_exists(const char *path, const char *dir);
  [[nodiscard]] virtual Kes_err *send_mail();
  [[nodiscard]] virtual Kes_err *run_dir_flp(const char *dir);
  [[nodiscard]] virtual Kes_err *run_gen_flp(const char *program);
  virtual void printf(const char *fmt, ...) __attribute__((format(printf, 2, 3)));
  virtual void status_printf(int state, const char *name);
  virtual void vstatus_printf(int state, const char *name);
  virtual int should_run_dir_flp(Kes_workspace *ws, const char *dir);
  [[nodiscard]] virtual Kes_err *run_dir_flp_in_ws_bg(Kes_workspace *ws, const char *dir,
                                                      const char *out_path, long *pid);
  [[nodiscard]] virtual Kes_err *run_dir_flp_in_ws(Kes_workspace *ws, const char *dir);
  [[nodiscard]] virtual Kes_err *run_gen_flp_in_ws(Kes_workspace *ws, const char *program,
                                                   int *ran);
  [[nodiscard]] virtual Kes_err *run_flp(Kes_workspace *ws, const char *command);
  [[nodiscard]] virtual Kes_err *read_flp_output(Kes_workspace *ws, const char *path, long pid);
  [[nodiscard]] virtual Kes_err *init_backup();
  [[nodiscard]] virtual Kes_err *remove_backup();
  virtual void summarize();
  virtual int content_chgs();
  virtual int name_chgs();
  virtual void print_errs();
  [[nodiscard]] virtual Kes_err *update_args_file(Kes_workspace *ws);
  [[nodiscard]] virtual Kes_err *print_comment();
  [[nodiscard]] virtual Kes_err *print_rti();
  virtual void issue_warning(int code, int err, const char *fmt, ...)
      __attribute__((format(printf, 4, 5)));
  virtual void checked_out_status(Kes_ws_file *to, Kes_ws_file *from) = 0;
  virtual void set_conflict(Kes_ws_file *file);
  virtual const char *get_nofiles_to_do_msg() = 0;
  virtual const char *get_changes_contents_msg() = 0;
  virtual const char *get_changes_name_msg() = 0;
  virtual const char *get_no_files_done_msg() = 0;
  virtual Kes_trans_state get_new_in_to_msg();
  virtual Kes_trans_state get_chgd_in_to_only_msg();
  virtual Kes_trans_state get_unresolved_in_from_msg();
  virtual Kes_trans_state get_unresolved_in_to_msg();
  virtual Kes_trans_state get_checkedout_in_from_msg();
  virtual Kes_trans_state get_checkedout_in_to_msg();
  virtual Kes_trans_state get_name_chgd_in_to_only_msg();
  virtual const char *localized_str(int state);
  virtual const char *english_str(int state);
  [[nodiscard]] virtual Kes_err *parse_args() = 0;
  virtual void parse_dasha_arg(Kes_workspace *ws);
  [[nodiscard]] virtual Kes_err *parse_dashp_arg(const char *path, Kes_workspace **ws);
  [[nodiscard]] virtual Kes_err *update_arg_list();
  [[nodiscard]] virtual Kes_err *determine_workspaces() = 0;
  [[nodiscard]] virtual Kes_err *get_comments();
  virtual int should_block() = 0;
  [[noreturn]] virtual void usage() = 0;
  virtual void setup_notification(const char *tmpname, const char *user) = 0;
  virtual Kes_file *kes_file_create();
  virtual void print_wss();
  virtual void print_parent_ws();
  virtual void print_child_ws();
  virtual int report_problems(Kes_file *file, int print) = 0;
  virtual int is_relname_symlink(const char *name, Kes_file *file);
  virtual int is_dir_symlink(const char *name, const char *dir);
  // 1 when the examination compares histories' first pages, so that they
  // are worth reading ahead.
  virtual int checks_first_pages() { return 1; }

  // What a name table rebuilt for this run asks.
  int nt_creating_child(Kes_workspace *ws) override;
  void nt_print_progress(Kes_workspace *ws) override;

  // Prints a summary line "%8d   %s\n" when count is positive.
  void print_summary_line(int state, int count);
  // Forks a child that sends the notification mail; the parent goes on.
  void notification();
  // One mail about this run to address, composed in tmpname; path, if
  // given, is the part of the workspace the recipient registered for.
  void send_notification(const char *event, const char *path, const char *address,
                         const char *tmpname, const char *body);
  // Tells address, if known, that the mail could not be sent.
  void mail_err(const char *address, Kes_err *err);
  // Those registered for event in ws each get one mail with body, or one
  // per path they listed.
  void notify_event(const char *tmpname, const char *user, const char *event, Kes_workspace *ws,
                    const char *body);
  // The mail of a transaction between two workspaces: those registered for
  // first_event in first and for second_event in second each get one mail,
  // or one per path they listed.  Each body format takes the event, then
  // name, path and description line of its own workspace and of the other,
  // then the user.
  void notify_pair(const char *tmpname, const char *user, const char *first_event,
                   Kes_workspace *first, Kes_workspace *second, const char *first_fmt,
                   const char *second_event, const char *second_fmt);
  // Runs the putback validation program with the user, the to and from
  // workspaces, the integration request and a file of the changed names; a
  // refusal is error 2023.
  [[nodiscard]] Kes_err *run_mrs(const char *program);
  // Records the state of the to workspace in a freezepoint file by the
  // freezept command, as the workspace's settings ask before or after a
  // transaction.
  [[nodiscard]] Kes_err *autofreezepoint();
  // The summary lines, (state, count) for each positive count, of the
  // contents summary, or with names set of the names summary.
  void summary_counts(int names, int *states, int *values, int *n);
  // Writes text into the history log of this run, if one is open.
  void log_vprintf(const char *fmt, va_list ap);
  void log_printf(const char *fmt, ...) __attribute__((format(printf, 2, 3)));
  // Prints every timer in the fixed order, when timing is on.
  void print_timers();
  // Puts the workspace's conflicts file right about file, as its history
  // says (see kes_trans_files.cc).
  void reconcile_conflict_file(Kes_ws_file *file);
  // init_backup once per run, unless a preview or backups are off; then -B
  // stops new entries (kes_backup.cc).
  [[nodiscard]] Kes_err *start_backup();
  // Renames run in an order that frees each target name first; two files
  // that want each other's names are dropped with a warning.
  void sort_renames_in_af_list();
  void drop_swaps();

protected:
  // Empty action lists and both workspaces' conflicts read afresh: the start
  // of every determine_files.
  [[nodiscard]] Kes_err *start_file_lists();
  // The options bringover and putback share (-n -f -c -m -i -x -q -v -g -d
  // -B): 1 when c is one of them, with *err set if its argument was bad.
  int take_shared_option(int c, Kes_err **err);
  // A command's options beyond those: 1 when c is one, with *err set if its
  // argument was bad.
  virtual int take_own_option(int c, Kes_err **err);
  // The scan of bringover and putback with getopt's optstring: -w names the
  // child, -p the parent, then the command's own options and the shared ones;
  // anything else gets the usage text.  Then the child workspace, and without
  // names the args file's list.
  [[nodiscard]] Kes_err *parse_child_parent_args(const char *optstring);
  // transaction(), the exit status from its result and counters, and the mail.
  void run_and_mail();
  // Gets and begins the history log of the to workspace, with the comment.
  [[nodiscard]] Kes_err *open_history();
  // autofreezepoint when the to workspace's setting `when` asks for one.
  [[nodiscard]] Kes_err *autofreezepoint_if(int Kes_autofr::*when);
  // This run's record, started and done in the history log of ws as well.
  [[nodiscard]] Kes_err *log_also_in(Kes_workspace *ws);
  // An error at the end of a command: printed, and the status is 1.
  void fail_on(Kes_err *err);
  void vprint_out(const char *fmt, va_list ap);
};

// The canonical form of a name: "dir/SCCS/s.x" is "dir/x" when SCCS is the
// history directory vcs_dir; with none, "dir/s.x" is "dir/x".
std::string kes_canonical_name(const char *name, const char *vcs_dir);

// Reads the names a file list program wrote and adds each to t's files, as
// found in ws; an error stops the reading.  The older output form
// (BRINDLE_COMPAT_2_1) has blank_separated names instead of one a line.
[[nodiscard]] Kes_err *kes_read_flp_names(Kes_transaction *t, Kes_workspace *ws, FILE *fp,
                                          int blank_separated);

// Comment lines from a file (-m), each cut at 1024 bytes and without its
// newline, appended to comment.
[[nodiscard]] Kes_err *kes_read_comment_file(const char *path, Kes_strlist *comment);

// Overwrites the value of BRINDLE_WS_ROOT, which file list programs read.
void kes_trans_set_ws_root(const char *root);

// The run whose locks and files the signal handlers and the exit step clean
// up; null outside a run.
extern Kes_transaction *current_transaction;
// The signal that ended the command, 0 if none; read by the notification mail.
int kes_get_exit_signal();

// The file being written right now: a signal removes it, so that no half
// written file is left.  A null path clears it.
void kes_set_incomplete_file(const char *path);
const char *kes_get_incomplete_file();

// Sets up the two signal handlers and registers the exit step.
void kes_trans_take_signals();
// The common clean-up of both handlers: what a signal leaves behind.
void kes_trans_cleanup(int sig);
// Run at every end of the process: warns about command locks left behind.
void kes_trans_exit_step();

// The main of a transaction program after kes_start_command: the object
// stays alive to the end, since the exit step releases its locks.
template <class T>
[[noreturn]] void kes_run_transaction(int argc, char **argv) {
  static T *running;
  running = new T(argc, argv);
  running->command();
  exit(running->exit_status);
}

#endif
