// putback: copies changes from a child workspace into its parent.  The parent
// never has to resolve anything: every change in the parent the child has not
// seen, and every unclean state on either side, blocks the whole command
// before any file moves, and the bringover that would clear the way is
// printed, or with -b run.
#ifndef BRINDLE_TRANSACTION_KES_PUTBACK_H
#define BRINDLE_TRANSACTION_KES_PUTBACK_H

#include "transaction/kes_transaction.h"

class Kes_putback : public Kes_transaction {
public:
  int run_bringover;      // -b
  char *bringover_prog;   // "bringover", owned
  int start_dir_fd;       // the directory the command started in, -1 when none
  char start_dir[1024];   // its name, where a descriptor can't change directory

  // With (0, 0) it only serves its message texts: nothing is read or opened.
  Kes_putback(int argc, char **argv);
  ~Kes_putback() override;

  void command() override;
  [[nodiscard]] Kes_err *parse_args() override;
  int take_own_option(int c, Kes_err **err) override;
  [[nodiscard]] Kes_err *determine_workspaces() override;
  [[nodiscard]] Kes_err *get_comments() override;
  [[nodiscard]] Kes_err *execute_validation_program() override;
  int should_block() override;
  [[noreturn]] void usage() override;
  void setup_notification(const char *tmpname, const char *user) override;
  void checked_out_status(Kes_ws_file *to, Kes_ws_file *from) override;
  void set_conflict(Kes_ws_file *file) override;
  int report_problems(Kes_file *file, int print) override;

  const char *get_nofiles_to_do_msg() override;
  const char *get_changes_contents_msg() override;
  const char *get_changes_name_msg() override;
  const char *get_no_files_done_msg() override;
  Kes_trans_state get_new_in_to_msg() override;
  Kes_trans_state get_chgd_in_to_only_msg() override;
  Kes_trans_state get_name_chgd_in_to_only_msg() override;

  // The workspace's parent when it is a workspace; an Ombra parent alone is
  // error 2038.  *out is null when there is none.
  [[nodiscard]] virtual Kes_err *get_parent(Kes_workspace *ws, Kes_workspace **out);
  virtual void cleanup();

  // Prints the bringover that the parent's changes call for, or with -b runs
  // it, setting the exit status from its result.
  [[nodiscard]] Kes_err *bringover(Kes_strlist *changed, Kes_strlist *renamed, Kes_strlist *fresh);
  // Keeps the comment in the child's putback.cmt, for the putback after the
  // bringover.
  void save_comments();
};

// The option part of the usage line.
const char *kes_putback_usage();

#endif
