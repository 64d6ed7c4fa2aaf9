// Kes_renames: the joint SmID table of two workspaces, its verification, the
// making unique of copied histories, and the pairing of rename candidates.
#include "transaction/kes_renames.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "sccs/kes_merge.h"
#include "sccs/kes_sdata.h"
#include "sccs/kes_sfile.h"
#include "sccs/kes_smid.h"
#include "transaction/kes_dir_hash.h"
#include "transaction/kes_file.h"
#include "transaction/kes_trans_timers.h"
#include "transaction/kes_transaction.h"
#include "util/kes_err.h"
#include "util/kes_hash.h"
#include "util/kes_init.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "util/kes_process.h"
#include "util/kes_str.h"
#include "util/kes_timing.h"
#include "workspace/kes_nametable.h"
#include "workspace/kes_workspace.h"

namespace {

Kes_timing *timer(int slot) { return kes_trans_timer(KES_TIMER_RENAMES_FIRST + slot); }
enum {
  T_BUILD_HASH, T_READ_SRC, T_READ_DST, T_MATCH, T_VERIFY, T_GET_SMIDS, T_EDIT,
  T_EXECUTE, T_ADD_FILES, T_WRITE_SRC, T_WRITE_DST
};

// Adds delta to the count kept for smid; the table keeps its own copy of a new key.
void bump(Kes_smid_int_hash *h, Kes_smid *smid, int delta) {
  Kes_smid *key = smid->copy();
  if (h->replace(key, h->lookup(smid) + delta)) delete key;
}

int in_list(Kes_strlist *list, const char *name) {
  for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next)
    if (strcmp(static_cast<char *>(e->data), name) == 0) return 1;
  return 0;
}

// The names of one side of a record: its list, or its one name.
std::vector<std::string> names_of(Kes_smidinfo *info, int side) {
  std::vector<std::string> v;
  Kes_strlist *list = side ? info->to_names : info->from_names;
  const char *one = side ? info->to_name : info->from_name;
  if (list) {
    for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next)
      v.push_back(static_cast<char *>(e->data));
  } else if (one) {
    v.push_back(one);
  }
  return v;
}

}  // namespace

// ---------------------------------------------------------------------------
// Reading SmIDs

Kes_err *get_smidlist(Kes_ws_file *file, int *exists) {
  if (exists) *exists = 1;
  if (file->smids) return nullptr;
  Kes_timing::start(timer(T_GET_SMIDS));
  char path[1024];
  file->get_abs_sdotname(path);
  Kes_sfile *sf = file->ws->get_sfile(path);
  Kes_err *err = sf->buildtree(0, 0, 1);
  if (err) {
    struct stat st;
    if (stat(path, &st) != 0) {
      delete err;
      err = nullptr;
      if (exists)
        *exists = 0;
      else
        err = (new Kes_err)->format_msg(
            1001, errno, BWM_MSG(11500, "Open of \"%s\" for reading failed"), path);
    }
  } else {
    file->smids = new Kes_smidlist;
    Kes_delta *root = sf->root_delta();
    if (root && root->fake) {
      // Several roots: each is an identity of the file.
      for (Kes_delta *r = root->first_child_delta(); r; r = r->next_sibling_delta())
        file->smids->add_new_data(kes_smid_from_delta(r));
    } else if (root) {
      file->smids->add_new_data(kes_smid_from_delta(root));
    }
  }
  delete sf;
  Kes_timing::stop(timer(T_GET_SMIDS));
  return err;
}

Kes_err *uniquify_smid(Kes_ws_file *file, Kes_smid *smid, Kes_smid **out, int write) {
  char path[1024];
  Kes_sfile *sf = file->ws->get_sfile(file->get_abs_sdotname(path));
  Kes_err *err = kes_uniquify_sfile_smid(sf, smid, file->name, out, write);
  delete sf;
  return err;
}

// ---------------------------------------------------------------------------
// The SmID table

