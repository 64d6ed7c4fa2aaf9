// history: the permanent log of a workspace, one record per transaction that
// touched it.  A record is composed in a private temporary file beside the log
// while the command runs, and appended in one go under the log's file lock when
// it ends, so records of concurrent commands never interleave and a crash
// leaves nothing in the log (only the temporary file).  A record reads:
//
//   COMMAND bringover -p /ws/parent file.c
//   BEGIN COMMENT                       (optional)
//   comment lines
//   END COMMENT
//   free lines: per-file results, warnings, summary
//   CWD ..., RELEASE ..., HOST ..., USER ..., PARENT_WORKSPACE ...,
//   CHILD_WORKSPACE ..., RTI ..., FREEZEPOINT_FILE ..., START ..., END ...,
//   STATUS ...                          (the command log, in this order)
//
// There is no record terminator: a reader tells records apart only by the
// keywords coming back in a lower place of this order.
#ifndef BRINDLE_WORKSPACE_KES_HISTORY_H
#define BRINDLE_WORKSPACE_KES_HISTORY_H

#include <cstdarg>

#include "util/kes_list.h"
#include "workspace/kes_metadata.h"

class Kes_cmdlog;

// One record as read back.  Every field is malloc-ed, null when absent.
class Kes_history {
public:
  char *command_name;  // last path component of the command's first word
  char *command_text;  // the command line and every line of no keyword
  char *comment;
  char *cwd;
  char *release;
  char *host;
  char *user;
  char *parent_name;
  char *parent_netname;
  char *child_name;
  char *child_netname;
  char *start_local;
  char *start_gmt;
  char *end_local;
  char *end_gmt;
  char *status;
  char *rti;
  char *freezepoint_file;

  Kes_history();
  virtual ~Kes_history();
  Kes_history(const Kes_history &) = delete;
  Kes_history &operator=(const Kes_history &) = delete;

  Kes_history *copy();
  // strcmp of the fields in order, the child name left out; a null field
  // sorts before any string.
  int compare(Kes_history *other);
};

class Kes_historylist : public Kes_list {
public:
  ~Kes_historylist() override;
  Kes_list *create_list() override;
  void *create_data() override;
  void *copy_data(void *data) override;
  void delete_data(void *data) override;
  void print_data(void *data) override;
  int compare_datas(void *a, void *b) override;
};

class Kes_md_history : public Kes_metadata {
public:
  char *temp_name;  // the record's temporary file
  FILE *temp_file;  // null: nothing is logged
  int argc;         // words of the command line still to be written
  char **argv;

  Kes_md_history(Kes_workspace *ws, const char *metadata_dir);
  // An unfinished record's temporary file is closed and removed.
  ~Kes_md_history() override;

  // Begins a record with its "COMMAND " line, consuming argc and argv.  With
  // noop set nothing is made, and every later call writes nothing.
  [[nodiscard]] Kes_err *start(int noop);
  // The comment between "BEGIN COMMENT" and "END COMMENT".
  [[nodiscard]] Kes_err *print_comment(Kes_strlist *comment);
  [[nodiscard]] Kes_err *print_rti(const char *value);
  // Free lines of the record.
  [[nodiscard]] Kes_err *printf(const char *fmt, ...) __attribute__((format(printf, 2, 3)));
  [[nodiscard]] Kes_err *vprintf(const char *fmt, va_list ap) __attribute__((format(printf, 2, 0)));
  // Ends the record with the command log's lines and appends it to the log.
  // A failure is printed and costs only the record: the log keeps its old end.
  void done(Kes_cmdlog *log);
  // The log without its version line, on standard output.
  [[nodiscard]] Kes_err *print();
  using Kes_metadata::get_contents;
  // Reads the log into list, whose create_data makes Kes_history records.
  [[nodiscard]] Kes_err *get_contents(Kes_list *list) override;

private:
  void drop_temp();
};

#endif
