// Kes_resolve_command: the `resolve` command, which settles a workspace's
// conflicts at the terminal.
//
//   resolve [-w ws] [-c | -p | -m merged_file] [files]
//
// For each file in conflict (the named ones, or every one the conflicts file
// lists) it shows what each side changed since their common ancestor and
// asks on standard output, reading the answer from standard input (a script
// may pipe it): merge with the tool, take the child's version, take the
// parent's version, skip, or quit.  -c and -p take one side for every file
// without asking; -m commits merged_file as the merge of the one file named.
// Each decision is carried out by Kes_resolve and recorded as the resolve
// pane records it: the history log's line, the conflicts file, the record in
// the history file.  The run holds the workspace's write lock.
//
// The merge tool is twinpane: over the message service when there is one
// (and BRINDLE_NO_HAILWAY is unset), one tool serving file after file; else
// "twinpane -x" per file.  A tool that ends without a decision leaves the
// file in conflict and the question is asked again.
//
// Exit status: 1 after any error, else 4 when files are left in conflict
// (skipped or quit), else 0.
#ifndef BRINDLE_TRANSACTION_KES_RESOLVE_COMMAND_H
#define BRINDLE_TRANSACTION_KES_RESOLVE_COMMAND_H

#include "transaction/kes_resolve.h"

class Kes_md_history;
class Kes_strlist;
class Kes_workspace;
class Resolve_tool;

class Kes_resolve_command {
public:
  Kes_resolve_command(int argc, char **argv);
  ~Kes_resolve_command();
  Kes_resolve_command(const Kes_resolve_command &) = delete;
  Kes_resolve_command &operator=(const Kes_resolve_command &) = delete;

  // The whole run; returns the exit status.
  int command();
  // For the caller's signal handler: the file in hand keeps its conflict and
  // loses its temporary files, the tool is told to quit, the log records the
  // signal and the lock is given back.
  void clean_up(int signal);

private:
  int argc;
  char **argv;
  int decision_for_all;     // KES_RS_CHILD or _PARENT from -c or -p, else 0
  const char *merged_file;  // -m
  Kes_workspace *workspace;
  Kes_resolve_log *log;     // the lock and the history log's record
  Kes_md_history *history;  // log's, while it is open
  Kes_resolve *current;     // the file in hand
  Resolve_tool *tool;
  Kes_resolve_rc settings;
  int errors;               // files that failed
  int left;                 // files left in conflict

  [[noreturn]] void usage();
  int parse(int *first);
  [[nodiscard]] Kes_err *start();
  void finish();
  Kes_strlist *files_to_resolve(int first);
  // 0 to go on, 1 when the user quit.
  int resolve_one(const char *name, int n, int total);
  [[nodiscard]] Kes_err *checked_out(Kes_resolve *r, int *skip, int *quit);
  int ask_decision(Kes_resolve *r, int binary, Kes_err **err);
  const char *ask_comment(int decision, char *buf);
};

#endif
