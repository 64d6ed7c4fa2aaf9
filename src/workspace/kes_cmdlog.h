// The facts of one command for the history log: twelve complete log lines,
// each without its newline, written in index order behind the record's body.
// A null line is not written; an empty one is written as an empty line.
#ifndef BRINDLE_WORKSPACE_KES_CMDLOG_H
#define BRINDLE_WORKSPACE_KES_CMDLOG_H

// The system's release, as logged in every record.
#define KES_RELEASE "6.02"

// Places of the lines.
enum {
  KES_CMDLOG_CWD = 0,
  KES_CMDLOG_RELEASE,
  KES_CMDLOG_HOST,
  KES_CMDLOG_USER,
  KES_CMDLOG_PARENT,
  KES_CMDLOG_CHILD,
  KES_CMDLOG_RTI,
  KES_CMDLOG_FREEZEPOINT,
  KES_CMDLOG_START,
  KES_CMDLOG_END,
  KES_CMDLOG_STATUS,
  KES_CMDLOG_LAST,  // stays null
  KES_CMDLOG_COUNT
};

class Kes_cmdlog {
public:
  char *lines[KES_CMDLOG_COUNT];  // malloc-ed, null when unset
  int count;                      // always KES_CMDLOG_COUNT

  // Sets the current directory, release, host, user and start time.  Without a
  // current directory the process ends: the out-of-memory handler for ENOMEM,
  // else a message on standard error and exit status 1.
  Kes_cmdlog();
  ~Kes_cmdlog();
  Kes_cmdlog(const Kes_cmdlog &) = delete;
  Kes_cmdlog &operator=(const Kes_cmdlog &) = delete;

  // "KEYWORD  (name) (netname)" for each side; a null name gives "KEYWORD ".
  void set_ws(const char *parent_name, const char *parent_netname, const char *child_name,
              const char *child_netname);
  // A null value gives an empty line.
  void set_rti(const char *value);
  void set_fp(const char *value);
  // The end time and the exit status.
  void finish(int status);
  void delete_str();
};

#endif