Kes_renames::Kes_renames(Kes_transaction *t)
    : transaction(t),
      from_nt(nullptr),
      to_nt(nullptr),
      smid_table(new Kes_smid_smidinfo_hash),
      stale_from(new Kes_smid_int_hash),
      stale_to(new Kes_smid_int_hash),
      uniquified(new Kes_smid_int_hash),
      duplicates(new Kes_smid_int_hash),
      flags(0) {
}

Kes_renames::~Kes_renames() {
  delete smid_table;  // before the tables: its keys belong to their records
  delete from_nt;
  delete to_nt;
  kes_nt_delete_dup_smids(stale_from);
  kes_nt_delete_dup_smids(stale_to);
  kes_nt_delete_dup_smids(uniquified);
  kes_nt_delete_dup_smids(duplicates);
  for (Replacement &r : replaced) {
    delete r.old_smid;
    delete r.new_smid;
  }
}

Kes_workspace *Kes_renames::workspace(int side) {
  return side ? transaction->to_ws : transaction->from_ws;
}

const char *Kes_renames::intern(const char *name) { return names.insert(name).first->c_str(); }

// The first name fills the field; a second, different one makes a list of
// both; later ones join the list.  Names point into the name tables, whose
// records outlive the SmID table.
void Kes_renames::insert_info(Kes_smid *smid, const char *name, int side) {
  Kes_smidinfo *info = smid_table->lookup(smid);
  if (!info) {
    info = new Kes_smidinfo;
    smid_table->insert(smid, info);
  }
  char **field = side ? &info->to_name : &info->from_name;
  Kes_strlist **list = side ? &info->to_names : &info->from_names;
  if (!*field) {
    *field = const_cast<char *>(name);
  } else if (!*list) {
    if (strcmp(*field, name) == 0) return;
    *list = new Kes_strlist;
    (*list)->add_new_copy(*field);
    (*list)->add_new_copy(const_cast<char *>(name));
  } else if (!in_list(*list, name)) {
    (*list)->add_new_copy(const_cast<char *>(name));
  }
}

// The reverse: a list that falls to one name goes, and the field takes the
// list's first name.
void Kes_renames::remove_info(Kes_smid *smid, const char *name, int side) {
  Kes_smidinfo *info = smid_table->lookup(smid);
  if (!info) return;
  char **field = side ? &info->to_name : &info->from_name;
  Kes_strlist **list = side ? &info->to_names : &info->from_names;
  if (*list) {
    for (Kes_listelem *e = (*list)->head.next; e != &(*list)->head; e = e->next)
      if (strcmp(static_cast<char *>(e->data), name) == 0) {
        (*list)->delete_elem(e);
        break;
      }
    *field = (*list)->count ? const_cast<char *>(intern(static_cast<char *>((*list)->head.next->data)))
                            : nullptr;
    if ((*list)->count <= 1) {
      delete *list;
      *list = nullptr;
    }
  } else if (*field && strcmp(*field, name) == 0) {
    *field = nullptr;
  }
}

void Kes_renames::fill_smid_table() {
  for (int side : {KES_FROM_SIDE, KES_TO_SIDE}) {
    Kes_ntlist *list = table(side)->list;
    for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next) {
      Kes_nt *rec = static_cast<Kes_nt *>(e->data);
      if (rec->edit != Kes_nt::REMOVE) insert_info(rec->smid, rec->name, side);
    }
  }
}

Kes_err *Kes_renames::add_entry(const char *name, Kes_smid *smid, int side, int *added) {
  Kes_nt rec(name, smid->copy());
  Kes_nt *stored = nullptr;
  Kes_err *err = table(side)->add_record(&rec, &stored);
  if (added) *added = stored != nullptr;
  if (stored) insert_info(stored->smid, stored->name, side);
  return err;
}

Kes_err *Kes_renames::remove_entry(const char *name, Kes_smid *smid, int side) {
  Kes_nt rec(name, smid->copy());
  Kes_err *err = table(side)->remove_record(&rec);
  remove_info(smid, name, side);
  return err;
}

