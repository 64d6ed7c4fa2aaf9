// One name in a transaction: Kes_file with its two Kes_ws_file records (the
// name in the from workspace and in the to workspace), the kinds of file
// (Kes_filetype), and the list of files (Kes_filelist).
//
// A Kes_ws_file says what is on disk under one canonical name in one
// workspace: a canonical name is relative to the workspace root and has no
// "SCCS/s." in it, so "src/SCCS/s.a.c" and "src/a.c" are one name.  A
// Kes_file decides, without changing anything, what a transaction does to
// that name's contents and name (determine_prop_state), and later does it
// (execute_prop_action).  Both kinds of record come from pools of their own,
// since a run makes one of each per file.
//
// Where the members are defined:
//   kes_ws_file.cc        Kes_filetype, Kes_ws_file
//   kes_file.cc           Kes_file: state determination and the quick check
//   kes_file_prop.cc      Kes_file: the actions, update_name_history, unlink_file
//   kes_backup.cc         make_backup
//   kes_file_gets.cc      the clear files refreshed in the background
//   kes_file_comments.cc  the delta comments of -d
//   kes_smart_copy.cc     kes_smart_copy_file
//   kes_undo_file.cc      the undo's state and actions, and Kes_md_file's
#ifndef BRINDLE_TRANSACTION_KES_FILE_H
#define BRINDLE_TRANSACTION_KES_FILE_H

#include <cstddef>

#include "util/kes_list.h"

class Kes_err;
class Kes_merge;
class Kes_name_tree;
class Kes_sfile;
class Kes_smidlist;
class Kes_transaction;
class SCCS_deltalist;
class Kes_workspace;

// The kinds of file.  fillin never makes 2 and 4; they are kept so that the
// numbers stay those of the system's other tools.
class Kes_filetype {
public:
  enum { UNKNOWN = 0, SCCS = 1, KIND_2 = 2, REGULAR = 3, KIND_4 = 4, DIRECTORY = 5, SYMLINK = 6 };
  int kind;

  explicit Kes_filetype(int k) : kind(k) {}
  // "unknown", "file", "directory" or "symlink".
  const char *get_string() const;
  // The same object, or both kinds among 1, 3 and 4.
  static int compatible(const Kes_filetype *a, const Kes_filetype *b);
};

// The one shared object of a kind; an unknown number gives kind 0.
Kes_filetype *kes_get_filetype(int kind);

class Kes_ws_file {
public:
  char *name;                 // canonical name, owned
  Kes_workspace *ws;          // not owned
  Kes_filetype *filetype;     // shared
  unsigned int exists : 1;    // counts as present here
  unsigned int unresolved : 1;
  unsigned int nh_incomplete : 1;
  int checked_out;            // 0 to 4, see determine_checked_out
  Kes_smidlist *smids;        // the root SmIDs, read on demand (get_smidlist); owned

  // Copies name.  The record says nothing until fillin.
  Kes_ws_file(Kes_workspace *ws, const char *name);
  ~Kes_ws_file();
  Kes_ws_file(const Kes_ws_file &) = delete;
  Kes_ws_file &operator=(const Kes_ws_file &) = delete;
  // The same name, workspace and facts; no SmIDs.
  Kes_ws_file *copy();

  static void *operator new(size_t size);
  static void operator delete(void *p);

  // Reads the facts from the disk: a history file makes the name exist; a
  // directory or symbolic link exists without one; a plain file does not.
  void fillin(Kes_transaction *t);
  // 0 no p-file; 1 checked out and unedited by this user (or the clear file
  // is gone); 2 edited, or checked out by somebody else; 3 checked out, clear
  // file read-only and unchanged; 4 read-only and changed.
  void determine_checked_out(Kes_transaction *t);
  // Compatible kinds, or either side missing.
  int compatible(Kes_ws_file *other);
  // Rewrites the name history from tree, or from the file's own names, and
  // says so ("update parent's/children's name history").  A preview only
  // says so.
  [[nodiscard]] Kes_err *update_name_history(Kes_transaction *t, Kes_name_tree *tree = nullptr);

  // The names, each written into buf (1024 bytes) and returned.
  const char *get_rel_canname() const { return name; }
  char *get_abs_canname(char *buf);
  char *get_rel_clrname(char *buf);
  char *get_abs_clrname(char *buf);
  char *get_rel_sdotname(char *buf);
  char *get_abs_sdotname(char *buf);
  char *get_rel_pdotname(char *buf);
  char *get_abs_pdotname(char *buf);
  // The history (prefix 's') or p-file ('p') name, from the workspace root
  // when absolute, else relative to it.
  char *make_vcs_name(char prefix, int absolute, char *buf);
};

// The history (prefix 's') or p-file ('p') name of the canonical name in the
// history directory vcs (none: beside the file), behind root and "/" when
// root is given; written into buf (1024 bytes) and returned.
char *kes_vcs_name(const char *name, const char *vcs, const char *root, char prefix, char *buf);

void kes_ws_file_delete_heap();

// What is to happen to a file's contents and name.
enum Kes_contents_action {
  KES_CA_NONE = 0,
  KES_CA_CREATE = 1,
  KES_CA_UPDATE = 2,
  KES_CA_CONFLICT = 3,
  KES_CA_UNDO_REMOVE = 4,
  KES_CA_UNDO_RESTORE = 5
};
enum Kes_name_action { KES_NA_NONE = 0, KES_NA_UPDATE = 1, KES_NA_CONFLICT = 2, KES_NA_UNDO_RENAME = 3 };
// Values of quick_check_result.
enum { KES_QC_NOT_DONE = 0, KES_QC_SAME = 1, KES_QC_DIFFERENT = 2 };

