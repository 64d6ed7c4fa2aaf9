// Kes_ws_updatenames and Kes_dupinfo: the name table rebuilt from the tree,
// duplicate SmIDs made unique, name histories repaired.
#include "transaction/kes_ws_updatenames.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "sccs/kes_name_history.h"
#include "sccs/kes_sdata.h"
#include "sccs/kes_sfile.h"
#include "sccs/kes_smid.h"
#include "util/kes_err.h"
#include "util/kes_host.h"
#include "util/kes_init.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "util/kes_str.h"
#include "workspace/kes_access.h"
#include "workspace/kes_cmdlock.h"
#include "workspace/kes_cmdlog.h"
#include "workspace/kes_history.h"
#include "workspace/kes_nametable.h"
#include "workspace/kes_workspace.h"

// How often a file's root is marked before we give up finding a SmID that no
// other file has.
static const int kMaxUniquifyTries = 26;

Kes_dupinfo::Kes_dupinfo() : state(NO_ENTRY), original(nullptr), names(new Kes_strlist) {}

Kes_dupinfo::~Kes_dupinfo() {
  free(original);
  delete names;
}

Kes_ws_updatenames::Kes_ws_updatenames(Kes_workspace *ws, int flag, int ac, char **av)
    : workspace(ws), update_name_histories(flag), argc(ac), argv(av), nametable(nullptr),
      locked_ws(nullptr), lock(nullptr), history(nullptr), cmdlog(nullptr), quitted(0),
      file_errors(0) {}

Kes_ws_updatenames::Kes_ws_updatenames(Kes_workspace *ws, int flag)
    : Kes_ws_updatenames(ws, flag, 0, nullptr) {}

Kes_ws_updatenames::Kes_ws_updatenames(Kes_workspace *ws) : Kes_ws_updatenames(ws, 0) {}

Kes_ws_updatenames::Kes_ws_updatenames() : Kes_ws_updatenames(nullptr) {}

Kes_ws_updatenames::~Kes_ws_updatenames() { release(); }

void Kes_ws_updatenames::print_string(const char *format, ...) {
  va_list ap;
  va_start(ap, format);
  vprintf(format, ap);
  va_end(ap);
  fflush(stdout);
}

void Kes_ws_updatenames::say(const char *format, ...) {
  char text[2048];
  va_list ap;
  va_start(ap, format);
  vsnprintf(text, sizeof text, format, ap);
  va_end(ap);
  print_string("%s", text);
  if (history) Kes_err_owner(history->printf("%s", text)).report();
}

int Kes_ws_updatenames::choice(Kes_dupinfo *dup, int *quit) {
  *quit = 0;
  printf(BWM_MSG(14001, "The following SCCS file no longer exists in the workspace.\n\t%s\n"),
         dup->original ? dup->original : "");
  printf("%s", BWM_MSG(14002, "Either the file has been renamed or it has been removed from "
                              "this workspace.\n"));
  printf("%s", BWM_MSG(14003, "Enter the number corresponding to the file's current name or "
                              "'q' to quit:\n"));
  int n = 0;
  for (Kes_listelem *e = dup->names->head.next; e != &dup->names->head; e = e->next)
    printf("\t%2d %s\n", ++n, static_cast<const char *>(e->data));
  printf(BWM_MSG(14004, "\t%2d <File does not exist in this workspace.>\n"), n + 1);
  const char *cmd = kes_get_base_cmdname() ? kes_get_base_cmdname() : "workspace";
  for (;;) {
    printf("%s: ", cmd);
    fflush(stdout);
    char line[256];
    if (!fgets(line, sizeof line, stdin)) {
      printf("\n");
      *quit = 1;
      return 0;
    }
    line[strcspn(line, "\n")] = '\0';
    if (strcmp(line, "q") == 0) {
      *quit = 1;
      return 0;
    }
    char *end = nullptr;
    long k = strtol(line, &end, 10);
    if (end != line && *end == '\0' && k >= 1 && k <= n + 1) return k == n + 1 ? 0 : (int)k;
  }
}

// Each pointer is cleared before its object goes, so that a signal handler
// running clean_up meanwhile finds nothing half gone.
void Kes_ws_updatenames::release() {
  Kes_cmdlock *held = lock;
  lock = nullptr;
  if (locked_ws && held) Kes_err_owner(locked_ws->release_lock(held)).report();
  delete held;
  locked_ws = nullptr;
  Kes_md_nametable *nt = nametable;
  nametable = nullptr;
  delete nt;
  Kes_md_history *h = history;
  history = nullptr;
  delete h;
  Kes_cmdlog *log = cmdlog;
  cmdlog = nullptr;
  delete log;
}