Kes_err *Kes_renames::init() {
  Kes_transaction *t = transaction;
  if (t->to_ws->root_is_empty()) {
    t->flags.check_renames = 0;
    flags |= TO_ROOT_EMPTY;
  }
  Kes_timing::start(timer(T_BUILD_HASH));
  Kes_err *err = t->from_ws->get_md_nametable(&from_nt);
  if (!err) err = t->to_ws->get_md_nametable(&to_nt);
  if (!err && t->flags.preview) {
    // A preview keeps what it reads or rebuilds in memory.
    from_nt->writable = 0;
    to_nt->writable = 0;
  }
  if (!err) {
    Kes_timing::start(timer(T_READ_SRC));
    err = from_nt->read_table(t, duplicates);
    Kes_timing::stop(timer(T_READ_SRC));
  }
  if (!err) {
    Kes_timing::start(timer(T_READ_DST));
    err = to_nt->read_table(t, duplicates);
    Kes_timing::stop(timer(T_READ_DST));
  }
  if (!err) fill_smid_table();
  Kes_timing::stop(timer(T_BUILD_HASH));
  return err;
}

// ---------------------------------------------------------------------------
// Verification

// The file's SmIDs, as this run left them: a preview has written none of the
// uniquifications it made.
Kes_err *Kes_renames::read_smids(Kes_ws_file *file, int side) {
  Kes_err *err = get_smidlist(file, nullptr);
  if (err || replaced.empty()) return err;
  for (Kes_listelem *e = file->smids->head.next; e != &file->smids->head; e = e->next)
    for (Replacement &r : replaced)
      if (r.side == side && r.name == file->name &&
          kes_smid_equal(static_cast<Kes_smid *>(e->data), r.old_smid)) {
        delete static_cast<Kes_smid *>(e->data);
        e->data = r.new_smid->copy();
      }
  return nullptr;
}

Kes_err *Kes_renames::verify_smidhash() {
  Kes_timing::start(timer(T_VERIFY));
  char cwd[1024];
  if (!getcwd(cwd, sizeof cwd)) {
    Kes_timing::stop(timer(T_VERIFY));
    return (new Kes_err)->format_msg(1039, errno, BWM_MSG(11501, "Getcwd failed"));
  }
  int dot = ::open(".", O_RDONLY | O_DIRECTORY);
  if (dot < 0) {
    Kes_timing::stop(timer(T_VERIFY));
    return (new Kes_err)->format_msg(1001, errno,
                                     BWM_MSG(11500, "Open of \"%s\" for reading failed"), cwd);
  }
  Kes_err *err = nullptr;
  Kes_filelist *cands = transaction->rename_candidates;
  for (Kes_listelem *e = cands->head.next; !err && e != &cands->head; e = e->next) {
    Kes_file *f = static_cast<Kes_file *>(e->data);
    for (int side : {KES_FROM_SIDE, KES_TO_SIDE}) {
      Kes_ws_file *w = side ? f->to : f->from;
      if (!w->exists || f->contents_error) continue;
      Kes_err *e2 = kes_ws_file_verify_smidhash(w, side);
      if (!e2) continue;
      // A history whose roots can't be read is this file's error; the
      // others are matched all the same.
      f->contents_error = e2;
      transaction->counts.contents_errors++;
    }
  }
  if (fchdir(dot) != 0 && !err)
    err = (new Kes_err)->format_msg(1031, errno, BWM_MSG(11502, "Fchdir to \"%s\" failed"), cwd);
  ::close(dot);
  Kes_timing::stop(timer(T_VERIFY));
  return err;
}

Kes_err *Kes_renames::kes_ws_file_verify_smidhash(Kes_ws_file *file, int side) {
  Kes_err *err = read_smids(file, side);
  if (err) return err;
  Kes_smid_int_hash *stale = side ? stale_to : stale_from;
  for (Kes_listelem *e = file->smids->head.next; e != &file->smids->head; e = e->next) {
    Kes_smid *smid = static_cast<Kes_smid *>(e->data);
    Kes_smidinfo *info = smid_table->lookup(smid);
    if (info && (err = verify_smidinfo(info, smid, file->name, side))) return err;
    int added = 0;
    if ((err = add_entry(file->name, smid, side, &added))) return err;
    Kes_smidinfo *now = info ? nullptr : smid_table->lookup(smid);
    if (now) now->flags |= Kes_smidinfo::VERIFIED;
    if (added) bump(stale, smid, -1);
  }
  return nullptr;
}

