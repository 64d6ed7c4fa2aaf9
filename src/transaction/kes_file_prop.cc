// Kes_file: carrying out the decided actions, file by file.  Each operation
// prints its status line and takes its count first, and a preview stops
// there: so a preview says exactly what a real run would say.  The working
// directory is the to workspace's root, so a relative history name means the
// to workspace.
//
// What a killed process leaves: a history is replaced by a rename, so it is
// the old one or the new one, whole; a file about to be overwritten is in the
// backup area first; a new file is listed in backup/new after it lands.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "sccs/kes_conflict.h"
#include "sccs/kes_merge.h"
#include "sccs/kes_name_history.h"
#include "sccs/kes_sfile.h"
#include "sccs/kes_smid.h"
#include "sccs/sccs_cmd.h"
#include "transaction/kes_file.h"
#include "transaction/kes_renames.h"
#include "transaction/kes_trans_timers.h"
#include "transaction/kes_transaction.h"
#include "util/kes_crash.h"
#include "util/kes_err.h"
#include "util/kes_file.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "util/kes_process.h"
#include "util/kes_quote.h"
#include "util/kes_timing.h"
#include "workspace/kes_md_backupnew.h"
#include "workspace/kes_workspace.h"

Kes_err *unlink_file(const char *name) {
  kes_crash_point();
  if (unlink(name) == 0 || errno == ENOENT) return nullptr;
  return (new Kes_err)->format_msg(1019, errno, BWM_MSG(11002, "Unlink of \"%s\" failed"), name);
}

int Kes_file::execute_prop_action(Kes_transaction *t) {
  int need_clear_file = 0;
  // A problem was reported by the call itself; the file is left alone.
  if (print_problems(t)) return 0;

  if (flags.name_action == KES_NA_UPDATE)
    rename_error = prop_update_name(t);
  else if (flags.name_action == KES_NA_CONFLICT)
    rename_error = prop_conflict_name(t);

  if (!rename_error) {
    if (flags.contents_action == KES_CA_CREATE)
      contents_error = prop_from_new(t, &need_clear_file);
    else if (flags.contents_action == KES_CA_UPDATE)
      contents_error = prop_from_chg(t, &need_clear_file);
    else if (flags.contents_action == KES_CA_CONFLICT)
      contents_error = prop_both_chg(t);
    if (flags.name_history_merge) delete prop_nh_automerge(t, &need_clear_file);
    if (to->nh_incomplete) {
      Kes_err *err = to->update_name_history(t);
      if (!err && t->flags.update_clear_files && !t->flags.preview) need_clear_file = 1;
      delete err;
    }
    // A reader may repair the name history of the from workspace.
    if (from->nh_incomplete) delete from->update_name_history(t);
  }
  // Names go first: a contents merge must see the file under its new name.
  if (rename_error && flags.contents_action)
    t->issue_warning(2632, 0,
                     BWM_MSG(11000, "Omitting contents change to file \"%s\" because of rename error"),
                     to->name);
  if (!rename_error && !contents_error && need_clear_file) get_clear_file(t);
  actions_done = 1;
  return rename_error || contents_error;
}

namespace {

// The lines gathered by -d, under the status line.
void print_comments(Kes_transaction *t, Kes_file *f) {
  if (!t->flags.show_delta_comments || !f->comments) return;
  for (Kes_listelem *e = f->comments->head.next; e != &f->comments->head; e = e->next)
    t->printf("\t%s\n", static_cast<char *>(e->data));
}

// A copy of the file's SmIDs as they are on disk now.
Kes_err *read_smids_afresh(Kes_ws_file *w, Kes_smidlist **out) {
  delete w->smids;
  w->smids = nullptr;
  *out = nullptr;
  Kes_err *err = get_smidlist(w, nullptr);
  if (err) return err;
  *out = new Kes_smidlist;
  for (Kes_listelem *e = w->smids->head.next; e != &w->smids->head; e = e->next)
    (*out)->add_new_data(static_cast<Kes_smid *>(e->data)->copy());
  return nullptr;
}

int holds_smid(Kes_smidlist *list, Kes_smid *smid) {
  for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next)
    if (kes_smid_equal(static_cast<Kes_smid *>(e->data), smid)) return 1;
  return 0;
}

