// Kes_file's undo: the state decided from the backup area (the from side) and
// the workspace (the to side), and the actions that put the saved state back;
// Kes_md_file, the same for a metadata file; Kes_md_args::determine_undo_state.
//
// Every action can be run again: a restore copies the saved history anew, a
// removal accepts a file already gone.  So an undo cut short by a crash is
// finished by the next one.
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "sccs/kes_merge.h"
#include "sccs/kes_name_history.h"
#include "sccs/kes_sfile.h"
#include "sccs/kes_smid.h"
#include "transaction/kes_file.h"
#include "transaction/kes_renames.h"
#include "transaction/kes_undo.h"
#include "util/kes_err.h"
#include "util/kes_file.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "workspace/kes_md_args.h"
#include "workspace/kes_workspace.h"

namespace {

int present(const char *path) {
  struct stat st;
  return stat(path, &st) == 0;
}

int was_created(Kes_transaction *t, const char *name) {
  return static_cast<Kes_undo *>(t)->was_created(name);
}

}  // namespace

Kes_err *Kes_file::determine_undo_state(Kes_transaction *t) {
  if (t->flags.check_renames) {
    Kes_err *err = check_for_rename_candidate(t);
    if (err) return err;
    if (flags.rename_candidate) return nullptr;  // it waits for the rename pass
  }
  delete merge;
  merge = nullptr;
  flags.name_action = from->exists && to->exists && !flags.cross_type && strcmp(from->name, to->name)
                          ? KES_NA_UNDO_RENAME
                          : KES_NA_NONE;
  if (from->exists)
    flags.contents_action = KES_CA_UNDO_RESTORE;
  else if (was_created(t, to->name))
    flags.contents_action = KES_CA_UNDO_REMOVE;
  else
    flags.contents_action = KES_CA_NONE;
  // Only what the saved state says counts; the name histories come back
  // with the histories.
  flags.name_history_merge = 0;
  from->nh_incomplete = to->nh_incomplete = 0;
  return nullptr;
}

int Kes_file::execute_undo_action(Kes_transaction *t) {
  if (flags.name_action == KES_NA_UNDO_RENAME) rename_error = undo_restore_name(t);
  if (!rename_error) {
    if (flags.contents_action == KES_CA_UNDO_REMOVE)
      contents_error = undo_remove(t);
    else if (flags.contents_action == KES_CA_UNDO_RESTORE)
      contents_error = undo_restore(t);
  } else if (flags.contents_action) {
    t->issue_warning(2632, 0,
                     BWM_MSG(13020, "Omitting contents change to file \"%s\" because of rename error"),
                     to->name);
  }
  actions_done = 1;
  return rename_error || contents_error;
}

Kes_err *Kes_file::undo_restore_name(Kes_transaction *t) { return rename_file(t); }

Kes_err *Kes_file::undo_remove(Kes_transaction *t) {
  t->status_printf(KES_TS_REMOVE, to->name);
  if (t->flags.preview) {
    t->counts.removes++;
    return nullptr;
  }
  // The identities are read before the history goes.
  int exists = 0;
  Kes_err *err = get_smidlist(to, &exists);
  if (err) return err;
  char path[1024];
  if ((err = unlink_file(to->get_rel_clrname(path)))) return err;
  if ((err = unlink_file(to->get_rel_sdotname(path)))) return err;
  if (to->checked_out && (err = unlink_file(to->get_rel_pdotname(path)))) return err;
  if (exists)
    for (Kes_listelem *e = to->smids->head.next; !err && e != &to->smids->head; e = e->next)
      err = t->renames->remove_entry(to->name, static_cast<Kes_smid *>(e->data), KES_TO_SIDE);
  if (err) return err;
  t->counts.removes++;
  return nullptr;
}