Kes_err *Kes_renames::verify_smidinfo(Kes_smidinfo *info, Kes_smid *smid, const char *known,
                                      int known_side) {
  if (info->flags & Kes_smidinfo::VERIFIED) return nullptr;
  free(info->orig_from_name);
  free(info->orig_to_name);
  info->orig_from_name = info->from_name ? kes_strdup(info->from_name) : nullptr;
  info->orig_to_name = info->to_name ? kes_strdup(info->to_name) : nullptr;
  // The names are taken before any goes: verify_name removes the stale ones.
  Kes_err *err = nullptr;
  for (int side : {KES_FROM_SIDE, KES_TO_SIDE})
    for (const std::string &name : names_of(info, side)) {
      // The file just read is its own proof, on its own side only.
      if (side == known_side && name == known) continue;
      if ((err = verify_name(name.c_str(), smid, side, info))) return err;
    }
  info->flags |= Kes_smidinfo::VERIFIED;
  return nullptr;
}

Kes_err *Kes_renames::verify_name(const char *name, Kes_smid *smid, int side, Kes_smidinfo *info) {
  Kes_transaction *t = transaction;
  if (side ? !t->flags.verify_to_names : !t->flags.verify_from_names) return nullptr;
  int valid = 0;
  size_t first = strcspn(name, "/");
  int metadata = (first == 7 && strncmp(name, "kesmere", 7) == 0) ||
                 (first == strlen(KES_METADATA_DIR) && strncmp(name, KES_METADATA_DIR, first) == 0);
  if (name[0] != '/' && !metadata) {
    Kes_ws_file probe(workspace(side), name);
    int exists = 0;
    Kes_err *err = get_smidlist(&probe, &exists);
    // An unreadable history can't vouch for the entry either.
    delete err;
    if (!err && exists && probe.smids)
      for (Kes_listelem *e = probe.smids->head.next; e != &probe.smids->head; e = e->next)
        if (kes_smid_equal(static_cast<Kes_smid *>(e->data), smid)) valid = 1;
  }
  if (valid) return nullptr;
  bump(side ? stale_to : stale_from, smid, 1);
  info->flags |= side ? Kes_smidinfo::TO_MISSING : Kes_smidinfo::FROM_MISSING;
  return remove_entry(name, smid, side);
}

// ---------------------------------------------------------------------------
// Rebuilding and duplicates

Kes_err *Kes_renames::rebuild_hash_table(int from, int to) {
  int sides[2] = {from && !from_nt->rebuilt, to && !to_nt->rebuilt};
  if (!sides[0] && !sides[1]) return nullptr;
  delete smid_table;
  smid_table = new Kes_smid_smidinfo_hash;
  Kes_err *err = nullptr;
  int found_dups[2] = {0, 0};
  for (int side : {KES_FROM_SIDE, KES_TO_SIDE}) {
    if (!sides[side] || err) continue;
    err = table(side)->rebuild_table(transaction, duplicates, &found_dups[side]);
    // The scan holds the truth: nothing of this side is stale any more.
    Kes_smid_int_hash *&stale = side ? stale_to : stale_from;
    kes_nt_delete_dup_smids(stale);
    stale = new Kes_smid_int_hash;
  }
  fill_smid_table();
  for (int side : {KES_FROM_SIDE, KES_TO_SIDE})
    if (!err && found_dups[side]) err = get_original_names_for_dups(side);
  return err;
}