Kes_err *Kes_ws_updatenames::lock_and_update() {
  quitted = 0;
  file_errors = 0;
  Kes_err *err = workspace->obtain_lock(KES_WRITE_LOCK, &lock);
  if (err) return err;
  locked_ws = workspace;

  // A damaged access file stops the run before anything changes.
  Kes_accesslist *acl = nullptr;
  err = workspace->get_accesslist(&acl);
  delete acl;
  if (err) {
    release();
    return err;
  }

  cmdlog = new Kes_cmdlog;
  if ((err = workspace->get_md_history(&history))) {
    release();
    return err;
  }
  history->argc = argc;
  history->argv = argv;
  Kes_err_owner(history->start(0)).report();
  if ((err = workspace->get_md_nametable(&nametable))) {
    release();
    return err;
  }

  say(BWM_MSG(14005, "Updating names in name table of workspace \"%s\"\n"),
      workspace->wsname ? workspace->wsname : "");

  Kes_smid_int_hash *dups = new Kes_smid_int_hash;
  int has_dups = 0;
  err = nametable->rebuild_table(nullptr, dups, &has_dups);
  int quit = 0;
  if (!err && has_dups) err = force_all_smids_to_be_unique(dups, &quit);
  kes_nt_delete_dup_smids(dups);

  if (!err && quit) {
    // The old table stays on disk: the duplicates are there for the next try.
    quitted = 1;
  } else if (!err) {
    err = nametable->write_table();
    if (!err && update_name_histories) file_errors = update_name_histories_of_files();
  }
  if (err && history) Kes_err_owner(history->printf("%s", err->text ? err->text : "")).report();
  cmdlog->finish(err || file_errors ? 1 : 0);
  history->done(cmdlog);
  release();
  return err;
}

// Every name of the table once: a file with several roots has several
// records.  Returns how many files failed; each failure is printed.
int Kes_ws_updatenames::update_name_histories_of_files() {
  int failures = 0;
  std::set<std::string> done;
  const std::string root = workspace->get_absname() ? workspace->get_absname() : ".";
  for (Kes_listelem *e = nametable->list->head.next; e != &nametable->list->head; e = e->next) {
    Kes_nt *rec = static_cast<Kes_nt *>(e->data);
    if (rec->edit == Kes_nt::REMOVE || !done.insert(rec->name).second) continue;
    const std::string path = root + "/" + rec->name;
    Kes_sfile *sf = workspace->get_sfile(path.c_str(), 0);
    Kes_err *err = sf->build_name_tree(rec->name, 0);
    Kes_name_tree *tree = static_cast<Kes_name_tree *>(sf->name_tree);
    if (!err && tree && tree->gained) {
      say(BWM_MSG(14006, "update name history: %s\n"), rec->name);
      err = sf->lock_file();
      if (!err) {
        Kes_name_history nh(sf, 0);
        err = nh.write_from_tree(tree);
        sf->unlock_file();
      }
    }
    if (err) {
      // One file's failure is told, and the next file goes on.
      err->print();
      failures++;
      delete err;
    }
    delete sf;
  }
  return failures;
}

namespace {

// The Kes_dupinfo of each duplicate SmID, found by SmID.  The table maps a SmID
// to its place in infos, plus one (0 is "none").
struct Dup_table {
  Kes_smid_int_hash index;
  std::vector<Kes_dupinfo *> infos;

  ~Dup_table() {
    for (Kes_dupinfo *d : infos) delete d;
  }
  Kes_dupinfo *find(Kes_smid *smid) {
    int i = index.lookup(smid);
    return i > 0 ? infos[i - 1] : nullptr;
  }
  Kes_dupinfo *make(Kes_smid *smid) {
    infos.push_back(new Kes_dupinfo);
    index.insert(smid, (int)infos.size());
    return infos.back();
  }
  void forget(Kes_smid *smid) { index.remove(smid); }
};

int list_has(Kes_strlist *list, const char *name) {
  for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next)
    if (strcmp(static_cast<const char *>(e->data), name) == 0) return 1;
  return 0;
}

}  // namespace