Kes_err *Kes_file::undo_restore(Kes_transaction *t) {
  t->status_printf(KES_TS_RESTORE, to->name);
  if (t->flags.preview) {
    t->counts.restores++;
    return nullptr;
  }
  char to_s[1024], from_s[1024], to_c[1024], from_c[1024], to_p[1024], from_p[1024];
  to->get_rel_sdotname(to_s);
  from->get_abs_sdotname(from_s);
  // The identities the workspace's history has now, to be forgotten where
  // the saved history lacks them.
  int existed = 0;
  Kes_err *err = get_smidlist(to, &existed);
  if (err) return err;
  // The copy replaces the history by rename, with no unlink before it: a copy
  // that fails leaves the history the workspace had, never none.
  if ((err = kes_create_file_dirs(to_s))) return err;
  Kes_sfile *sf = from->ws->get_sfile(from_s);
  Kes_name_tree *tree = nullptr;
  SCCS_deltalist *deltas = nullptr;
  int unresolved = 0;
  err = kes_smart_copy_file(to_s, from_s, to->name, &tree, &deltas, &unresolved, sf);
  delete sf;
  delete tree;
  if (err) return err;

  Kes_list *roots = kes_deltalist_list(deltas);
  Kes_smidlist restored;
  for (Kes_listelem *e = roots->head.next; e != &roots->head; e = e->next)
    restored.add_new_data(kes_smid_from_delta(static_cast<Kes_delta *>(e->data)));
  delete roots;
  for (Kes_listelem *e = restored.head.next; !err && e != &restored.head; e = e->next)
    err = t->renames->add_entry(to->name, static_cast<Kes_smid *>(e->data), KES_TO_SIDE, nullptr);
  if (existed)
    for (Kes_listelem *e = to->smids->head.next; !err && e != &to->smids->head; e = e->next) {
      Kes_smid *old = static_cast<Kes_smid *>(e->data);
      int kept = 0;
      for (Kes_listelem *r = restored.head.next; r != &restored.head; r = r->next)
        kept |= kes_smid_equal(old, static_cast<Kes_smid *>(r->data));
      if (!kept) err = t->renames->remove_entry(to->name, old, KES_TO_SIDE);
    }
  if (err) return err;

  to->get_rel_clrname(to_c);
  to->get_rel_pdotname(to_p);
  if (to->checked_out) {
    if ((err = unlink_file(to_c))) return err;
    if ((err = unlink_file(to_p))) return err;
  }
  if (present(from->get_abs_pdotname(from_p))) {
    // The file was checked out when it was saved: the checkout comes back.
    if ((err = unlink_file(to_c))) return err;
    if (present(from->get_abs_clrname(from_c)) && (err = kes_copy_file(to_c, from_c))) return err;
    if ((err = kes_copy_file(to_p, from_p))) return err;
  } else if (t->flags.update_clear_files) {
    get_clear_file(t);
  }
  err = unresolved ? t->to_ws->add_conflict(to->name) : t->to_ws->remove_conflict(to->name);
  if (err) return err;
  t->counts.restores++;
  return nullptr;
}

// A metadata file is saved whole in the area, under the same name.
Kes_err *Kes_md_file::determine_undo_state(Kes_transaction *t) {
  char saved[1024];
  if (present(from->get_abs_clrname(saved)))
    flags.contents_action = KES_CA_UNDO_RESTORE;
  else if (was_created(t, to->name))
    flags.contents_action = KES_CA_UNDO_REMOVE;
  else
    flags.contents_action = KES_CA_NONE;
  return nullptr;
}

Kes_err *Kes_md_file::undo_remove(Kes_transaction *t) {
  t->status_printf(KES_TS_REMOVE, to->name);
  if (t->flags.preview) {
    t->counts.removes++;
    return nullptr;
  }
  char path[1024];
  Kes_err *err = unlink_file(to->get_rel_clrname(path));
  if (!err) t->counts.removes++;
  return err;
}

Kes_err *Kes_md_file::undo_restore(Kes_transaction *t) {
  t->status_printf(KES_TS_RESTORE, to->name);
  if (t->flags.preview) {
    t->counts.restores++;
    return nullptr;
  }
  char path[1024], saved[1024];
  // Renamed over the file, not unlinked first: a copy that fails leaves the
  // file the workspace had.
  Kes_err *err = kes_copy_file_over(to->get_rel_clrname(path), from->get_abs_clrname(saved));
  if (!err) t->counts.restores++;
  return err;
}

Kes_err *Kes_md_args::determine_undo_state(Kes_undo *undo) {
  char rel[1024];
  get_relname(rel);
  Kes_md_file *file = new Kes_md_file;
  file->from = new Kes_ws_file(undo->from_ws, rel);
  file->to = new Kes_ws_file(undo->to_ws, rel);
  file->from->filetype = file->to->filetype = kes_get_filetype(Kes_filetype::REGULAR);
  Kes_err *err = file->determine_undo_state(undo);
  if (err || !file->flags.contents_action) {
    delete file;
    return err;
  }
  undo->examined++;
  undo->contents_action_count++;
  undo->action_count++;
  undo->action_files->add_new_data(file);
  return nullptr;
}
