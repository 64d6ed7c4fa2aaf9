// The workspace object: the one in-memory handle on a workspace, a directory
// tree of history files with the metadata directory Brindle_wsdata at its root.
//
// A workspace has three spellings of its path:
//   wsname        what the user sees: the physical path after a chdir into it,
//                 or the text as given when the directory can't be entered;
//   netname       what other workspaces' parent and children files hold: the
//                 automounter path where there is one, else host:/path;
//   nethost_path  host:/path from the mount table; it decides identity.
//
// The object caches no file contents: every get_... reads its file anew and
// hands the caller a fresh object to delete.  Every operation that can fail
// returns a Kes_err *, null for success, owned by the caller.
//
// Where the members are defined:
//   kes_workspace.cc      naming, identity, validity, printing, free functions
//   kes_ws_metadata.cc    every get_md_... factory, content readers and writers,
//                         print_description, make_descnm_notif_line
//   kes_ws_sfile.cc       get_sfile, get_merge_object
//   kes_ws_create.cc      create_ws
//   kes_ws_tree.cc        delete_ws, move_ws, reparent
// The operations on the command locks, history log, access control and
// notification files (get_locks, obtain_lock, release_lock, print_locks,
// print_history, get_accesslist, access_granted, print_accesslist,
// get_notifications, print_notifications) are defined with those files'
// classes, in kes_cmdlock.cc, kes_history.cc, kes_access.cc and kes_notify.cc:
// they share those classes' private helpers.
#ifndef BRINDLE_WORKSPACE_KES_WORKSPACE_H
#define BRINDLE_WORKSPACE_KES_WORKSPACE_H

#include "util/kes_list.h"

class Kes_err;
class Kes_sfile;
class Kes_merge;
class Kes_metadata;
class Kes_md_access;
class Kes_md_args;
class Kes_md_autofr;
class Kes_md_backupnew;
class Kes_md_children;
class Kes_md_conflicts;
class Kes_md_description;
class Kes_md_history;
class Kes_md_locks;
class Kes_md_nametable;
class Kes_md_nt_editlog;
class Kes_md_notify;
class Kes_md_ombraparent;
class Kes_md_parent;
class Kes_md_pbval;
class Kes_accesslist;
class Kes_cmdlock;
class Kes_cmdlocklist;
class Kes_notifylist;
class Kes_pbval;
class Kes_autofr;
class Kes_wslist;

// Kinds of command lock: readers share a workspace, a writer excludes all.
enum Kes_cmdlocktype { KES_READ_LOCK = 1, KES_WRITE_LOCK = 2 };

// Version control systems a workspace can be created for.
enum VCS { VCS_SCCS = 1 };

// Simple name of the metadata directory at a workspace root.
#define KES_METADATA_DIR "Brindle_wsdata"

class Kes_workspace {
public:
  char *wsname;
  char *absname;
  char *netname;
  char *nethost_path;        // host:/path; the key of compare
  char *metadata_dir;        // always KES_METADATA_DIR once named
  char *def_flp_simplename;  // default file-list program
  char *def_flp_cmdname;     // its resolved path, filled by get_def_flp
  int under_vc;              // history files lie in SCCS subdirectories
  char *pre_dir;             // path prefix of the sources under the root
  char *creator;             // owner of the root, filled by get_creator
  unsigned not_real : 1;     // a directory accepted in place of a workspace
  unsigned write_locked : 1;
  unsigned root_emptiness_known : 1;
  unsigned root_empty : 1;

  Kes_workspace();
  // set_name(name, 0); err may be null.
  Kes_workspace(const char *name, Kes_err **err);
  virtual ~Kes_workspace();
  Kes_workspace(const Kes_workspace &) = delete;
  Kes_workspace &operator=(const Kes_workspace &) = delete;

  virtual int is_writelocked();
  // The parent-link file in ws that a parent of this kind is recorded in:
  // parent for a workspace, ombraparent for an Ombra environment.
  [[nodiscard]] virtual Kes_err *new_md_parent(Kes_workspace *ws, Kes_md_parent **out);

