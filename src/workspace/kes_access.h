// access_control: who may do what with a workspace.  Each entry is an
// operation and a list of users and netgroups ("@group"); a leading "-"
// denies, a bare "-" denies everybody, and no values grant everybody.  The
// check is advisory: the commands make it, not the file system.
#ifndef BRINDLE_WORKSPACE_KES_ACCESS_H
#define BRINDLE_WORKSPACE_KES_ACCESS_H

#include "util/kes_list.h"
#include "workspace/kes_metadata.h"
#include "workspace/kes_workspace.h"

class Kes_access {
public:
  Kes_strlist *comments;  // the comment lines before the entry; may be null
  char *operation;
  Kes_strlist *values;    // null or empty: everybody

  // Takes over comments and values; copies the operation.
  Kes_access(Kes_strlist *comments, const char *operation, Kes_strlist *values);
  ~Kes_access();
  Kes_access(const Kes_access &) = delete;
  Kes_access &operator=(const Kes_access &) = delete;

  void set_cmts(Kes_strlist *comments);
  void set_values(Kes_strlist *values);
  Kes_access *copy();
  void print();
  int compare(Kes_access *other);  // operation and values
  // 1 if user may perform the operation.
  int access(const char *user);
};

class Kes_accesslist : public Kes_list {
public:
  ~Kes_accesslist() override;
  Kes_list *create_list() override;
  void *create_data() override;
  void *copy_data(void *data) override;
  void delete_data(void *data) override;
  void print_data(void *data) override;
  int compare_datas(void *a, void *b) override;
  Kes_access *find_operation(const char *name);
};

class Kes_md_access : public Kes_metadata {
public:
  Kes_md_access(Kes_workspace *ws, const char *metadata_dir)
      : Kes_metadata(ws, metadata_dir, "access_control", 2) {}
  [[nodiscard]] Kes_err *parse(char *line, void **entry, Kes_strlist *comments) override;
  // Version 1 files differ only in their version line, rewritten in place.
  [[nodiscard]] Kes_err *conversion() override;
  void format_comment(void *entry, char **text) override;
  void format_entry(void *entry, char **text) override;
  // A new file: the explaining comment and the built-in default of every
  // operation.  vcs has no effect.
  [[nodiscard]] Kes_err *create_default_file(VCS vcs);
};

// The built-in default entry of an operation, for the workspace's creating
// user; null for an unknown operation.
Kes_access *kes_acl_get_default(Kes_workspace *ws, const char *operation);

// Error 2065 when the running user may not perform the operation on ws.
[[nodiscard]] Kes_err *kes_check_access(const char *operation, Kes_workspace *ws);
// The same check, with warning 2065 in place of the error; always null.
[[nodiscard]] Kes_err *kes_check_access_warning(const char *operation, Kes_workspace *ws);

#endif
