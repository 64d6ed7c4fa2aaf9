// What the transactions do not do yet: the phases of the driver that pass
// through (each succeeds and does nothing), and the operations whose work is
// still to come (each ends the program if reached, and no run reaches one).
//
// They are all here, and only here, so that what a transaction skips can be
// read in one place.  The change that builds one deletes its entry here and
// defines the real one with its class.  With BRINDLE_DEBUG_PHASES set, every
// pass-through names itself on standard error as it is passed, so a run shows
// which of them it met.
//
// Passing through:
//   propagation      execute_prop_action in a real run (a preview reports
//                    every action), the delta comments of -d
//   undo             init_backup, remove_backup
//   putback          execute_validation_program
// Not built, never reached:
//   propagation      the work behind the preview's stop in prop_from_new,
//                    prop_from_chg, prop_both_chg, rename_file,
//                    prop_nh_automerge, update_name_history; make_backup,
//                    get_clear_file
//   undo             determine_undo_state, execute_undo_action, undo_remove,
//                    undo_restore, undo_restore_name, and Kes_md_file's own
#include "transaction/kes_trans_pending.h"

#include <cstdio>
#include <cstdlib>

#include "transaction/kes_file.h"
#include "transaction/kes_transaction.h"
#include "util/kes_msg.h"

namespace {
void passes(const char *phase) {
  static const bool tracing = getenv("BRINDLE_DEBUG_PHASES") != nullptr;
  if (tracing) fprintf(stderr, "pass-through: %s\n", phase);
}
}  // namespace

void kes_not_built(const char *operation) {
  fflush(stdout);
  fprintf(stderr, BWM_MSG(9100, "%s() called, exiting\n"), operation);
  exit(10);
}

void kes_pending_delta_comments(Kes_transaction *t, Kes_file *) {
  if (t->flags.show_delta_comments) passes("delta comments");
}

// A preview runs every action up to its status line; a real run changes no
// file until the propagation actions are built.
int Kes_transaction::execute_prop_action(Kes_file *file) {
  if (flags.preview) return file->execute_prop_action(this);
  passes("execute_prop_action");
  return 0;
}

// No backup area is made.
Kes_err *Kes_transaction::init_backup() {
  passes("init_backup");
  return nullptr;
}

Kes_err *Kes_transaction::remove_backup() {
  passes("remove_backup");
  return nullptr;
}

// No validation program runs.
Kes_err *Kes_transaction::execute_validation_program() {
  passes("execute_validation_program");
  return nullptr;
}

Kes_err *Kes_file::make_backup(Kes_transaction *) { kes_not_built("Kes_file::make_backup"); }
void Kes_file::get_clear_file(Kes_transaction *) { kes_not_built("Kes_file::get_clear_file"); }
Kes_err *Kes_file::determine_undo_state(Kes_transaction *) {
  kes_not_built("Kes_file::determine_undo_state");
}
int Kes_file::execute_undo_action(Kes_transaction *) { kes_not_built("Kes_file::execute_undo_action"); }
Kes_err *Kes_file::undo_remove(Kes_transaction *) { kes_not_built("Kes_file::undo_remove"); }
Kes_err *Kes_file::undo_restore(Kes_transaction *) { kes_not_built("Kes_file::undo_restore"); }
Kes_err *Kes_file::undo_restore_name(Kes_transaction *) {
  kes_not_built("Kes_file::undo_restore_name");
}
Kes_err *Kes_md_file::determine_undo_state(Kes_transaction *) {
  kes_not_built("Kes_md_file::determine_undo_state");
}
Kes_err *Kes_md_file::undo_remove(Kes_transaction *) { kes_not_built("Kes_md_file::undo_remove"); }
Kes_err *Kes_md_file::undo_restore(Kes_transaction *) { kes_not_built("Kes_md_file::undo_restore"); }
