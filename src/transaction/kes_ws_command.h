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
// Where the members are defined: kes_ws_command.cc the subcommand table,
// dispatch, the history record and the operations that change workspaces;
// kes_ws_command_show.cc list, locks and history.
#ifndef BRINDLE_TRANSACTION_KES_WS_COMMAND_H
#define BRINDLE_TRANSACTION_KES_WS_COMMAND_H

#include <functional>
#include <string>

class Kes_err;
class Kes_cmdlog;
class Kes_workspace;
struct Kes_option;

class Kes_ws_command {
public:
  // One subcommand: its word, its options and operands for the usage text,
  // and the member that runs it with the subcommand's own argc and argv.
  struct Subcommand {
    const char *name;
    int (Kes_ws_command::*run)(int argc, char **argv);
    const Kes_option *options;
    int option_count;
    const char *operands;
  };

  Kes_ws_command(int argc, char **argv);
  ~Kes_ws_command();
  Kes_ws_command(const Kes_ws_command &) = delete;
  Kes_ws_command &operator=(const Kes_ws_command &) = delete;

  // Runs the subcommand named by argv[1]; returns the exit status.
  int command();

  int create(int argc, char **argv);
  int delete_(int argc, char **argv);
  int move(int argc, char **argv);
  int parent(int argc, char **argv);
  int list(int argc, char **argv);
  int name(int argc, char **argv);
  int locks(int argc, char **argv);
  int history(int argc, char **argv);
  int updatenames(int argc, char **argv);

  // The usage text of all subcommands, or of one.
  [[noreturn]] void usage(const Subcommand *sub);

private:
  int argc;  // the whole command line, for the history log
  char **argv;
  Kes_cmdlog *cmdlog;  // the facts of this run, begun at its start
  const Subcommand *current;

  // getopt over a subcommand's options; each option letter and argument goes
  // to on_option, an unknown one ends in the usage text.  Returns the index
  // of the first operand.
  int scan_options(int ac, char **av, const std::function<void(int, const char *)> &on_option);
  // Prints and deletes err; 1.
  int fail(Kes_err *err);
  // The workspace named (or the default one when name is null) that must
  // exist; null after printing why not.
  Kes_workspace *existing_ws(const char *name);
  // Asks on standard output and reads the answer from standard input: 1 for
  // an answer beginning with y.  The end of the input answers no.
  int confirm(const std::string &question);
  // A record of this command in ws's history log, with lines as its body.
  void record(Kes_workspace *ws, Kes_workspace *parent, const std::string &lines);
};

#endif