// The name table learns the SmIDs that a merge gave the to file and forgets
// those it took away.  A SmID on both lists stays: it names the file still.
Kes_err *enter_new_smids(Kes_transaction *t, Kes_file *f, Kes_smidlist *old_list, int add_first) {
  Kes_smidlist *new_list = nullptr;
  Kes_err *err = read_smids_afresh(f->to, &new_list);
  for (int pass = 0; pass < 2 && !err; pass++) {
    int adding = add_first ? pass == 0 : pass == 1;
    Kes_smidlist *walk = adding ? new_list : old_list;
    Kes_smidlist *other = adding ? old_list : new_list;
    for (Kes_listelem *e = walk->head.next; !err && e != &walk->head; e = e->next) {
      Kes_smid *s = static_cast<Kes_smid *>(e->data);
      if (holds_smid(other, s)) continue;
      err = adding ? t->renames->add_entry(f->to->name, s, KES_TO_SIDE, nullptr)
                   : t->renames->remove_entry(f->to->name, s, KES_TO_SIDE);
    }
  }
  delete new_list;
  return err;
}

// A warning for a default SID off the trunk: the merged history keeps
// the flag, and later deltas go where the flag says.  "parent" is the from
// side, in a putback too.
void check_def_sids(Kes_transaction *t, Kes_file *f, Kes_sfile *from, Kes_sfile *to) {
  struct {
    Kes_sfile *sf;
    const char *text;
  } sides[] = {
      {from, BWM_MSG(11003, "File \"%s\" with default sid \"%s\" in the parent workspace is not on "
                            "the main branch")},
      {to, BWM_MSG(11004, "File \"%s\" with default sid \"%s\" in the child workspace is not on "
                          "the main branch")},
  };
  for (auto &s : sides) {
    const char *d = s.sf && s.sf->flags ? s.sf->flags->default_sid : nullptr;
    if (d && strchr(d, '.')) t->issue_warning(2635, 1, s.text, f->from->name, d);
  }
}

// The merge that writes the to history anew with the deltas of both.
Kes_err *merge_into_to(Kes_transaction *t, Kes_file *f, unsigned int options) {
  char from_s[1024], to_s[1024];
  f->from->get_abs_sdotname(from_s);
  f->to->get_rel_sdotname(to_s);
  Kes_timing *timer = kes_trans_timer(KES_TIMER_SCCSMERGE_UPDATE);
  Kes_timing::start(timer);
  Kes_merge *m = t->to_ws->get_merge_object();
  m->from_sname = from_s;
  m->from_name = f->from->name;
  m->to_sname = to_s;
  m->to_name = f->to->name;
  m->ws_path = t->from_ws->get_absname();
  m->from_file = f->from->ws->get_sfile(from_s);
  m->to_file = f->to->ws->get_sfile(to_s);
  m->options = options | KES_MO_NAMES;
  // The p-file counts as an edit only when the checkout holds edits.
  if (f->to->checked_out == 2) m->options |= KES_MO_READ_PFILE;
  if (f->flags.to_unresolved) m->options |= KES_MO_READ_CONFLICTS;
  Kes_err *err = m->merge();
  if (!err) check_def_sids(t, f, m->from_file, m->to_file);
  delete m->from_file;
  delete m->to_file;
  delete m;
  Kes_timing::stop(timer);
  return err;
}

// A command of the SCCS layer that must have worked.
Kes_err *command_result(Cmd *c) {
  Kes_err *err = kes_decode_sh_wait(c->ret_stat, c->cmd, nullptr);
  if (err && c->errors) {
    Kes_err *with = (new Kes_err(strlen(err->text) + strlen(c->errors) + 8))
                        ->format_msg(err->code, err->system_errno, "%s\n%s", err->text, c->errors);
    delete err;
    err = with;
  }
  delete c;
  return err;
}

}  // namespace

