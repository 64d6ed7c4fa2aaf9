// Kes_file: carrying out the decided actions, as far as a preview goes.  Each
// operation prints its status line and takes its count first, and a preview
// stops there: so a preview says exactly what a real run would say.  The work
// behind that point is the propagation actions', not built yet: a real run
// does not reach these operations (see kes_trans_pending.cc).
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "transaction/kes_file.h"
#include "transaction/kes_trans_pending.h"
#include "transaction/kes_transaction.h"
#include "util/kes_err.h"
#include "util/kes_msg.h"
#include "workspace/kes_workspace.h"

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

Kes_err *Kes_file::prop_from_new(Kes_transaction *t, int *need_clear_file) {
  t->status_printf(KES_TS_CREATE, to->name);
  kes_pending_delta_comments(t, this);
  if (t->flags.preview) {
    t->counts.creates++;
    return nullptr;
  }
  kes_not_built("Kes_file::prop_from_new");
}

Kes_err *Kes_file::prop_from_chg(Kes_transaction *t, int *need_clear_file) {
  // The merge that follows rewrites both name histories.
  flags.name_history_merge = 0;
  to->nh_incomplete = 0;
  t->status_printf(KES_TS_UPDATE, t->flags.preview ? from->name : to->name);
  kes_pending_delta_comments(t, this);
  if (t->flags.preview) {
    t->counts.updates++;
    return nullptr;
  }
  kes_not_built("Kes_file::prop_from_chg");
}

Kes_err *Kes_file::prop_both_chg(Kes_transaction *t) {
  flags.name_history_merge = 0;
  to->nh_incomplete = 0;
  t->status_printf(KES_TS_CONFLICT, to->name);
  kes_pending_delta_comments(t, this);
  if (t->flags.preview) {
    t->counts.conflicts++;
    return nullptr;
  }
  kes_not_built("Kes_file::prop_both_chg");
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
  kes_not_built("Kes_file::rename_file");
}

Kes_err *Kes_file::prop_nh_automerge(Kes_transaction *t, int *need_clear_file) {
  flags.name_history_merge = 0;
  to->nh_incomplete = 0;
  t->counts.merge_nh++;
  t->vstatus_printf(KES_TS_MERGE_NH, to->name);
  if (t->flags.preview) return nullptr;
  kes_not_built("Kes_file::prop_nh_automerge");
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
  kes_not_built("Kes_ws_file::update_name_history");
}
