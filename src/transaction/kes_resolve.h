// Kes_resolve: settling one file in conflict.  A merge that ended in conflict
// left the history file with both lines of development, a conflict record
// naming the child's and the parent's SIDs and their common ancestor, and the
// file's name in the workspace's conflicts file.  Kes_resolve puts the versions
// out as temporary files beside the clear file ("<file>.C.XXXXXX" child,
// ".P." parent, ".A." ancestor, ".M." merged), hands them to a three-way merge
// tool, and commits what comes back, or the child's version, or the parent's,
// as a new delta on the trunk that includes the child's line.
//
// The life of one object:
//   set_names          reads the record; a file without one leaves the list
//   materialize_tmpfiles   the versions on disk
//   accept_parent | accept_child | commit_merge
//   clean_up           the history log's line, the record and the list entry
//
// The merge tool is the program "twinpane".  Without the message service it is
// started as "twinpane -x ..." (resolve_twinpane_command) and its exit status is
// the decision; with the service it is started as "twinpane -T <id>" and the
// messages of hailway/hw_twinpane.h carry the files and the decision
// (resolve_send_hw_load_msg and family, resolve_get_hw_save_msg).
//
// Kes_resolve_rc is the user's settings file ~/.brindle_resrc.
//
// Where the members are defined: kes_resolve.cc names, versions, decisions and
// the conflict list; kes_resolve_history.cc print_history; kes_resolve_hw.cc the
// messages and the tool's command line; kes_resolve_rc.cc the settings file.
#ifndef BRINDLE_TRANSACTION_KES_RESOLVE_H
#define BRINDLE_TRANSACTION_KES_RESOLVE_H

#include <string>
#include <vector>

#include "hailway/hailway.h"
#include "hailway/hw_twinpane.h"

class Kes_cmdlock;
class Kes_cmdlog;
class Kes_conflict;
class Kes_err;
class Kes_md_history;
class Kes_sfile;
class Kes_strlist;
class Kes_workspace;
class Kes_ws_file;

// Shows a progress line (the resolve pane's footer); a null function shows none.
typedef void (*Kes_resolve_footer_fn)(const char *text, int flag);
// Receives an error to report; it owns it.
typedef void (*Kes_resolve_error_fn)(Kes_err *err);

// What becomes of a file: the numbers are the exit statuses of "twinpane -x".
enum Kes_resolve_decision {
  KES_RS_SKIP = 0,
  KES_RS_PARENT = HW_TP_EXIT_PARENT,
  KES_RS_CHILD = HW_TP_EXIT_CHILD,
  KES_RS_MERGED = HW_TP_EXIT_MERGED
};

class Kes_resolve {
public:
  char *path;           // the clear file's full path
  char *relative_name;  // points into path, behind the workspace's root and "/"
  char *directory;      // of the shell-quoted path
  char *base_name;
  char *s_name;         // the history file's path
  char *quoted_s_name;
  char *parent_file;    // the temporary files; null when not named
  char *ancestor_file;  // null when the record has no ancestor
  char *merged_file;
  char *child_file;
  Kes_ws_file *ws_file;     // owned
  Kes_conflict *conflict;   // owned
  Kes_workspace *workspace; // not owned
  Kes_sfile *sfile;         // owned; read for its p-file only, the tree on demand
  int materialized;         // the temporary files are (to be treated as) present

  Kes_resolve();
  // Frees the names; the temporary files stay (remove_tmpfiles removes them).
  ~Kes_resolve();
  Kes_resolve(const Kes_resolve &) = delete;
  Kes_resolve &operator=(const Kes_resolve &) = delete;

  // For a file picked from the list: file is relative to the workspace's root,
  // or absolute inside it.  Reads the conflict record; a file without one is
  // taken off the conflicts list and *not_in_conflict is set.  Otherwise the
  // temporary names are reserved (made by mkstemp, so no other process can
  // take them) and the BRINDLE_RS_* variables set.  A null file does nothing.
  [[nodiscard]] Kes_err *set_names(const char *file, Kes_workspace *ws, int *not_in_conflict);
  // For a file that the tool reports on, with the tool's names, which must be
  // the temporary names of path; sets materialized.
  [[nodiscard]] Kes_err *set_names(const char *path, const char *ancestor, const char *child,
                                   const char *parent, const char *merged, Kes_workspace *ws);

  // Puts out the child's, the parent's and the ancestor's versions, once.
  // *done: the file settled itself (see materialize_child) and is finished.
  [[nodiscard]] Kes_err *materialize_tmpfiles(int *done);
  // Nothing while the history file is checked out: the caller deals with that
  // first.  Error 2062 when the clear file is writable.  A record whose child
  // line is no branch of its own: with "noforce" there is nothing to resolve,
  // the parent's version is taken and *done set; with "force" the ancestor
  // stands for the child.
  [[nodiscard]] Kes_err *materialize_child(int *done);
  [[nodiscard]] Kes_err *materialize_parent();
  [[nodiscard]] Kes_err *materialize_ancestor();
  // Unlinks every temporary file named (those reserved or reported are ours).
  void remove_tmpfiles();

  int is_checkedout();  // the history file has a p-file
  // Checks out the parent's leaf, including the child's leaf, for the new delta.
  [[nodiscard]] Kes_err *checkout();
  [[nodiscard]] Kes_err *uncheckout();
  // Checks in the clear file with comment and reads the history file again.
  [[nodiscard]] Kes_err *checkin(const char *comment, Kes_resolve_footer_fn footer);
  // The newest SID on the line of sid into out (1024 bytes).
  [[nodiscard]] Kes_err *find_leaf(const char *sid, char *out);
  // Drops the default SID (and branch) flags and refreshes the clear file,
  // read-only: the trunk, the parent's line, is the file's version again.
  [[nodiscard]] Kes_err *change_default_sid();

