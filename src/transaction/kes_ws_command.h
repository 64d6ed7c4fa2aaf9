// Kes_ws_command: the `workspace` command, one subcommand per operation on
// workspaces as wholes.  The graphical tool runs it for every change to the
// tree of workspaces, so that access checks and locks apply as they do on the
// command line, and reads its output:
//
//   list         one line per workspace: a status column, then the path
//   create       one line per workspace made: its path
//   move, parent nothing on success
//   anything     errors on standard error, each beginning "workspace: "
//
// The exit status is 0 when everything asked for was done, else 1.
//
// Dispatch, option scans, usage and the history record come from
// Kes_subcommands.  Where the members are defined: kes_ws_command.cc the
// subcommand table and the operations that change workspaces;
// kes_ws_command_show.cc list, locks and history.
#ifndef BRINDLE_TRANSACTION_KES_WS_COMMAND_H
#define BRINDLE_TRANSACTION_KES_WS_COMMAND_H

#include <string>

#include "transaction/kes_subcommands.h"

class Kes_workspace;

class Kes_ws_command : public Kes_subcommands {
public:
  Kes_ws_command(int argc, char **argv);

  int create(int argc, char **argv);
  int delete_(int argc, char **argv);
  int move(int argc, char **argv);
  int parent(int argc, char **argv);
  int list(int argc, char **argv);
  int name(int argc, char **argv);
  int locks(int argc, char **argv);
  int history(int argc, char **argv);
  int updatenames(int argc, char **argv);

private:
  // Asks on standard output and reads the answer from standard input: 1 for
  // an answer beginning with y.  The end of the input answers no.
  int confirm(const std::string &question);
};

#endif
