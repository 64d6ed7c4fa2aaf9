// Running the SCCS programs.  The engine reads and merges history files itself,
// but a version, a delta or a flag change is made by the ordinary SCCS
// commands through the shell.  A Cmd is one such command with what it printed
// and how it ended; the command operations of SCCS_sfile build the command
// lines and return an executed Cmd that the caller deletes.
//
// Nothing here judges a command's status: callers decode ret_stat with
// kes_decode_sh_wait and show errors.
#ifndef BRINDLE_SCCS_SCCS_CMD_H
#define BRINDLE_SCCS_SCCS_CMD_H

class Cmd {
public:
  char *cmd;      // the program; after execute, the whole text that ran
  char *subcmd;   // its sub-command, as in "sccs delget"
  char *args;
  char *results;  // standard output, never null after execute
  char *errors;   // standard error, null when there was none
  int ret_stat;   // the pclose status, -1 before execute, -2 when popen failed

  // Every string is copied; a null stays null.
  Cmd(const char *cmd, const char *subcmd, const char *args);
  Cmd(const char *subcmd, const char *args);
  explicit Cmd(const char *subcmd);
  ~Cmd();
  Cmd(const Cmd &) = delete;
  Cmd &operator=(const Cmd &) = delete;

  // Runs "cmd subcmd args" through /bin/sh, after a cd into directory when one
  // is given.  Standard error goes to a private file under /tmp, and a failed
  // cd lands there too.  Afterwards cmd holds the text that ran (without the
  // redirections, newline-terminated) and subcmd and args are null, so a
  // message can quote cmd alone.  Returns ret_stat.
  int execute(const char *directory);
  // Every field on standard output, for debugging.
  void print();
};

// The text for inside single quotes on a shell command line: each ' becomes
// '\''.  At most 1,024 characters; an escape is never cut in half.  The result
// is malloc-ed; the caller frees it.  Null gives an empty text.
char *escape_comment(const char *text);

#endif