// The flags, lowest bit first.
struct Kes_file_flags {
  unsigned int cross_type : 1;
  unsigned int quick_check_result : 2;
  unsigned int backed_up : 1;
  unsigned int no_common_ancestor : 1;
  unsigned int rename_candidate : 1;
  unsigned int name_merge_candidate : 1;
  unsigned int roots_changed : 1;
  unsigned int to_unresolved : 1;
  unsigned int contents_action : 3;
  unsigned int name_action : 2;
  unsigned int name_history_merge : 1;
};

class Kes_file {
public:
  char *pre_rename_name;   // the to name before a rename in this run; owned
  Kes_ws_file *from;       // owned
  Kes_ws_file *to;         // owned
  Kes_merge *merge;        // the last test merge, owned; gone when the state is known
  int get_pid;
  Kes_file_flags flags;
  Kes_err *contents_error;  // owned
  Kes_err *rename_error;    // owned
  Kes_strlist *comments;    // delta comments for -d, owned
  int get_retries;
  unsigned int actions_done : 1;

  Kes_file();
  Kes_file(const Kes_file &) = delete;
  Kes_file &operator=(const Kes_file &) = delete;
  virtual ~Kes_file();

  static void *operator new(size_t size);
  static void operator delete(void *p);

  // What happens to this file, decided without changing anything.  Needs
  // both records filled in and the working directory at the to root.
  [[nodiscard]] virtual Kes_err *determine_prop_state(Kes_transaction *t);
  // Whether the two histories are the same, by their first pages alone.
  [[nodiscard]] virtual Kes_err *sccsmerge_quick_check(Kes_transaction *t);
  [[nodiscard]] virtual Kes_err *determine_undo_state(Kes_transaction *t);
  // Runs the decided actions; nonzero when the file carries an error.
  virtual int execute_prop_action(Kes_transaction *t);
  virtual int execute_undo_action(Kes_transaction *t);
  [[nodiscard]] virtual Kes_err *make_backup(Kes_transaction *t);
  virtual void get_clear_file(Kes_transaction *t);
  virtual int has_action();
  [[nodiscard]] virtual Kes_err *prop_from_new(Kes_transaction *t, int *need_clear_file);
  [[nodiscard]] virtual Kes_err *prop_from_chg(Kes_transaction *t, int *need_clear_file);
  [[nodiscard]] virtual Kes_err *prop_both_chg(Kes_transaction *t);
  [[nodiscard]] virtual Kes_err *undo_remove(Kes_transaction *t);
  [[nodiscard]] virtual Kes_err *undo_restore(Kes_transaction *t);
  [[nodiscard]] virtual Kes_err *undo_restore_name(Kes_transaction *t);
  [[nodiscard]] virtual Kes_err *prop_update_name(Kes_transaction *t);
  [[nodiscard]] virtual Kes_err *prop_conflict_name(Kes_transaction *t);
  [[nodiscard]] virtual Kes_err *prop_nh_automerge(Kes_transaction *t, int *need_clear_file);
  [[nodiscard]] virtual Kes_err *rename_file(Kes_transaction *t);

  // The steps of determine_prop_state.
  [[nodiscard]] Kes_err *check_for_rename_candidate(Kes_transaction *t);
  [[nodiscard]] Kes_err *determine_contents_state(Kes_transaction *t);
  [[nodiscard]] Kes_err *determine_name_state(Kes_transaction *t);
  // The analysis-only merge of the two histories into this->merge; with
  // conflicts set it also reads both conflict records.
  [[nodiscard]] Kes_err *test_merge(Kes_transaction *t, int conflicts);
  // Nonzero when the transaction would refuse this file; print_problems
  // says why on the way.
  int are_problems(Kes_transaction *t);
  int print_problems(Kes_transaction *t);
  // A new file with copies of both records and the same flags; no merge, no
  // errors.
  Kes_file *copy();
  // The comments of the deltas that the from history brings, into comments:
  // "delta SID, owner USER:", the lines, an empty line.  For a create every
  // delta counts, for an update those the to history lacks.  A history that
  // can't be read gives none: comments are a courtesy.
  void gather_file_create_comments();
  void gather_file_update_comments();
};

void kes_file_delete_heap();

// Removes a file; one that is not there is no error.
[[nodiscard]] Kes_err *unlink_file(const char *name);

// Copies the history source to dest with one read of the source, which also
// gives its name history (current name name), its root deltas and whether
// it carries a conflict; the caller owns *tree and *deltas.  dest appears
// whole or not at all.  sf is the source's history object.
[[nodiscard]] Kes_err *kes_smart_copy_file(const char *dest, const char *source, const char *name,
                                           Kes_name_tree **tree, SCCS_deltalist **deltas,
                                           int *unresolved, Kes_sfile *sf);

// Waits for every background refresh of a clear file that is pending or
// running; their failures count as contents errors.
void kes_gets_finish(Kes_transaction *t);

// A metadata file in an undo (the args file): decided from the backup area
// on disk rather than from histories, and copied back whole.
class Kes_md_file : public Kes_file {
public:
  [[nodiscard]] Kes_err *determine_undo_state(Kes_transaction *t) override;
  [[nodiscard]] Kes_err *undo_remove(Kes_transaction *t) override;
  [[nodiscard]] Kes_err *undo_restore(Kes_transaction *t) override;
};

// A list of files; it owns them.  A list that only refers to files owned
// elsewhere is freed with delete_wrapper().
class Kes_filelist : public Kes_list {
public:
  ~Kes_filelist() override;
  Kes_list *create_list() override;
  void *create_data() override;
  void *copy_data(void *data) override;
  void delete_data(void *data) override;
  void print_data(void *data) override;
  int compare_datas(void *a, void *b) override;
};

#endif
