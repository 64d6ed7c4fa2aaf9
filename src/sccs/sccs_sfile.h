// History files: the SCCS kind, the only concrete one.  Named nowhere above
// the history-file layer; the workspace hands out Kes_sfile.
#ifndef BRINDLE_SCCS_SCCS_SFILE_H
#define BRINDLE_SCCS_SCCS_SFILE_H

#include <string>

#include "sccs/kes_sfile.h"
#include "util/kes_list.h"

class SCCS_delta : public Kes_delta {
public:
  SCCS_delta();
  ~SCCS_delta() override;
  void make_fake() override;
  [[nodiscard]] Kes_err *write(FILE *out, const char *name) override;
  Kes_delta *copy() override;  // never to be called
};

class SCCS_delta_tree : public Kes_delta_tree {
public:
  // n + 2 nodes: slot 0 for a fake root, 1..n by serial, n + 1 spare.
  explicit SCCS_delta_tree(int n);
  ~SCCS_delta_tree() override;
  Kes_tree_node *ith_node(int i) override;
  // Puts slot 0 over the root as a fake root, moving release-1 SIDs of the
  // from side up one level.
  void add_fake() override;
  int largest_serial() override;
  Kes_delta *get_common_ancestor(const char *sid1, const char *sid2) override;
  Kes_delta *find_sid(const char *sid) override;

  SCCS_delta *nodes;  // the array that node_array points at
};

// Raises serial and predecessor of a from-side node by one, and in release 1
// the level of its SID.
void incr_sid_level(Kes_delta *node);

// The fields of a delta line, "^Ad T SID yy/mm/dd hh:mm:ss user serial pred".
struct SCCS_delta_line {
  char type;
  std::string sid, date, user;
  int serial, pred;
};
// Parses a delta line by position, the numbers behind the user included; 0
// when the line is not of that form (a type other than D or R, a date of
// another shape, a field missing, text behind the predecessor).  Read by
// whitespace, such a line gave other numbers than by position, and the
// rewrite of what was read by position could not be read again.
int sccs_parse_delta_line(const char *line, SCCS_delta_line *out);

class SCCS_flags : public Kes_sc_flags {
public:
  void read_flag(const char *line) override;
};

class SCCS_locks : public Kes_sc_locks {
public:
  [[nodiscard]] Kes_err *read_locks(FILE *in, int *line_counter) override;
  // The name of the file, for messages.
  const char *file_name = nullptr;
};

// A list of deltas.  The list owns them: the fast read hands out deltas made
// for it alone.  Use delete_wrapper() on a list that shares tree nodes.
class SCCS_deltalist : public Kes_list {
public:
  ~SCCS_deltalist() override;
  Kes_list *create_list() override;
  void *create_data() override;
  void *copy_data(void *data) override;  // never to be called, as Kes_delta::copy
  void delete_data(void *data) override;
  void print_data(void *data) override;
  int compare_datas(void *a, void *b) override;  // the same delta
};

class SCCS_sfile : public Kes_sfile {
public:
  // Takes the s-file's path; reads nothing.
  explicit SCCS_sfile(const char *path);
  // Takes the clear file's path.  Mode 1 or 3 reads the delta table and the
  // p-file; any other mode reads the p-file only.
  SCCS_sfile(const char *clear_path, int mode);
  ~SCCS_sfile() override;

  [[nodiscard]] Kes_err *buildtree(int side, int read_pfile, int roots_only) override;
  [[nodiscard]] Kes_err *build_nametree_deltalist(Kes_mmap *mm, const char *name,
                                                  Kes_name_tree **tree_out,
                                                  SCCS_deltalist **deltas_out,
                                                  int *conflicted) override;
  [[nodiscard]] Kes_err *read_pfile() override;
  [[nodiscard]] Kes_err *rewrite_pfile() override;
  [[nodiscard]] Kes_err *read_descriptive_text() override;
  int get_serial() override;
  [[nodiscard]] Kes_err *savestrings(char letter, char ***out, Kes_mmap *mm) override;
  [[nodiscard]] Kes_err *test_corrupted() override;
  int build_pfilename(char *out) override;
  int build_zfilename(const char *name) override;
  [[nodiscard]] Kes_err *lock_file() override;
  int unlock_file() override;
  [[nodiscard]] Kes_err *write() override;
  [[nodiscard]] Kes_err *rename_tmp_sfile(const char *target) override;
  [[nodiscard]] Kes_err *mklist(Kes_delta ***out) override;
  SCCS_deltalist *new_deltalist() override;
  Cmd *check_in(const char *sid, const char *comment, const char *flags) override;
  Cmd *check_out(const char *sid, const char *gfile) override;
  Cmd *check_out_n_include(const char *sid, const char *include) override;
  Cmd *uncheckout(const char *sid) override;
  Cmd *check_different(int flags) override;
  Cmd *check_sfile() override;
  Cmd *get_clear_file_cmd(const char *sid, int flags, const char *out) override;
  int get_clear_file(const char *sid, int flags, const char *out) override;
  Cmd *put_under_sc(const char *comment) override;
  Cmd *diff_two_deltas(const char *sid1, const char *sid2, int context) override;
  Cmd *set_flag(const char *f) override;
  Cmd *unset_flag(const char *f) override;
  Cmd *unset_branch() override;
  char *get_sname(const char *path) override;
  char *get_pname(const char *path) override;
  char *get_clr_name(const char *path) override;

  SCCS_delta_tree *sccs_tree() { return static_cast<SCCS_delta_tree *>(tree); }

private:
  [[nodiscard]] Kes_err *read_info();
  [[nodiscard]] Kes_err *saveints(Kes_tree_node ***out);
  [[nodiscard]] Kes_err *make_tmp_sfile(FILE **out);
  // Reads the next line into line[]; 0 at the end of the file.
  int next_line(Kes_mmap *mm, Kes_err **err);

  // The errno of a p-file rewrite whose temporary file couldn't be opened:
  // the history then stays as it is, or its p-file would name the old table.
  int pfile_open_errno = 0;
};

#endif
