// Command locks: a long-running command announces itself with one line in the
// workspace's locks file.  Readers share a workspace, a writer excludes
// everybody.  The lines are advisory records, not kernel locks: they outlive a
// crash and are removed by hand.  The short file lock of the locks file makes
// the test and the write one step between processes.
//
//   VERSION 1
//   write bringover 4711 hostname alice 1100000000
//
// (type word, command, pid, machine, user, time by the file server's clock)
#ifndef BRINDLE_WORKSPACE_KES_CMDLOCK_H
#define BRINDLE_WORKSPACE_KES_CMDLOCK_H

#include "util/kes_list.h"
#include "workspace/kes_metadata.h"
#include "workspace/kes_workspace.h"

class Kes_err;

class Kes_cmdlock {
public:
  Kes_cmdlocktype type;
  char *command;
  int pid;                   // -1 if the line had none
  char *machine;
  char *user;
  long time;                 // seconds since the epoch, by the file server
  Kes_workspace *workspace;  // not owned

  // A lock of this process, taken now.
  Kes_cmdlock(Kes_cmdlocktype type, Kes_workspace *ws);
  // A line of the file.  Missing words leave "Unknown", pid -1 and time 0;
  // any type word but "write" makes a read lock.
  Kes_cmdlock(const char *line, Kes_workspace *ws);
  ~Kes_cmdlock();
  Kes_cmdlock(const Kes_cmdlock &) = delete;
  Kes_cmdlock &operator=(const Kes_cmdlock &) = delete;

  // The file line without newline into buf of 1024 bytes; returns buf.
  char *format_lock_line(char *buf);
  // Who, what, where and for how long, two lines, into buf of 1024 bytes.
  char *format_msg(char *buf);
  const char *type_str();       // "write" or "read", as the file has them
  const char *i18n_type_str();  // the same for people to read
  // Now by the clock of the file server of the metadata directory; the local
  // clock if no file can be made there.
  long get_current_time();
  // Kept as the lock editor has always compared: equal types, differing
  // commands, equal pids, differing machines and users, then the times.  Two
  // identical lines do not compare equal.
  int compare(Kes_cmdlock *other);
  Kes_cmdlock *copy();
  void print();

private:
  Kes_cmdlock();
};

// Owns its locks.
class Kes_cmdlocklist : public Kes_list {
public:
  ~Kes_cmdlocklist() override;
  Kes_list *create_list() override;
  void *create_data() override;
  void *copy_data(void *data) override;
  void delete_data(void *data) override;
  void print_data(void *data) override;
  int compare_datas(void *a, void *b) override;

  // Error 2021 when a lock of the list stands in the way, else null.
  [[nodiscard]] Kes_err *obtain_write_lock(Kes_workspace *ws);  // any lock denies
  [[nodiscard]] Kes_err *obtain_read_lock(Kes_workspace *ws);   // only a write lock denies
  // Error 2021 naming the locks that deny one of this type.
  [[nodiscard]] Kes_err *deny_lock(Kes_cmdlocktype type, Kes_workspace *ws);
};

class Kes_md_locks : public Kes_metadata {
public:
  Kes_md_locks(Kes_workspace *ws, const char *metadata_dir)
      : Kes_metadata(ws, metadata_dir, "locks", 1) {}
  // Makes a Kes_cmdlock.
  [[nodiscard]] Kes_err *parse(char *line, void **entry, Kes_strlist *comments) override;
};

#endif