Kes_err *Kes_ws_updatenames::force_all_smids_to_be_unique(Kes_smid_int_hash *duplicates,
                                                          int *quit) {
  *quit = 0;
  Kes_md_nametable *old = nullptr;
  Kes_err *err = workspace->get_md_nametable(&old);
  if (!err) err = old->read_existing_table_with_dups();
  if (err) {
    delete old;
    return err;
  }

  Kes_smid_int_hash seen;
  Dup_table dups;
  Kes_ntlist *list = nametable->list;
  for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next) {
    Kes_nt *rec = static_cast<Kes_nt *>(e->data);
    if (rec->edit == Kes_nt::REMOVE) continue;
    seen.insert(rec->smid, 1);
    if (!duplicates->lookup(rec->smid)) continue;
    Kes_dupinfo *d = dups.find(rec->smid);
    if (!d) d = dups.make(rec->smid);
    d->names->add_new_copy(rec->name);
  }

  // Only a SmID that the old table held under a single name has an original.
  for (Kes_listelem *e = old->list->head.next; e != &old->list->head; e = e->next) {
    Kes_nt *rec = static_cast<Kes_nt *>(e->data);
    Kes_dupinfo *d = dups.find(rec->smid);
    if (!d) continue;
    if (d->state == Kes_dupinfo::NO_ENTRY) {
      kes_str_replace(&d->original, rec->name);
      d->state = Kes_dupinfo::ONE_ENTRY;
    } else if (d->state == Kes_dupinfo::ONE_ENTRY) {
      free(d->original);
      d->original = nullptr;
      d->state = Kes_dupinfo::SEVERAL_ENTRIES;
    }
  }
  delete old;

  // New records are appended behind; their SmIDs are new, so they have no
  // Kes_dupinfo and the walk passes over them.
  for (Kes_listelem *e = list->head.next; e != &list->head && !err && !*quit; e = e->next) {
    Kes_nt *rec = static_cast<Kes_nt *>(e->data);
    if (rec->edit == Kes_nt::REMOVE) continue;
    Kes_dupinfo *d = dups.find(rec->smid);
    if (!d) continue;
    dups.forget(rec->smid);
    err = uniquify_duplicate_smids(rec->smid, d, &seen, quit);
  }
  return err;
}

Kes_err *Kes_ws_updatenames::uniquify_duplicate_smids(Kes_smid *smid, Kes_dupinfo *dupinfo,
                                                      Kes_smid_int_hash *seen, int *quit) {
  *quit = 0;
  if (dupinfo->original && !list_has(dupinfo->names, dupinfo->original)) {
    int n = choice(dupinfo, quit);
    if (*quit) return nullptr;
    const char *chosen = nullptr;
    int i = 0;
    for (Kes_listelem *e = dupinfo->names->head.next; e != &dupinfo->names->head; e = e->next)
      if (++i == n) chosen = static_cast<const char *>(e->data);
    kes_str_replace(&dupinfo->original, chosen);
  }

  // The SmID belongs to a table record that may be marked removed below: the
  // old identity is kept in a copy of its own.
  Kes_smid *old_smid = smid->copy();
  const std::string root = workspace->get_absname() ? workspace->get_absname() : ".";
  Kes_err *err = nullptr;
  for (Kes_listelem *e = dupinfo->names->head.next; e != &dupinfo->names->head && !err;
       e = e->next) {
    const char *name = static_cast<const char *>(e->data);
    if (dupinfo->original && strcmp(name, dupinfo->original) == 0) continue;
    say(BWM_MSG(14007, "differentiate: %s\n"), name);

    // The z-file lock is held by one object; each try reads the file anew
    // through another, so that a second marker goes on top of the first.
    const std::string path = root + "/" + name;
    Kes_sfile *holder = workspace->get_sfile(path.c_str(), 0);
    err = holder->lock_file();
    Kes_smid *current = old_smid->copy();
    bool unique = false;
    for (int tries = 0; !err && !unique && tries < kMaxUniquifyTries; tries++) {
      Kes_sfile *sf = workspace->get_sfile(path.c_str(), 0);
      Kes_smid *fresh = nullptr;
      err = kes_uniquify_sfile_smid(sf, current, name, &fresh);
      delete sf;
      if (err) break;
      delete current;
      current = fresh;
      unique = seen->lookup(fresh) == 0;
    }
    if (holder->lock_count > 0) holder->unlock_file();
    delete holder;
    if (!err && !unique)
      err = (new Kes_err)->format_msg(
          2095, 0, BWM_MSG(14008, "Could not make SmID unique in file \"%s\""), name);
    if (!err) {
      Kes_nt added(name, current);
      current = nullptr;
      Kes_nt *stored = nullptr;
      err = nametable->add_record(&added, &stored);
      // The key of seen must live as long as the table: the stored copy's.
      if (!err && stored) seen->insert(stored->smid, 1);
      if (!err) {
        Kes_nt gone(name, old_smid->copy());
        err = nametable->remove_record(&gone);
      }
    }
    delete current;
  }
  delete old_smid;
  return err;
}

void Kes_ws_updatenames::clean_up(int signal) {
  if (nametable) nametable->cleanup_on_intr();
  if (locked_ws && lock) {
    Kes_err_owner(locked_ws->release_lock(lock)).report();
    delete lock;
    lock = nullptr;
  }
  if (history && cmdlog) {
    Kes_err_owner(
        history->printf(BWM_MSG(14009, "Command exited due to signal %d\n"), signal))
        .report();
    cmdlog->finish(1);
    history->done(cmdlog);
    delete history;
    history = nullptr;
  }
}