Kes_err *Kes_file::prop_from_new(Kes_transaction *t, int *need_clear_file) {
  t->status_printf(KES_TS_CREATE, to->name);
  if (t->flags.show_delta_comments) {
    gather_file_create_comments();
    print_comments(t, this);
  }
  if (t->flags.preview) {
    t->counts.creates++;
    return nullptr;
  }
  char dest[1024], src[1024];
  to->get_rel_sdotname(dest);
  from->get_abs_sdotname(src);
  Kes_err *err = kes_create_file_dirs(dest);
  if (err) return err;

  Kes_sfile *sf = from->ws->get_sfile(src);
  Kes_name_tree *tree = nullptr;
  SCCS_deltalist *deltas = nullptr;
  int unresolved = 0;
  err = kes_smart_copy_file(dest, src, to->name, &tree, &deltas, &unresolved, sf);
  delete sf;
  if (err) return err;
  if (unresolved) {
    // A file in conflict never travels.
    delete tree;
    delete kes_deltalist_list(deltas);
    from->unresolved = 1;
    err = unlink_file(dest);
    print_problems(t);
    t->reconcile_conflict_file(from);
    return err;
  }
  err = t->renames->update_rename_info_on_prop_from_new(this, deltas);
  delete kes_deltalist_list(deltas);
  // The new file's entry in backup/new is its backup: undo removes it.
  if (!err && t->flags.backup && t->backup_list) err = t->backup_list->add_line(to->name);
  if (!err && tree->gained) {
    err = to->update_name_history(t, tree);
    if (!err) err = from->update_name_history(t, tree);
  }
  delete tree;
  if (err) return err;
  t->counts.creates++;
  if (t->flags.update_clear_files) *need_clear_file = 1;
  return nullptr;
}

Kes_err *Kes_file::prop_from_chg(Kes_transaction *t, int *need_clear_file) {
  // The merge that follows rewrites both name histories.
  flags.name_history_merge = 0;
  to->nh_incomplete = 0;
  t->status_printf(KES_TS_UPDATE, t->flags.preview ? from->name : to->name);
  if (t->flags.show_delta_comments) {
    gather_file_update_comments();
    print_comments(t, this);
  }
  if (t->flags.preview) {
    t->counts.updates++;
    return nullptr;
  }
  Kes_err *err = make_backup(t);
  if (err) return err;
  char path[1024];
  int reopen = to->checked_out == 1;
  if (reopen) {
    // Someone only opened the file: the update passes through the checkout,
    // which is made again on the new version.
    Kes_sfile *sf = to->ws->get_sfile(to->get_abs_sdotname(path));
    err = command_result(sf->uncheckout(nullptr));
    delete sf;
    if (!err) err = unlink_file(to->get_rel_clrname(path));
    if (err) return err;
    to->checked_out = 0;
  }
  Kes_smidlist *old_smids = nullptr;
  if (flags.roots_changed && (err = read_smids_afresh(to, &old_smids))) return err;
  err = merge_into_to(t, this, 0);
  if (!err && flags.roots_changed) err = enter_new_smids(t, this, old_smids, 0);
  delete old_smids;
  if (!err && reopen) {
    Kes_sfile *sf = to->ws->get_sfile(to->get_abs_sdotname(path));
    // shell_escape keeps its result in a buffer of its own: copied at once.
    std::string escaped = shell_escape(to->get_abs_clrname(path));
    err = command_result(sf->check_out(nullptr, escaped.c_str()));
    delete sf;
    if (!err) to->checked_out = 1;
  }
  if (err) return err;
  t->counts.updates++;
  if (t->flags.update_clear_files && !reopen) *need_clear_file = 1;
  return nullptr;
}

Kes_err *Kes_file::prop_both_chg(Kes_transaction *t) {
  flags.name_history_merge = 0;
  to->nh_incomplete = 0;
  t->status_printf(KES_TS_CONFLICT, to->name);
  if (t->flags.show_delta_comments) {
    gather_file_update_comments();
    print_comments(t, this);
  }
  if (t->flags.preview) {
    t->counts.conflicts++;
    return nullptr;
  }
  Kes_err *err = make_backup(t);
  if (err) return err;
  if (flags.no_common_ancestor) {
    // The to file answers to the from file's identity from now on too.
    if ((err = get_smidlist(from, nullptr))) return err;
    for (Kes_listelem *e = from->smids->head.next; !err && e != &from->smids->head; e = e->next)
      err = t->renames->add_entry(to->name, static_cast<Kes_smid *>(e->data), KES_TO_SIDE, nullptr);
    if (err) return err;
  }
  Kes_smidlist *old_smids = nullptr;
  if (flags.roots_changed && (err = read_smids_afresh(to, &old_smids))) return err;
  unsigned int options = KES_MO_READ_PFILE;
  if (t->flags.force_conflict) options |= KES_MO_FORCE;
  err = merge_into_to(t, this, options);
  if (!err && flags.roots_changed) err = enter_new_smids(t, this, old_smids, 1);
  delete old_smids;
  if (err) return err;
  if ((err = t->to_ws->add_conflict(to->name))) return err;
  t->counts.conflicts++;
  // No clear file: the result needs resolve first.
  return nullptr;
}

