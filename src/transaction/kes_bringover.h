// bringover: copies changes from a parent workspace into a child, creating
// the child when it does not exist yet.  Changes on both sides become
// conflicts in the child, so a bringover is never blocked by a file's state.
#ifndef BRINDLE_TRANSACTION_KES_BRINGOVER_H
#define BRINDLE_TRANSACTION_KES_BRINGOVER_H

#include "transaction/kes_transaction.h"

class Kes_bringover : public Kes_transaction {
public:
  Kes_bringover(int argc, char **argv);

  void command() override;
  [[nodiscard]] Kes_err *parse_args() override;
  int take_own_option(int c, Kes_err **err) override;
  [[nodiscard]] Kes_err *parse_dashp_arg(const char *path, Kes_workspace **ws) override;
  [[nodiscard]] Kes_err *determine_workspaces() override;
  int should_block() override;
  [[noreturn]] void usage() override;
  void setup_notification(const char *tmpname, const char *user) override;
  void checked_out_status(Kes_ws_file *to, Kes_ws_file *from) override;
  int report_problems(Kes_file *file, int print) override;

  const char *get_nofiles_to_do_msg() override;
  const char *get_changes_contents_msg() override;
  const char *get_changes_name_msg() override;
  const char *get_no_files_done_msg() override;
  Kes_trans_state get_new_in_to_msg() override;
  Kes_trans_state get_chgd_in_to_only_msg() override;
  Kes_trans_state get_unresolved_in_from_msg() override;
  Kes_trans_state get_unresolved_in_to_msg() override;
  Kes_trans_state get_checkedout_in_from_msg() override;
  Kes_trans_state get_checkedout_in_to_msg() override;
  Kes_trans_state get_name_chgd_in_to_only_msg() override;
};

// The option part of the usage line.
const char *kes_bringover_usage();

#endif
