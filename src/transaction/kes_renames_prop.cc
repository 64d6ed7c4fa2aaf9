// Kes_renames: what the propagation actions ask of the joint SmID table, the
// entries of a new file and the move of a renamed one.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "sccs/kes_sfile.h"
#include "sccs/kes_smid.h"
#include "transaction/kes_dir_hash.h"
#include "transaction/kes_file.h"
#include "transaction/kes_renames.h"
#include "transaction/kes_transaction.h"
#include "util/kes_crash.h"
#include "util/kes_err.h"
#include "util/kes_file.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "util/kes_process.h"
#include "util/kes_quote.h"
#include "util/kes_str.h"
#include "workspace/kes_workspace.h"

namespace {

Kes_err *rename_failed(const char *from, const char *to, int err) {
  return (new Kes_err)->format_msg(1018, err, BWM_MSG(11510, "Rename of \"%s\" to \"%s\" failed"),
                                   from, to);
}

int exists_here(const char *path) {
  struct stat st;
  return lstat(path, &st) == 0;
}

}  // namespace

Kes_err *mv_file(const char *from, const char *to) {
  struct stat st;
  const char *slash = strrchr(to, '/');
  if (slash && slash != to) {
    std::string dir(to, slash - to);
    if (stat(dir.c_str(), &st) != 0)
      if (Kes_err *err = kes_create_dirs(dir.c_str())) return err;
  }
  kes_crash_point();
  if (rename(from, to) == 0) return nullptr;
  if (errno != EXDEV) return rename_failed(from, to, errno);
  static char mv[1024];
  if (!mv[0]) {
    Kes_err *err = kes_find_cmd_in_path("mv", mv);
    if (err) {
      mv[0] = '\0';
      return err;
    }
  }
  // shell_escape keeps its result in a buffer of its own: each is copied.
  std::string cmd = shell_escape(mv);
  cmd += std::string(" ") + shell_escape(from);
  cmd += std::string(" ") + shell_escape(to);
  return kes_system_no_quoting(cmd.c_str());
}

Kes_err *Kes_renames::update_rename_info_on_prop_from_new(Kes_file *file,
                                                          SCCS_deltalist *deltas) {
  Kes_list *roots = kes_deltalist_list(deltas);
  Kes_smidlist *smids = new Kes_smidlist;
  for (Kes_listelem *e = roots->head.next; e != &roots->head; e = e->next)
    smids->add_new_data(kes_smid_from_delta(static_cast<Kes_delta *>(e->data)));
  Kes_err *err = nullptr;
  if (!(flags & TO_ROOT_EMPTY)) {
    for (Kes_listelem *e = smids->head.next; !err && e != &smids->head; e = e->next)
      err = add_entry(file->to->name, static_cast<Kes_smid *>(e->data), KES_TO_SIDE, nullptr);
    delete smids;
    return err;
  }
  // Nothing was matched into an empty root, so nothing was verified: a copy
  // in the from workspace shows only now, as its second name arrives.
  delete file->from->smids;
  file->from->smids = smids;
  err = kes_ws_file_verify_smidhash(file->from, KES_FROM_SIDE);
  for (Kes_listelem *e = smids->head.next; !err && e != &smids->head; e = e->next)
    err = add_entry(file->to->name, static_cast<Kes_smid *>(e->data), KES_TO_SIDE, nullptr);
  std::vector<Kes_smid *> own;
  for (Kes_listelem *e = smids->head.next; e != &smids->head; e = e->next)
    own.push_back(static_cast<Kes_smid *>(e->data)->copy());
  for (Kes_smid *s : own)
    if (!err) err = uniquify_duplicate_smids_in_both(s);
  if (err) {
    // What came in goes again, under every name it took in the to workspace.
    for (Kes_smid *s : own)
      for (const std::string &name : names_of_smid(s, KES_TO_SIDE))
        delete remove_file_in_dst_ws(name.c_str());
    delete remove_file_in_dst_ws(file->to->name);
  }
  for (Kes_smid *s : own) delete s;
  delete file->from->smids;
  file->from->smids = nullptr;
  return err;
}

Kes_err *Kes_renames::remove_file_in_dst_ws(const char *name) {
  Kes_ws_file w(transaction->to_ws, name);
  char path[1024];
  int exists = 0;
  Kes_err *err = get_smidlist(&w, &exists);
  if (!err && exists)
    for (Kes_listelem *e = w.smids->head.next; !err && e != &w.smids->head; e = e->next)
      err = remove_entry(name, static_cast<Kes_smid *>(e->data), KES_TO_SIDE);
  if (!err) err = unlink_file(w.get_rel_sdotname(path));
  if (!err) err = unlink_file(w.get_rel_clrname(path));
  return err;
}

Kes_err *Kes_renames::rename_kes_file(Kes_file *file) {
  Kes_ws_file *old = file->to;
  Kes_ws_file target(transaction->to_ws, file->from->name);
  char old_s[1024], new_s[1024], old_p[1024], new_p[1024], old_c[1024], new_c[1024];
  old->get_rel_sdotname(old_s);
  target.get_rel_sdotname(new_s);
  struct stat st;
  if (stat(old_s, &st) != 0)
    return (new Kes_err)->format_msg(1002, errno, BWM_MSG(11511, "Fstat of \"%s\" failed"), old_s);
  const char *taken = BWM_MSG(11512, "Can't rename to \"%s\"; it exists");
  if (lstat(new_s, &st) == 0 || errno != ENOENT)
    return (new Kes_err)->format_msg(2051, 0, taken, new_s);
  if (exists_here(target.get_rel_clrname(new_c)))
    return (new Kes_err)->format_msg(2051, 0, taken, target.name);

  Kes_err *err = get_smidlist(old, nullptr);
  for (Kes_listelem *e = old->smids->head.next; !err && e != &old->smids->head; e = e->next)
    err = add_entry(target.name, static_cast<Kes_smid *>(e->data), KES_TO_SIDE, nullptr);
  if (!err) err = mv_file(old_s, new_s);
  if (err) return err;
  old->nh_incomplete = 1;
  for (Kes_listelem *e = old->smids->head.next; !err && e != &old->smids->head; e = e->next)
    err = remove_entry(old->name, static_cast<Kes_smid *>(e->data), KES_TO_SIDE);
  if (!err && exists_here(old->get_rel_pdotname(old_p)))
    err = mv_file(old_p, target.get_rel_pdotname(new_p));
  if (!err && exists_here(old->get_rel_clrname(old_c))) err = mv_file(old_c, new_c);
  if (err) return err;

  // The directory listings read before the move no longer hold.
  for (Kes_dir_hash *&cache : transaction->dir_cache) {
    delete cache;
    cache = nullptr;
  }
  Kes_ws_file *moved = new Kes_ws_file(transaction->to_ws, target.name);
  moved->fillin(transaction);
  moved->nh_incomplete = 1;
  kes_str_replace(&file->pre_rename_name, old->name);
  delete old;
  file->to = moved;
  return nullptr;
}