Kes_err *Kes_file::prop_update_name(Kes_transaction *t) { return rename_file(t); }

// The status line names the file as the child has it.
Kes_err *Kes_file::prop_conflict_name(Kes_transaction *t) {
  flags.name_history_merge = 1;
  int from_is_child = t->child_ws && from->ws == t->child_ws;
  t->status_printf(KES_TS_RENAME_CONFLICT, from_is_child ? from->name : to->name);
  t->counts.rename_conflicts++;
  return rename_file(t);
}

Kes_err *Kes_file::rename_file(Kes_transaction *t) {
  Kes_err *pending = nullptr;
  char rel[1024];
  from->get_rel_sdotname(rel);
  // A name under deleted_files may be taken in the to workspace: the file
  // then moves to the first free name with ".1" added, and ".1" again.
  if (strncmp(rel, "deleted_files/", 14) == 0) {
    std::string target = rel, suffix;
    for (;;) {
      struct stat st;
      if (stat(target.c_str(), &st) != 0) {
        if (errno == ENOTDIR)
          pending = (new Kes_err)->format_msg(
              2051, 0,
              BWM_MSG(11001, "Can't rename to \"%s\" because specified path prefix is not a "
                             "directory in child workspace"),
              target.c_str());
        break;
      }
      target += ".1";
      suffix += ".1";
    }
    if (!suffix.empty()) {
      Kes_ws_file *moved = new Kes_ws_file(from->ws, (std::string(from->name) + suffix).c_str());
      moved->fillin(t);
      delete from;
      from = moved;
    }
  }
  t->status_printf(KES_TS_RENAME_FROM, to->name);
  t->status_printf(KES_TS_RENAME_TO, from->name);
  if (t->flags.preview) {
    delete pending;  // a preview does not report it
    t->counts.renamed++;
    return nullptr;
  }
  if (pending) return pending;
  Kes_err *err = t->flags.backup ? make_backup(t) : nullptr;
  if (!err) err = t->renames->rename_kes_file(this);
  if (err) return err;
  t->counts.renamed++;
  return nullptr;
}

Kes_err *Kes_file::prop_nh_automerge(Kes_transaction *t, int *need_clear_file) {
  flags.name_history_merge = 0;
  to->nh_incomplete = 0;
  t->counts.merge_nh++;
  t->vstatus_printf(KES_TS_MERGE_NH, to->name);
  if (t->flags.preview) return nullptr;
  Kes_err *err = merge_into_to(t, this, KES_MO_READ_PFILE);
  if (!err && t->flags.update_clear_files) *need_clear_file = 1;
  return err;
}

Kes_err *Kes_ws_file::update_name_history(Kes_transaction *t, Kes_name_tree *tree) {
  if (dynamic_cast<Kes_ws_ombraparent *>(ws)) return nullptr;
  if (t->parent_ws && ws == t->parent_ws) {
    t->counts.update_parent_nh++;
    t->vstatus_printf(KES_TS_UPDATE_PARENT_NH, name);
  } else {
    t->counts.update_children_nh++;
    t->vstatus_printf(KES_TS_UPDATE_CHILDREN_NH, name);
  }
  if (t->flags.preview) return nullptr;
  char path[1024];
  Kes_sfile *sf = ws->get_sfile(get_abs_sdotname(path));
  Kes_err *err = nullptr;
  if (!tree) {
    err = sf->build_name_tree(name, 0);
    tree = static_cast<Kes_name_tree *>(sf->name_tree);
  }
  if (!err) {
    Kes_name_history nh(sf, 0);
    err = nh.write_from_tree(tree);
  }
  delete sf;
  if (!err) nh_incomplete = 0;
  return err;
}