// The names that the duplicated SmIDs had in the table as it was before: the
// original of each copy, and whether it still exists.
Kes_err *Kes_renames::get_original_names_for_dups(int side) {
  Kes_md_nametable *old = nullptr;
  Kes_err *err = workspace(side)->get_md_nametable(&old);
  if (!err) {
    old->writable = 0;  // read only: the table in use is another object
    err = old->read_existing_table_with_dups();
  }
  if (!err) {
    for (Kes_listelem *e = old->list->head.next; e != &old->list->head; e = e->next) {
      Kes_nt *rec = static_cast<Kes_nt *>(e->data);
      if (!duplicates->lookup(rec->smid)) continue;
      Kes_smidinfo *info = smid_table->lookup(rec->smid);
      if (!info) continue;
      char **orig = side ? &info->orig_to_name : &info->orig_from_name;
      kes_str_replace(orig, rec->name);
      Kes_ws_file probe(workspace(side), rec->name);
      char path[1024];
      struct stat st;
      if (stat(probe.get_abs_sdotname(path), &st) != 0)
        info->flags |= side ? Kes_smidinfo::TO_MISSING : Kes_smidinfo::FROM_MISSING;
    }
  }
  delete old;
  return err;
}

Kes_err *Kes_renames::uniquify_duplicate_smids(Kes_smid *smid, int side, int *changed) {
  Kes_smidinfo *info = smid_table->lookup(smid);
  if (!info || !(side ? info->to_names : info->from_names)) return nullptr;
  const char *orig = side ? info->orig_to_name : info->orig_from_name;
  int missing = (info->flags & (side ? Kes_smidinfo::TO_MISSING : Kes_smidinfo::FROM_MISSING)) != 0;
  Kes_workspace *ws = workspace(side);
  if (missing) {
    // Nobody can tell which of the files keeps the identity.
    flags |= side ? KEEP_TO_TABLE : KEEP_FROM_TABLE;
    char cmd[1024];
    Kes_err *e = kes_find_executable("workspace", cmd);
    if (e) {
      delete e;
      snprintf(cmd, sizeof cmd, "workspace");
    }
    const char *base = kes_get_base_cmdname() ? kes_get_base_cmdname() : "";
    return (new Kes_err)->format_msg(
        2092, 0,
        BWM_MSG(11503, "A history file (A) was copied (to file B).  The original history file (A) "
                       "cannot be found.\nRun the following command and then re-execute the \"%s\" "
                       "command:\n\t\"%s updatenames %s\"\n"),
        base, cmd, ws->wsname ? ws->wsname : "");
  }
  // Without an original (no earlier table said which file came first) every
  // copy changes; the marker depends on the name alone, so a file and its
  // copy in the other workspace come out alike.
  std::string original = orig ? orig : "";
  for (const std::string &name : names_of(info, side)) {
    if (orig && name == original) continue;
    Kes_ws_file copy(ws, name.c_str());
    Kes_smid *fresh = nullptr;
    Kes_err *err = uniquify_smid_in_ws(&copy, smid, &fresh, side);
    delete fresh;
    if (err) return err;
    if (changed) *changed = 1;
    info = smid_table->lookup(smid);  // the table may have grown
  }
  return nullptr;
}

// Into an empty root a copy arrives at once: each from name but the
// original is made unique in the from workspace, and where the to workspace
// has it too, there as well.  The marker depends on the name alone, so both
// get the same new identity.
Kes_err *Kes_renames::uniquify_duplicate_smids_in_both(Kes_smid *smid) {
  Kes_smidinfo *info = smid_table->lookup(smid);
  if (!info || !info->from_names) return nullptr;
  std::string original = info->orig_from_name ? info->orig_from_name : "";
  int has_original = info->orig_from_name != nullptr;
  for (const std::string &name : names_of(info, KES_FROM_SIDE)) {
    if (has_original && name == original) continue;
    Kes_smid *fresh[2] = {nullptr, nullptr};
    Kes_ws_file from_copy(transaction->from_ws, name.c_str());
    Kes_err *err = uniquify_smid_in_ws(&from_copy, smid, &fresh[0], KES_FROM_SIDE);
    info = smid_table->lookup(smid);
    std::vector<std::string> to_names = info ? names_of(info, KES_TO_SIDE) : std::vector<std::string>();
    int in_to = 0;
    for (const std::string &n : to_names) in_to |= n == name;
    if (!err && in_to) {
      Kes_ws_file to_copy(transaction->to_ws, name.c_str());
      err = uniquify_smid_in_ws(&to_copy, smid, &fresh[1], KES_TO_SIDE);
      if (!err && !kes_smid_equal(fresh[0], fresh[1]))
        err = (new Kes_err)->format_msg(2093, 0,
                                        BWM_MSG(11506, "Internal error: SmIDs not equivalent"));
    }
    delete fresh[0];
    delete fresh[1];
    if (err) return err;
    info = smid_table->lookup(smid);
    if (!info) break;
  }
  return nullptr;
}

