// The backup area as a transaction writes it: cleared and begun before the
// first file moves (init_backup, remove_backup), and filled file by file
// with what is about to be overwritten (make_backup).
//
// Brindle_wsdata/backup/files holds the saved histories, p-files and clear
// files under their names in the workspace, with a name table of its own
// that lists every name each saved identity had; backup/new lists the files
// the transaction created.  Undo reads exactly this.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <vector>

#include "sccs/kes_smid.h"
#include "transaction/kes_file.h"
#include "transaction/kes_renames.h"
#include "transaction/kes_transaction.h"
#include "util/kes_err.h"
#include "util/kes_file.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "util/kes_process.h"
#include "util/kes_quote.h"
#include "workspace/kes_md_args.h"
#include "workspace/kes_md_backupnew.h"
#include "workspace/kes_nametable.h"
#include "workspace/kes_workspace.h"

namespace {

std::string backup_path(Kes_workspace *ws, const char *what) {
  return std::string(ws->get_absname()) + "/" + (ws->metadata_dir ? ws->metadata_dir : KES_METADATA_DIR) +
         "/" + what;
}

int is_there(const std::string &path) {
  struct stat st;
  return lstat(path.c_str(), &st) == 0;
}

}  // namespace

Kes_err *Kes_transaction::remove_backup() {
  std::string dir = backup_path(to_ws, "backup");
  std::string cmd = std::string("rm -rf ") + shell_escape(dir.c_str());
  delete kes_system_no_quoting(cmd.c_str());
  if (!is_there(dir)) return nullptr;
  // Something in it could not go: it is put aside for the administrator.
  for (int i = 1; i <= 10; i++) {
    std::string aside = dir + "." + std::to_string(i);
    if (rename(dir.c_str(), aside.c_str()) == 0) {
      issue_warning(2601, 0,
                    BWM_MSG(9070, "Could not remove backup directory\n\"%s\",\nso it was renamed "
                                  "to\n\"%s\""),
                    dir.c_str(), aside.c_str());
      return nullptr;
    }
  }
  return (new Kes_err)->format_msg(
      2080, 0, BWM_MSG(9071, "Could not remove or rename backup directory\n\"%s\""), dir.c_str());
}

Kes_err *Kes_transaction::init_backup() {
  Kes_err *err = remove_backup();
  if (err) return err;
  delete backup_list;
  backup_list = nullptr;
  if ((err = to_ws->get_md_backupnew(&backup_list))) return err;
  // The undo of a new child is to delete it: its list need not be synced.
  if (flags.creating_child) backup_list->set_limit(-1);
  if ((err = backup_list->open())) return err;

  std::string files = backup_path(to_ws, "backup/files");
  if ((err = kes_create_dirs((files + "/" + KES_METADATA_DIR).c_str()))) return err;
  delete backup_nametable;
  backup_nametable = nullptr;
  delete backup_area;
  backup_area = new Kes_backuparea(files.c_str(), &err);
  if (err) return err;
  if ((err = backup_area->get_md_nametable(&backup_nametable))) return err;
  return backup_nametable->write_table();
}

Kes_err *Kes_transaction::start_backup() {
  if (backup_area || flags.preview || !flags.backup) return nullptr;
  Kes_err *err = init_backup();
  // -B still clears the old backup; it only stops new entries.
  if (flags.no_backup) flags.backup = 0;
  return err;
}

Kes_err *Kes_file::make_backup(Kes_transaction *t) {
  if (!t->flags.backup || flags.backed_up) return nullptr;
  Kes_err *err = get_smidlist(to, nullptr);
  if (err) return err;
  // Every name of each identity goes into the area's table, so that undo
  // can give an identity all its names back.
  for (Kes_listelem *e = to->smids->head.next; !err && e != &to->smids->head; e = e->next) {
    Kes_smid *smid = static_cast<Kes_smid *>(e->data);
    std::vector<std::string> names = t->renames->names_of_smid(smid, KES_TO_SIDE);
    int own = 0;
    for (const std::string &n : names) own |= n == to->name;
    if (!own) names.push_back(to->name);
    for (const std::string &n : names) {
      Kes_nt rec(n.c_str(), smid->copy());
      err = t->backup_nametable->add_record(&rec, nullptr);
      if (err) break;
    }
  }
  char rel[1024];
  if (!err && to->checked_out) {
    struct stat st;
    if (stat(to->get_rel_clrname(rel), &st) == 0) err = make_backup_file(rel, t->to_ws);
    if (!err) err = make_backup_file(to->get_rel_pdotname(rel), t->to_ws);
  }
  if (!err) err = make_backup_file(to->get_rel_sdotname(rel), t->to_ws);
  if (!err) flags.backed_up = 1;
  return err;
}
