// Kes_ws_updatenames: rebuilds a workspace's name table from the history files
// really there, gives every hand-made copy of a history file an identity of its
// own, and can repair the files' name histories.  The command `workspace
// updatenames` runs it; the graphical tool derives from it and overrides
// print_string and choice, the two places where it meets the user.
//
// Which copy keeps an identity: the name that the old table held alone for
// the SmID (the original).  When that file has gone, choice asks which present
// file it became; with no original at all, every copy gets a new SmID.
#ifndef BRINDLE_TRANSACTION_KES_WS_UPDATENAMES_H
#define BRINDLE_TRANSACTION_KES_WS_UPDATENAMES_H

class Kes_err;
class Kes_workspace;
class Kes_md_nametable;
class Kes_md_history;
class Kes_cmdlog;
class Kes_cmdlock;
class Kes_smid;
class Kes_smid_int_hash;
class Kes_strlist;

// One SmID found on more than one history file.
class Kes_dupinfo {
public:
  enum { NO_ENTRY = 0, ONE_ENTRY = 1, SEVERAL_ENTRIES = 2 };  // in the old table

  unsigned int state : 3;
  char *original;      // owned; the old table's one name, null if unknown
  Kes_strlist *names;  // owned; every present name with this SmID

  Kes_dupinfo();
  ~Kes_dupinfo();
  Kes_dupinfo(const Kes_dupinfo &) = delete;
  Kes_dupinfo &operator=(const Kes_dupinfo &) = delete;
};

class Kes_ws_updatenames {
public:
  Kes_workspace *workspace;   // not owned
  int update_name_histories;  // also repair the files' name histories
  int argc;                   // the command line for the history log
  char **argv;
  Kes_md_nametable *nametable;
  Kes_workspace *locked_ws;   // where the lock is held; not owned
  Kes_cmdlock *lock;
  Kes_md_history *history;
  Kes_cmdlog *cmdlog;
  int quitted;                // the user quit at a choice: nothing was written
  int file_errors;            // name histories that could not be repaired

  Kes_ws_updatenames(Kes_workspace *ws, int flag, int argc, char **argv);
  Kes_ws_updatenames(Kes_workspace *ws, int flag);
  explicit Kes_ws_updatenames(Kes_workspace *ws);
  Kes_ws_updatenames();
  virtual ~Kes_ws_updatenames();
  Kes_ws_updatenames(const Kes_ws_updatenames &) = delete;
  Kes_ws_updatenames &operator=(const Kes_ws_updatenames &) = delete;

  // Prints on standard output.
  virtual void print_string(const char *format, ...) __attribute__((format(printf, 2, 3)));
  // Which present name of dup becomes the original: n above 0 the n-th name, 0
  // none.  *quit set means stop and write nothing.
  virtual int choice(Kes_dupinfo *dup, int *quit);

  void set_ws(Kes_workspace *ws) { workspace = ws; }

  // The whole run under the workspace's write lock, recorded in its history log.
  [[nodiscard]] Kes_err *lock_and_update();
  // For the caller's signal handler: nothing half-written stays, the lock is
  // given back, the log records the signal.
  void clean_up(int signal);

  [[nodiscard]] Kes_err *force_all_smids_to_be_unique(Kes_smid_int_hash *duplicates, int *quit);
  // seen holds every SmID of the new table; the new SmIDs are entered.
  [[nodiscard]] Kes_err *uniquify_duplicate_smids(Kes_smid *smid, Kes_dupinfo *dupinfo,
                                                  Kes_smid_int_hash *seen, int *quit);

private:
  // print_string, and the same line into the history log.
  void say(const char *format, ...) __attribute__((format(printf, 2, 3)));
  int update_name_histories_of_files();
  void release();
};

#endif
