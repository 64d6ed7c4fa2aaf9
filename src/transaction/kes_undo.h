// ws_undo: takes the last bringover or putback into a workspace back.  The
// backup area that the transaction left (Brindle_wsdata/backup/files, a
// workspace of its own, and backup/new, the list of what it created) is the
// from workspace, the workspace itself the to workspace: saved histories are
// copied back, created ones removed, renames moved back, and the conflicts
// file and args file follow.  The area stays, so a second undo does the same
// work again.
//
// Where the members are defined:
//   kes_undo.cc        Kes_undo: options, workspaces, files, messages, mail
//   kes_undo_file.cc   Kes_file's undo state and actions, Kes_md_file, and
//                      Kes_md_args::determine_undo_state
#ifndef BRINDLE_TRANSACTION_KES_UNDO_H
#define BRINDLE_TRANSACTION_KES_UNDO_H

#include "transaction/kes_transaction.h"

class Kes_undo : public Kes_transaction {
public:
  Kes_strlist *created;  // what the last transaction created, from backup/new; owned

  // With (0, 0) it only serves its message texts: nothing is read or opened.
  Kes_undo(int argc, char **argv);
  ~Kes_undo() override;

  void command() override;
  [[nodiscard]] Kes_err *obtain_locks() override;
  [[nodiscard]] Kes_err *determine_files() override;
  [[nodiscard]] Kes_err *determine_prop_state(Kes_file *file) override;
  int checks_first_pages() override { return 0; }
  int execute_prop_action(Kes_file *file) override;
  [[nodiscard]] Kes_err *update_args_file(Kes_workspace *ws) override;
  [[nodiscard]] Kes_err *parse_args() override;
  [[nodiscard]] Kes_err *determine_workspaces() override;
  int should_block() override;
  [[noreturn]] void usage() override;
  void setup_notification(const char *tmpname, const char *user) override;
  void checked_out_status(Kes_ws_file *to, Kes_ws_file *from) override;
  int report_problems(Kes_file *file, int print) override;
  void print_parent_ws() override;
  void print_child_ws() override;

  const char *get_nofiles_to_do_msg() override;
  const char *get_changes_contents_msg() override;
  const char *get_changes_name_msg() override;
  const char *get_no_files_done_msg() override;
  // The words of the two kinds of line, "Removed" and "Restored".
  const char *get_creates_msg();
  const char *get_updates_msg();

  // Reads backup/new into created.
  [[nodiscard]] Kes_err *read_created();
  // Whether the last transaction created name.
  int was_created(const char *name);
};

// The option part of the usage line.
const char *kes_undo_usage();

#endif