std::vector<std::string> Kes_renames::names_of_smid(Kes_smid *smid, int side) {
  Kes_smidinfo *info = smid_table->lookup(smid);
  return info ? names_of(info, side) : std::vector<std::string>();
}

Kes_err *Kes_renames::uniquify_smid_in_ws(Kes_ws_file *file, Kes_smid *smid, Kes_smid **out,
                                          int side) {
  Kes_transaction *t = transaction;
  if (t->parent_ws && file->ws == t->parent_ws) {
    t->counts.differentiate_parent++;
    t->vstatus_printf(KES_TS_DIFFERENTIATE_PARENT, file->name);
  } else {
    t->counts.differentiate_child++;
    t->vstatus_printf(KES_TS_DIFFERENTIATE_CHILD, file->name);
  }
  bump(uniquified, smid, 1);
  flags |= UNIQUIFIED;
  // One file object for every try: a preview writes nothing, and each try
  // builds on the marker of the one before.
  char path[1024];
  Kes_sfile *sf = file->ws->get_sfile(file->get_abs_sdotname(path));
  Kes_smid *current = smid->copy(), *fresh = nullptr;
  Kes_err *err = nullptr;
  int unique = 0;
  for (int tries = 0; tries < 26 && !err && !unique; tries++) {
    err = kes_uniquify_sfile_smid(sf, current, file->name, &fresh, !t->flags.preview);
    if (err) break;
    Kes_smidinfo *info = smid_table->lookup(fresh);
    unique = !info || !(side ? info->to_name : info->from_name);
    delete current;
    current = fresh;
  }
  delete sf;
  if (!err && !unique)
    err = (new Kes_err)->format_msg(
        2095, 0, BWM_MSG(11504, "Could not make SmID unique in file \"%s\""), file->name);
  if (err) {
    delete current;
    *out = nullptr;
    return err;
  }
  replaced.push_back({side, file->name, smid->copy(), current->copy()});
  if (!(err = add_entry(file->name, current, side, nullptr))) err = remove_entry(file->name, smid, side);
  *out = current;
  return err;
}

Kes_err *kes_nt_update_or_forget(Kes_md_nametable *nt) {
  Kes_err *err = nt->update_table();
  // The file on disk no longer tells the truth: without it, the next reader
  // builds the table from the files.
  if (err && nt->dirty) unlink(nt->fullname);
  return err;
}

Kes_err *Kes_renames::update_tables() {
  Kes_err *err = nullptr;
  std::vector<Kes_smid *> dups;
  duplicates->iterate(
      [](void *key, void *, void *arg) {
        static_cast<std::vector<Kes_smid *> *>(arg)->push_back(static_cast<Kes_smid *>(key));
        return 0;
      },
      &dups);
  Kes_timing::start(timer(T_EDIT));
  // Each duplicate is dealt with once, so a second call says nothing twice.
  for (Kes_smid *smid : dups) {
    err = uniquify_duplicate_smids(smid, KES_FROM_SIDE, nullptr);
    if (!err) err = uniquify_duplicate_smids(smid, KES_TO_SIDE, nullptr);
    duplicates->remove(smid);
    delete smid;
    if (err) break;
  }
  Kes_timing::stop(timer(T_EDIT));
  if (err) return err;
  if (!(flags & KEEP_TO_TABLE)) {
    Kes_timing::start(timer(T_WRITE_DST));
    err = kes_nt_update_or_forget(to_nt);
    Kes_timing::stop(timer(T_WRITE_DST));
  }
  if (!err && !(flags & KEEP_FROM_TABLE)) {
    Kes_timing::start(timer(T_WRITE_SRC));
    err = kes_nt_update_or_forget(from_nt);
    Kes_timing::stop(timer(T_WRITE_SRC));
  }
  return err;
}