  // The three decisions.  checkin 0 leaves the file checked out with the
  // chosen text, for a check-in with the user's own comment.
  [[nodiscard]] Kes_err *accept_parent(Kes_resolve_footer_fn footer);
  [[nodiscard]] Kes_err *accept_child(int checkin, Kes_resolve_footer_fn footer);
  [[nodiscard]] Kes_err *commit_merge(int checkin, Kes_resolve_footer_fn footer);

  // The default check-in comments, into out (1024 bytes).
  void accept_child_def_comment(char *out);
  void merge_def_comment(char *out);

  // Ends a decided file: "word: name" into the history log if one is given
  // ("merged", "accepted child", "accepted parent"), the conflicts file's
  // entry, the temporary files and the record go.
  [[nodiscard]] Kes_err *clean_up(Kes_md_history *history, const char *word);

  // The deltas of one side that aren't common to both, newest first, on
  // standard output.
  [[nodiscard]] Kes_err *print_child_history();
  [[nodiscard]] Kes_err *print_parent_history();
  [[nodiscard]] Kes_err *print_history(const char *sid);

  // BRINDLE_RS_PARENT, _CHILD, _ANCEST (only with an ancestor) and _MERGED,
  // for a user's own merge tool.
  void setenvs();

private:
  void clear();
  [[nodiscard]] Kes_err *names_from_path(const char *file, Kes_workspace *ws);
  [[nodiscard]] Kes_err *read_record();
  [[nodiscard]] Kes_err *refresh(Kes_err *err);
  [[nodiscard]] Kes_err *materialize(const char *sid, const char *file);
  [[nodiscard]] Kes_err *install(const char *from, int checkin, const char *comment,
                                 Kes_resolve_footer_fn footer);
};

// The workspace's conflicts, sorted, for the caller to delete; null when there
// are none, or after giving error_fn error 2016 (no such workspace) or the
// conflicts file's error.
Kes_strlist *resolve_get_conflicts(Kes_workspace *ws, Kes_resolve_error_fn error_fn);

// The history log's word for a decision: "merged", "accepted child",
// "accepted parent"; null for KES_RS_SKIP.
const char *resolve_decision_word(int decision);
// Carries out decision on r, then clean_up with its word.  The child's or the
// merged version is checked in with comment, or the default comment when
// comment is null.  KES_RS_SKIP does nothing.
[[nodiscard]] Kes_err *resolve_decide(Kes_resolve *r, int decision, const char *comment,
                                      Kes_md_history *history, Kes_resolve_footer_fn footer);

// The workspace's write lock and one history log record, held around
// decisions: by the resolve command for its whole run, by the resolve pane
// for each file it settles, so that both leave the same trace.
class Kes_resolve_log {
public:
  Kes_md_history *history;  // null until open succeeds

  explicit Kes_resolve_log(Kes_workspace *ws);
  ~Kes_resolve_log();  // closes with status 1 if still open
  Kes_resolve_log(const Kes_resolve_log &) = delete;
  Kes_resolve_log &operator=(const Kes_resolve_log &) = delete;

  // Takes the lock and begins the record with the command line argv.
  [[nodiscard]] Kes_err *open(int argc, char **argv);
  // Ends the record with status and gives the lock back; safe when not open.
  // Each pointer is cleared before its object goes, so that a signal's
  // clean-up meanwhile finds nothing half gone.
  void close(int status);

private:
  Kes_workspace *ws;
  Kes_cmdlock *lock;
  Kes_cmdlog *cmdlog;
};

// The merge tool's command line, the program's path first: "twinpane -T
// <procid>" when procid is given (the caller is on the message service), else
// "twinpane -x" with r's files and captions.
std::vector<std::string> resolve_twinpane_command(const char *program, const char *procid,
                                                  Kes_resolve *r);

// The merge-tool messages, requests in the session.  Load goes to the tool
// with process id handler when reuse is set, else to whichever tool has
// registered for it; a failure is error 2042.  With a callback the message
// belongs to it (the callback destroys it); without one it is destroyed once
// sent.  The others return the service's status.
[[nodiscard]] Kes_err *resolve_send_hw_load_msg(int reuse, Kes_resolve *r, const char *handler,
                                                int autosave, Hw_callback callback);
Hw_status resolve_send_hw_footer_msg(const char *handler, const char *text, int flag);
Hw_status resolve_send_hw_quit_msg(const char *handler);
Hw_status resolve_send_hw_unload_msg(const char *handler);
// Reads a Saved report: a new Kes_resolve for the file it names (in ws), and
// whether the user took the parent's or the child's version.
[[nodiscard]] Kes_err *resolve_get_hw_save_msg(Hw_message message, Kes_workspace *ws,
                                               Kes_resolve **out, int *took_parent,
                                               int *took_child);

// ~/.brindle_resrc: "set word" or "set noword" lines; '#' lines and empty
// lines are skipped.
class Kes_resolve_rc {
public:
  int start_twinpane;    // start the merge tool at once
  int autoadvance;       // go on to the next file
  int checkin_comments;  // ask for a check-in comment
  int reuse_twinpane;    // reuse the tool's window
  int autosave;          // the tool decides without asking

  Kes_resolve_rc();
  // No home directory or no file: the values stay.  A line that isn't a
  // "set" line is error 2032; unknown words are ignored.
  [[nodiscard]] Kes_err *read();
  // One line per field, in the order above.
  [[nodiscard]] Kes_err *write();
  // The file's path into out (1024 bytes); false without a home directory.
  static bool path(char *out);
};

#endif
