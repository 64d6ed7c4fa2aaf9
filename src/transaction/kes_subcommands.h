// Kes_subcommands: the frame of a command made of subcommands, as workspace
// and freezept are.  One table names each subcommand with the member that runs
// it, its options and its operands; the same table gives the dispatch, each
// subcommand's option scan and the usage text.
#ifndef BRINDLE_TRANSACTION_KES_SUBCOMMANDS_H
#define BRINDLE_TRANSACTION_KES_SUBCOMMANDS_H

#include <cstddef>
#include <functional>
#include <string>

class Kes_cmdlog;
class Kes_err;
class Kes_workspace;
struct Kes_option;

class Kes_subcommands {
public:
  // A subcommand's member, run with the subcommand's own argc and argv (its
  // word first); returns the exit status.
  typedef int (Kes_subcommands::*Run)(int argc, char **argv);
  struct Subcommand {
    const char *name;
    Run run;
    const Kes_option *options;
    size_t option_count;
    const char *operands;  // as the usage text shows them
  };

  // synopsis: the first usage line, "Usage: %s ..." with the command's name.
  Kes_subcommands(int argc, char **argv, const Subcommand *table, size_t count,
                  const char *synopsis);
  virtual ~Kes_subcommands();
  Kes_subcommands(const Kes_subcommands &) = delete;
  Kes_subcommands &operator=(const Kes_subcommands &) = delete;

  // Runs the subcommand named by argv[1]; returns the exit status.
  int command();
  // The usage of the running subcommand, or of all before one runs; exit 1.
  [[noreturn]] void usage();

protected:
  int argc;  // the whole command line, for the history log
  char **argv;
  const Subcommand *current;
  Kes_cmdlog *cmdlog;  // the facts of this run, begun at its start

  // getopt over the running subcommand's options, which come before its
  // operands; each option goes to on_option, an unknown one ends in the usage
  // text.  Returns the index of the first operand.
  int scan_options(int ac, char **av, const std::function<void(int, const char *)> &on_option);
  // Prints and deletes err; 1.
  static int fail(Kes_err *err);
  // The workspace named, or the default one when name is null, which must
  // exist; null after printing why not.
  static Kes_workspace *existing_ws(const char *name);
  // A record of this command in ws's history log, with lines as its body,
  // the workspace pair parent and ws, a freezepoint file if given, and status.
  void record(Kes_workspace *ws, Kes_workspace *parent, const std::string &lines,
              const char *freezepoint_file = nullptr, int status = 0);

private:
  const Subcommand *table;
  size_t count;
  const char *synopsis;
};

// A table row for the member cls::member; options is an array of Kes_option.
#define KES_SUBCOMMAND(cls, word, member, options, operands)                            \
  {word, static_cast<Kes_subcommands::Run>(&cls::member), options,                      \
   sizeof options / sizeof options[0], operands}
// The same for a subcommand without options.
#define KES_SUBCOMMAND_PLAIN(cls, word, member, operands) \
  {word, static_cast<Kes_subcommands::Run>(&cls::member), nullptr, 0, operands}

#endif