  // Construction and identity.
  [[nodiscard]] Kes_err *set_name(const char *name, const char *absname);
  void set_netname(const char *name);
  void set_def_flp(const char *name);
  void set_pre_dir(const char *dir);
  void set_ws_options();
  void set_ombra_options();
  [[nodiscard]] Kes_err *parse_parent_child_line(const char *line);
  Kes_workspace *copy();  // same class as this object
  int compare(Kes_workspace *other);
  char *get_absname();
  char *get_creator();
  char *get_def_flp();
  const char *get_vcs_dir();
  [[nodiscard]] Kes_err *get_full_metadata_dir(char *buf);  // buf of 1024 bytes
  void print();
  // A metadata object of class T on this workspace's metadata directory: the
  // body of every get_md_... factory.
  template <class T> [[nodiscard]] Kes_err *make_md(T **md) {
    char dir[1024];
    *md = nullptr;
    if (Kes_err *e = get_full_metadata_dir(dir)) return e;
    *md = new T(this, dir);
    return nullptr;
  }

  // Validity.
  int exists();
  [[nodiscard]] Kes_err *not_real_warning();
  [[nodiscard]] Kes_err *not_real_error();
  int root_is_empty();
  // rel, if given, is a buffer of 1024 bytes.
  int is_under_ws(const char *path, char *rel);
  // Strips trailing slashes from dir in place.
  int is_under_dir(char *dir, const char *path);

  // Metadata factories: a new object through the argument, for the caller to
  // delete.  The file is not touched until the object is used.
  [[nodiscard]] Kes_err *get_md_access(Kes_md_access **md);
  [[nodiscard]] Kes_err *get_md_args(Kes_md_args **md);
  [[nodiscard]] Kes_err *get_md_autofr(Kes_md_autofr **md);
  [[nodiscard]] Kes_err *get_md_backupnew(Kes_md_backupnew **md);
  [[nodiscard]] Kes_err *get_md_children(Kes_md_children **md);
  [[nodiscard]] Kes_err *get_md_conflicts(Kes_md_conflicts **md);
  [[nodiscard]] Kes_err *get_md_description(Kes_md_description **md);
  [[nodiscard]] Kes_err *get_md_history(Kes_md_history **md);
  [[nodiscard]] Kes_err *get_md_locks(Kes_md_locks **md);
  [[nodiscard]] Kes_err *get_md_nametable(Kes_md_nametable **md);
  [[nodiscard]] Kes_err *get_md_nt_editlog(Kes_md_nt_editlog **md);
  [[nodiscard]] Kes_err *get_md_notify(Kes_md_notify **md);
  [[nodiscard]] Kes_err *get_md_ombraparent(Kes_md_ombraparent **md);
  [[nodiscard]] Kes_err *get_md_parent(Kes_md_parent **md);
  [[nodiscard]] Kes_err *get_md_pbval(Kes_md_pbval **md);

  // Content readers: a fresh result through the argument, for the caller to
  // delete.
  [[nodiscard]] Kes_err *get_parent(Kes_workspace **parent);
  [[nodiscard]] Kes_err *get_kes_parent(Kes_workspace **parent);
  [[nodiscard]] Kes_err *get_children(Kes_wslist **children);
  [[nodiscard]] Kes_err *get_accesslist(Kes_accesslist **list);
  [[nodiscard]] Kes_err *get_description(Kes_strlist **lines);
  [[nodiscard]] Kes_err *get_conflicts(Kes_strlist **names);
  [[nodiscard]] Kes_err *get_locks(Kes_cmdlocklist **list);
  [[nodiscard]] Kes_err *get_notifications(const char *event, Kes_notifylist **list);
  [[nodiscard]] Kes_err *get_pbval(Kes_pbval **settings);
  [[nodiscard]] Kes_err *get_autofr(Kes_autofr **settings);

