// The phases of the driver that pass through: each succeeds and does nothing,
// for the work it stands for is not built yet.
//
// They are all here, and only here, so that what a transaction skips can be read
// in one place.  The change that builds a phase deletes its entry here and
// defines the real one with its class.  With BRINDLE_DEBUG_PHASES set, every
// pass-through names itself on standard error as it is passed, so a run shows
// which of them it met.
//
//   file states      add_file, add_kes_file, determine_prop_state,
//                    execute_prop_action, history_file_exists, kes_file_create,
//                    is_relname_symlink, is_dir_symlink, set_conflict,
//                    print_errs, checked_out_status, report_problems
//   file lists       run_dir_flp, run_gen_flp, should_run_dir_flp,
//                    run_dir_flp_in_ws_bg, run_dir_flp_in_ws, run_gen_flp_in_ws,
//                    run_flp, read_flp_output, update_args_file
//   undo             init_backup, remove_backup
//   putback          execute_validation_program
#include <cstdio>
#include <cstdlib>

#include "transaction/kes_bringover.h"
#include "transaction/kes_transaction.h"

namespace {
void passes(const char *phase) {
  static const bool tracing = getenv("BRINDLE_DEBUG_PHASES") != nullptr;
  if (tracing) fprintf(stderr, "pass-through: %s\n", phase);
}
}  // namespace

// A name is taken as found, so that it stays in the list, and nothing is
// examined: no file has a state, an error or a problem.
Kes_err *Kes_transaction::add_file(Kes_workspace *ws, char *name, int *found) {
  passes("add_file");
  if (found) *found = 1;
  return nullptr;
}

Kes_err *Kes_transaction::add_kes_file(Kes_file *file, char *name, int *found) {
  passes("add_kes_file");
  if (found) *found = 1;
  return nullptr;
}

Kes_err *Kes_transaction::determine_prop_state(Kes_file *file) {
  passes("determine_prop_state");
  return nullptr;
}

int Kes_transaction::execute_prop_action(Kes_file *file) {
  passes("execute_prop_action");
  return 0;
}

int Kes_transaction::history_file_exists(const char *path, const char *dir) {
  passes("history_file_exists");
  return 0;
}

Kes_file *Kes_transaction::kes_file_create() {
  passes("kes_file_create");
  return nullptr;
}

int Kes_transaction::is_relname_symlink(const char *name, Kes_file *file) {
  passes("is_relname_symlink");
  return 0;
}

int Kes_transaction::is_dir_symlink(const char *name, const char *dir) {
  passes("is_dir_symlink");
  return 0;
}

void Kes_transaction::set_conflict(Kes_ws_file *file) { passes("set_conflict"); }

void Kes_transaction::print_errs() { passes("print_errs"); }

void Kes_bringover::checked_out_status(Kes_ws_file *to, Kes_ws_file *from) {
  passes("checked_out_status");
}

int Kes_bringover::report_problems(Kes_file *file, int print) {
  passes("report_problems");
  return 0;
}

// No file list program runs.
Kes_err *Kes_transaction::run_dir_flp(const char *dir) {
  passes("run_dir_flp");
  return nullptr;
}

Kes_err *Kes_transaction::run_gen_flp(const char *program) {
  passes("run_gen_flp");
  return nullptr;
}

int Kes_transaction::should_run_dir_flp(Kes_workspace *ws, const char *dir) {
  passes("should_run_dir_flp");
  return 0;
}

Kes_err *Kes_transaction::run_dir_flp_in_ws_bg(Kes_workspace *ws, const char *dir,
                                               const char *out_path, long *pid) {
  passes("run_dir_flp_in_ws_bg");
  if (pid) *pid = 0;
  return nullptr;
}

Kes_err *Kes_transaction::run_dir_flp_in_ws(Kes_workspace *ws, const char *dir) {
  passes("run_dir_flp_in_ws");
  return nullptr;
}

Kes_err *Kes_transaction::run_gen_flp_in_ws(Kes_workspace *ws, const char *program, int *ran) {
  passes("run_gen_flp_in_ws");
  if (ran) *ran = 0;
  return nullptr;
}

Kes_err *Kes_transaction::run_flp(Kes_workspace *ws, const char *command) {
  passes("run_flp");
  return nullptr;
}

Kes_err *Kes_transaction::read_flp_output(Kes_workspace *ws, const char *path, long pid) {
  passes("read_flp_output");
  return nullptr;
}

Kes_err *Kes_transaction::update_args_file(Kes_workspace *ws) {
  passes("update_args_file");
  return nullptr;
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