// ---------------------------------------------------------------------------
// Matching

Kes_err *Kes_renames::match_ws_file(Kes_ws_file *file, int side, Kes_ws_file **out) {
  *out = nullptr;
  Kes_err *err = read_smids(file, side);
  if (err) return err;
  if (flags & UNIQUIFIED) {
    int stale = 0;
    for (Kes_listelem *e = file->smids->head.next; e != &file->smids->head; e = e->next)
      if (uniquified->lookup(static_cast<Kes_smid *>(e->data))) stale = 1;
    if (stale) {
      delete file->smids;
      file->smids = nullptr;
      if ((err = read_smids(file, side))) return err;
    }
  }
  int stale_sides[2] = {0, 0};
  for (Kes_listelem *e = file->smids->head.next; e != &file->smids->head; e = e->next) {
    Kes_smid *s = static_cast<Kes_smid *>(e->data);
    if (stale_from->lookup(s) > 0) stale_sides[0] = 1;
    if (stale_to->lookup(s) > 0) stale_sides[1] = 1;
  }
  if ((stale_sides[0] || stale_sides[1]) && (err = rebuild_hash_table(stale_sides[0], stale_sides[1])))
    return err;

  for (Kes_listelem *e = file->smids->head.next; e != &file->smids->head;) {
    Kes_smid *s = static_cast<Kes_smid *>(e->data);
    if (!smid_table->lookup(s))
      return (new Kes_err)->format_msg(2091, 0,
                                       BWM_MSG(11505, "Internal error: hash table missing entry"));
    int changed[2] = {0, 0};
    if ((err = uniquify_duplicate_smids(s, KES_FROM_SIDE, &changed[0]))) return err;
    if ((err = uniquify_duplicate_smids(s, KES_TO_SIDE, &changed[1]))) return err;
    if (changed[side]) {
      // This file may have been one of the copies: its identity is read anew.
      delete file->smids;
      file->smids = nullptr;
      if ((err = read_smids(file, side))) return err;
      e = file->smids->head.next;
      continue;
    }
    e = e->next;
  }

  std::vector<std::string> found;
  for (Kes_listelem *e = file->smids->head.next; e != &file->smids->head; e = e->next) {
    Kes_smidinfo *info = smid_table->lookup(static_cast<Kes_smid *>(e->data));
    if (!info) continue;
    for (const std::string &n : names_of(info, side ? KES_FROM_SIDE : KES_TO_SIDE)) {
      int dup = 0;
      for (const std::string &f : found) dup |= f == n;
      if (!dup) found.push_back(n);
    }
  }
  // Several names on the other side tell nothing: no match.
  if (found.size() == 1)
    *out = new Kes_ws_file(side ? transaction->from_ws : transaction->to_ws, found[0].c_str());
  return nullptr;
}

namespace {
// A record found by matching replaces the side that was missing.
void replace_side(Kes_transaction *t, Kes_file *f, Kes_ws_file *found, int side) {
  found->fillin(t);
  Kes_ws_file **slot = side ? &f->to : &f->from;
  delete *slot;
  *slot = found;
  f->flags.quick_check_result = KES_QC_NOT_DONE;
}
}  // namespace