  // Writers.
  [[nodiscard]] Kes_err *set_parent(Kes_workspace *parent);
  [[nodiscard]] Kes_err *remove_parent();
  [[nodiscard]] Kes_err *add_child(Kes_workspace *child);
  [[nodiscard]] Kes_err *remove_child(Kes_workspace *child);
  [[nodiscard]] Kes_err *add_conflict(const char *name);
  [[nodiscard]] Kes_err *remove_conflict(const char *name);
  [[nodiscard]] Kes_err *set_pbval(Kes_pbval *settings);
  [[nodiscard]] Kes_err *set_autofr(Kes_autofr *settings);

  // Command locks, access and reports.
  [[nodiscard]] Kes_err *obtain_lock(Kes_cmdlocktype type, Kes_cmdlock **lock);
  [[nodiscard]] Kes_err *release_lock(Kes_cmdlock *lock);
  [[nodiscard]] Kes_err *release_lock(int n);
  [[nodiscard]] Kes_err *access_granted(const char *operation, const char *user, int *granted);
  [[nodiscard]] Kes_err *print_history();
  [[nodiscard]] Kes_err *print_accesslist();
  [[nodiscard]] Kes_err *print_notifications();
  [[nodiscard]] Kes_err *print_locks(int *count);
  [[nodiscard]] Kes_err *print_description(int name, int text);
  [[nodiscard]] Kes_err *print_parent(int recursive, int indent);
  [[nodiscard]] Kes_err *print_children(int recursive, int indent);
  void print_wsname(int indent);
  char *make_descnm_notif_line(int indent);  // malloc-ed; the caller frees it

  // Create, delete, move, reparent.
  [[nodiscard]] Kes_err *create_ws(VCS vcs);
  [[nodiscard]] Kes_err *delete_ws(int metadata_only);
  [[nodiscard]] Kes_err *move_ws(Kes_workspace *target);
  [[nodiscard]] Kes_err *reparent(Kes_workspace *new_parent, int force);

  // The history layer: the only places that name its implementation.
  Kes_sfile *get_sfile(const char *name);
  Kes_sfile *get_sfile(const char *name, int flag);
  Kes_merge *get_merge_object();

protected:
  // An empty object of this object's own class, for copy.
  virtual Kes_workspace *make_empty();
  void free_names();
};

// A parent that is an environment of the older source-management system
// Ombra: its link is kept in ombraparent.
class Kes_ws_ombraparent : public Kes_workspace {
public:
  Kes_ws_ombraparent() {}
  Kes_ws_ombraparent(const char *name, Kes_err **err) : Kes_workspace(name, err) {}
  [[nodiscard]] Kes_err *new_md_parent(Kes_workspace *ws, Kes_md_parent **out) override;

protected:
  Kes_workspace *make_empty() override;
};

// backup/files, the previous state kept for undo.  Always counts as write
// locked: nobody takes a command lock on it.
class Kes_backuparea : public Kes_workspace {
public:
  Kes_backuparea() {}
  Kes_backuparea(const char *name, Kes_err **err) : Kes_workspace(name, err) {}
  int is_writelocked() override;

protected:
  Kes_workspace *make_empty() override;
};

// A list of workspaces; owns its elements.
class Kes_wslist : public Kes_list {
public:
  Kes_wslist() {}
  ~Kes_wslist() override;
  Kes_list *create_list() override;
  void *create_data() override;
  void *copy_data(void *data) override;
  void delete_data(void *data) override;
  void print_data(void *data) override;
  int compare_datas(void *a, void *b) override;
};

// Free functions.
[[nodiscard]] Kes_err *kes_determine_default_ws(const char *name, Kes_workspace **ws);
// result: 1024 bytes; the empty string if path lies in no workspace.
void kes_find_containing_ws(char *result, const char *path);
void getenv_brindle_ws(char *buf);  // buf of 1024 bytes
void getenv_brindle_wspath(char **value);
int check_compat_2_1();

// The error for a write to a workspace that doesn't exist (2016).
[[nodiscard]] Kes_err *kes_ws_does_not_exist(const char *wsname);
// 1 if the absolute names a and b are nested: one is a prefix of the other
// with "/" right behind it.  shorter and longer then point at the two.
int kes_ws_nested(const char *a, const char *b, const char **shorter, const char **longer);

#endif