Kes_err *Kes_renames::match_kes_file(Kes_listelem *elem, Kes_listelem **next_elem) {
  Kes_file *f = static_cast<Kes_file *>(elem->data);
  Kes_err *err = nullptr;
  Kes_ws_file *found = nullptr;
  *next_elem = nullptr;
  if (f->from->exists && !f->to->exists) {
    if (!(err = match_ws_file(f->from, KES_FROM_SIDE, &found)) && found)
      replace_side(transaction, f, found, KES_TO_SIDE);
  } else if (!f->from->exists && f->to->exists) {
    if (!(err = match_ws_file(f->to, KES_TO_SIDE, &found)) && found)
      replace_side(transaction, f, found, KES_FROM_SIDE);
  } else if (f->from->exists && f->to->exists && f->flags.no_common_ancestor) {
    // Two unrelated files under one name: each may have a partner elsewhere.
    Kes_merge *kept = f->merge;
    f->merge = nullptr;
    Kes_file_flags saved = f->flags;
    Kes_file *c = f->copy();
    f->flags.no_common_ancestor = c->flags.no_common_ancestor = 0;
    f->flags.name_history_merge = c->flags.name_history_merge = 0;
    f->to->exists = 0;
    c->from->exists = 0;
    Kes_ws_file *for_f = nullptr, *for_c = nullptr;
    err = match_ws_file(f->from, KES_FROM_SIDE, &for_f);
    if (!err) err = match_ws_file(c->to, KES_TO_SIDE, &for_c);
    if (for_f) replace_side(transaction, f, for_f, KES_TO_SIDE);
    if (for_c) replace_side(transaction, c, for_c, KES_FROM_SIDE);
    if (err || (!for_f && !for_c)) {
      // A true collision: the conflict stays.
      f->to->exists = 1;
      f->flags = saved;
      f->merge = kept;
      delete c;
      return err;
    }
    delete kept;
    Kes_listelem *ce = new Kes_listelem(c);
    Kes_filelist *cands = transaction->rename_candidates;
    if (c->from->exists && c->to->exists) {
      cands->insert_before(elem, ce);
      *next_elem = ce;
    } else {
      cands->insert_after(elem, ce);
    }
  }
  return err;
}

Kes_err *Kes_renames::add_matched_kes_file(Kes_file *file, const char *name) {
  file->flags.rename_candidate = 0;
  Kes_timing *creates = kes_trans_timer(KES_TIMER_EXAMINE_CREATES);
  Kes_timing::suspend(creates);
  Kes_timing::start(timer(T_ADD_FILES));
  std::string copy = name;
  Kes_err *err = transaction->add_kes_file(file, &copy[0], nullptr);
  Kes_timing::stop(timer(T_ADD_FILES));
  Kes_timing::cont(creates);
  return err;
}

Kes_err *Kes_renames::match_up_files() {
  Kes_transaction *t = transaction;
  t->flags.check_renames = 0;
  Kes_filelist *cands = t->rename_candidates;
  if (!cands || cands->count == 0) return nullptr;
  Kes_timing::start(kes_trans_timer(KES_TIMER_EXAMINE_CREATES));
  Kes_timing::start(timer(T_MATCH));
  from_nt->editlog_disable();
  to_nt->editlog_disable();
  Kes_err *err = verify_smidhash();
  Kes_name_hash handled;
  Kes_listelem *e = cands->head.next;
  while (!err && e != &cands->head) {
    Kes_file *f = static_cast<Kes_file *>(e->data);
    Kes_listelem *cont = nullptr;
    if (!f->contents_error && (err = match_kes_file(e, &cont))) break;
    if (cont) {
      // The copy stands before this element and is taken first.
      e = cont;
      f = static_cast<Kes_file *>(e->data);
    }
    Kes_listelem *next = e->next;
    cands->delete_elem_wrapper(e);
    if (f->contents_error) {
      t->examined++;
      t->action_files->add_new_data(f);
    } else if (f->from->exists && f->to->exists) {
      if (handled.lookup(f->to->name)) {
        delete f;  // its pair was made from the other side already
      } else {
        handled.insert(kes_strdup(f->to->name), 1);
        f->flags.name_merge_candidate = 1;
        err = add_matched_kes_file(f, f->to->name);
      }
    } else if (f->to->exists) {
      err = add_matched_kes_file(f, f->to->name);
    } else {
      err = add_matched_kes_file(f, f->from->name);
    }
    e = next;
  }
  from_nt->editlog_enable();
  to_nt->editlog_enable();
  Kes_timing::stop(timer(T_MATCH));
  Kes_timing::stop(kes_trans_timer(KES_TIMER_EXAMINE_CREATES));
  return err;
}
