// Kes_resolve: names and temporary files of a file in conflict, its versions,
// the three decisions and what ends them; the workspace's list of conflicts.
#include "transaction/kes_resolve.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "sccs/kes_conflict.h"
#include "sccs/kes_sfile.h"
#include "sccs/sccs_cmd.h"
#include "transaction/kes_file.h"
#include "util/kes_err.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "util/kes_path.h"
#include "util/kes_process.h"
#include "util/kes_quote.h"
#include "util/kes_str.h"
#include "workspace/kes_cmdlock.h"
#include "workspace/kes_cmdlog.h"
#include "workspace/kes_history.h"
#include "workspace/kes_workspace.h"

namespace {

// The length of "XXXXXX".
const size_t kSuffix = 6;

Kes_err *rename_failed(const char *from, const char *to) {
  return (new Kes_err)
      ->format_msg(1018, errno, BWM_MSG(14500, "Rename of \"%s\" to \"%s\" failed"), from, to);
}

// Reserves a name from "<path><tag>XXXXXX" by making the file.
Kes_err *reserve(const char *path, const char *tag, char **out) {
  std::string tmpl = std::string(path) + tag + "XXXXXX";
  int fd = mkstemp(&tmpl[0]);
  if (fd < 0)
    return (new Kes_err)
        ->format_msg(2044, errno,
                     BWM_MSG(14501, "Unable to create a temporary name from template \"%s\""),
                     (std::string(path) + tag + "XXXXXX").c_str());
  close(fd);
  *out = kes_strdup(tmpl.c_str());
  return nullptr;
}

// A command's failure: its error text on standard error, the decoded status.
Kes_err *command_failed(Cmd *c) {
  Kes_err *err = nullptr;
  if (c->ret_stat != 0) {
    if (c->errors) fputs(c->errors, stderr);
    fflush(stderr);
    err = kes_decode_sh_wait(c->ret_stat, c->cmd, nullptr);
  }
  delete c;
  return err;
}

// name is path's temporary file with tag ("C." and so on): path, '.', the tag,
// six characters, and no slash after path.
bool is_tmp_name(const char *name, const std::string &path, char tag) {
  if (!name) return true;
  std::string n = name, prefix = path + "." + tag + ".";
  return n.size() == prefix.size() + kSuffix && n.compare(0, prefix.size(), prefix) == 0 &&
         n.find('/', prefix.size()) == std::string::npos;
}

void unlink_named(const char *name) {
  if (name) unlink(name);
}

void footer_line(Kes_resolve_footer_fn footer, const char *fmt, const char *arg) {
  if (!footer) return;
  char text[2048];
  snprintf(text, sizeof text, fmt, arg ? arg : "");
  footer(text, 0);
}

}  // namespace

Kes_resolve::Kes_resolve()
    : path(nullptr), relative_name(nullptr), directory(nullptr), base_name(nullptr),
      s_name(nullptr), quoted_s_name(nullptr), parent_file(nullptr), ancestor_file(nullptr),
      merged_file(nullptr), child_file(nullptr), ws_file(nullptr), conflict(nullptr),
      workspace(nullptr), sfile(nullptr), materialized(0) {}

Kes_resolve::~Kes_resolve() { clear(); }

void Kes_resolve::clear() {
  for (char **s : {&path, &directory, &base_name, &s_name, &quoted_s_name, &parent_file,
                   &ancestor_file, &merged_file, &child_file}) {
    free(*s);
    *s = nullptr;
  }
  relative_name = nullptr;
  delete ws_file;
  ws_file = nullptr;
  delete conflict;
  conflict = nullptr;
  delete sfile;
  sfile = nullptr;
  workspace = nullptr;
  materialized = 0;
}

Kes_err *Kes_resolve::names_from_path(const char *file, Kes_workspace *ws) {
  clear();
  workspace = ws;
  std::string root = ws->wsname ? ws->wsname : "";
  std::string full = file[0] == '/' ? file : root + "/" + file;
  if (full.size() <= root.size() + 1 || full.compare(0, root.size() + 1, root + "/") != 0)
    return (new Kes_err)
        ->format_msg(2071, 0, BWM_MSG(14502, "File \"%s\" is not in workspace \"%s\""), file,
                     root.c_str());
  path = kes_strdup(full.c_str());
  relative_name = path + root.size() + 1;
  ws_file = new Kes_ws_file(ws, relative_name);
  char *quoted = kes_strdup(shell_escape(path));
  char dir[1024], base[1024];
  kes_parse_filename(quoted, dir, base);
  free(quoted);
  directory = kes_strdup(dir);
  base_name = kes_strdup(base);
  sfile = ws->get_sfile(path, 2);
  s_name = kes_strdup(sfile->s_path);
  quoted_s_name = kes_strdup(shell_escape(s_name));
  return nullptr;
}

Kes_err *Kes_resolve::read_record() {
  delete conflict;
  conflict = new Kes_conflict(sfile, 0);
  // A history file that has gone holds no conflict.
  if (!sfile->exists) return nullptr;
  return conflict->get();
}

Kes_err *Kes_resolve::set_names(const char *file, Kes_workspace *ws, int *not_in_conflict) {
  *not_in_conflict = 0;
  if (!file) return nullptr;
  Kes_err *err = names_from_path(file, ws);
  if (!err) err = read_record();
  if (err) return err;
  if (!conflict->child_sid) {
    *not_in_conflict = 1;
    return workspace->remove_conflict(relative_name);
  }
  // The names are taken only now that they will be used.
  if ((err = reserve(path, ".P.", &parent_file))) return err;
  if (conflict->ancestor_sid && (err = reserve(path, ".A.", &ancestor_file))) return err;
  if ((err = reserve(path, ".M.", &merged_file))) return err;
  if ((err = reserve(path, ".C.", &child_file))) return err;
  setenvs();
  return nullptr;
}

Kes_err *Kes_resolve::set_names(const char *clear_path, const char *ancestor, const char *child,
                                const char *parent, const char *merged, Kes_workspace *ws) {
  std::string p = clear_path ? clear_path : "";
  // The tool's names are unlinked and renamed over the clear file later: only
  // the temporary files of that clear file are accepted.
  if (p.empty() || !child || !parent || !merged || !is_tmp_name(ancestor, p, 'A') ||
      !is_tmp_name(child, p, 'C') || !is_tmp_name(parent, p, 'P') ||
      !is_tmp_name(merged, p, 'M'))
    return (new Kes_err)
        ->format_msg(2073, 0,
                     BWM_MSG(14503, "The merge tool reported on files that are not the "
                                    "temporary files of \"%s\""),
                     p.c_str());
  Kes_err *err = names_from_path(p.c_str(), ws);
  if (!err) err = read_record();
  if (err) return err;
  parent_file = kes_strdup(parent);
  ancestor_file = ancestor ? kes_strdup(ancestor) : nullptr;
  merged_file = kes_strdup(merged);
  child_file = kes_strdup(child);
  materialized = 1;
  setenvs();
  return nullptr;
}

void Kes_resolve::setenvs() {
  // putenv keeps the buffers: one per variable, for the process.
  static char parent[1024], child[1024], ancestor[1024], merged[1024];
  struct {
    char *buf;
    const char *name, *value;
  } vars[] = {{parent, "BRINDLE_RS_PARENT", parent_file},
              {child, "BRINDLE_RS_CHILD", child_file},
              {ancestor, "BRINDLE_RS_ANCEST", ancestor_file},
              {merged, "BRINDLE_RS_MERGED", merged_file}};
  for (auto &v : vars) {
    if (!v.value) {
      unsetenv(v.name);  // a variable left from the file before would mislead
      continue;
    }
    snprintf(v.buf, 1024, "%s=%s", v.name, v.value);
    putenv(v.buf);
  }
}

// ---------------------------------------------------------------------------
// The versions

Kes_err *Kes_resolve::materialize_tmpfiles(int *done) {
  *done = 0;
  if (materialized) return nullptr;
  Kes_err *err = materialize_child(done);
  if (err || *done) return err;
  materialized = 1;
  if ((err = materialize_parent())) return err;
  return materialize_ancestor();
}

Kes_err *Kes_resolve::materialize(const char *sid, const char *file) {
  materialized = 1;
  Kes_err *err = command_failed(sfile->get_clear_file_cmd(sid, 3, file));
  // The versions are for reading; the engine's mask is 0.
  if (!err) chmod(file, 0444);
  return err;
}

Kes_err *Kes_resolve::materialize_child(int *done) {
  *done = 0;
  if (is_checkedout()) return nullptr;
  struct stat st;
  if (stat(path, &st) == 0 && (st.st_mode & S_IWUSR))
    return (new Kes_err)
        ->format_msg(2062, 0,
                     BWM_MSG(14504, "Can't resolve file \"%s\" because it is writable"), path);
  char leaf[1024];
  Kes_err *err = find_leaf(conflict->child_sid, leaf);
  if (err) return err;
  const char *ancestor = conflict->ancestor_sid;
  const char *sid = leaf;
  // A leaf SID shorter than "1.1.1.1" is on the trunk: the child's line is no
  // branch of its own.
  if (strlen(leaf) < 7 && !(ancestor && (strcmp(conflict->child_sid, ancestor) == 0 ||
                                         strcmp(conflict->parent_sid, ancestor) == 0))) {
    if (strcmp(conflict->force_word, "noforce") != 0) {
      if (!ancestor)
        return (new Kes_err)
            ->format_msg(2096, 0,
                         BWM_MSG(14505, "Internal error: cannot materialize child file; it's "
                                        "branch is the same as the parent's"));
      sid = ancestor;
    } else {
      // Nothing to resolve: the parent's line is the file.
      if ((err = accept_parent(nullptr))) return err;
      if ((err = conflict->clear())) return err;
      if ((err = workspace->remove_conflict(relative_name))) return err;
      *done = 1;
      return nullptr;
    }
  }
  if (ancestor && strcmp(ancestor, conflict->child_sid) == 0) sid = ancestor;
  return materialize(sid, child_file);
}

Kes_err *Kes_resolve::materialize_parent() {
  char leaf[1024];
  Kes_err *err = find_leaf(conflict->parent_sid, leaf);
  return err ? err : materialize(leaf, parent_file);
}

Kes_err *Kes_resolve::materialize_ancestor() {
  if (!ancestor_file || !conflict->ancestor_sid) return nullptr;
  return materialize(conflict->ancestor_sid, ancestor_file);
}

void Kes_resolve::remove_tmpfiles() {
  materialized = 0;
  for (const char *f : {parent_file, ancestor_file, child_file, merged_file}) unlink_named(f);
}

// ---------------------------------------------------------------------------
// Check-out and check-in

int Kes_resolve::is_checkedout() { return sfile && sfile->has_pfile; }

Kes_err *Kes_resolve::find_leaf(const char *sid, char *out) {
  out[0] = '\0';
  Kes_err *err = sfile->tree ? nullptr : sfile->buildtree(0, 1, 0);
  Kes_delta *leaf = nullptr;
  if (!err) err = sfile->find_leaf_delta(sid, &leaf);
  if (!err) snprintf(out, 1024, "%s", leaf->sid);
  return err;
}

// The objects read anew after a command changed the file; err, the command's
// own error, comes first.
Kes_err *Kes_resolve::refresh(Kes_err *err) {
  delete conflict;
  conflict = nullptr;
  delete sfile;
  sfile = workspace->get_sfile(path, 2);
  Kes_err *again = read_record();
  if (!err) return again;
  delete again;
  return err;
}

Kes_err *Kes_resolve::checkout() {
  char child_leaf[1024], parent_leaf[1024];
  Kes_err *err = find_leaf(conflict->child_sid, child_leaf);
  if (!err) err = find_leaf(conflict->parent_sid, parent_leaf);
  if (!err) err = command_failed(sfile->unset_branch());
  // The new delta follows the parent's line and includes the child's.
  if (!err) err = command_failed(sfile->check_out_n_include(parent_leaf, child_leaf));
  return refresh(err);
}

Kes_err *Kes_resolve::uncheckout() {
  Kes_err *err = command_failed(sfile->uncheckout(nullptr));
  return refresh(err);
}

Kes_err *Kes_resolve::checkin(const char *comment, Kes_resolve_footer_fn footer) {
  footer_line(footer, BWM_MSG(14506, "Checking in %s"), relative_name);
  Kes_err *err = command_failed(sfile->check_in(nullptr, comment, nullptr));
  return refresh(err);
}

Kes_err *Kes_resolve::change_default_sid() {
  Kes_err *err = command_failed(sfile->unset_branch());
  if (!err) err = command_failed(sfile->get_clear_file_cmd(nullptr, 2, path));
  if (!err) chmod(path, 0444);
  return err;
}

// ---------------------------------------------------------------------------
// The decisions

Kes_err *Kes_resolve::accept_parent(Kes_resolve_footer_fn footer) {
  if (footer) footer(BWM_MSG(14507, "Accepting parent's version"), 0);
  Kes_err *err = change_default_sid();
  return refresh(err);
}

// Puts the version in file from over the checked-out clear file and checks it
// in.  from is moved aside first, so that a failed check-out leaves it where
// it was, for another try.
Kes_err *Kes_resolve::install(const char *from, int checkin_now, const char *comment,
                              Kes_resolve_footer_fn footer) {
  char *aside = nullptr;
  Kes_err *err = reserve(path, ".", &aside);
  if (err) return err;
  if (rename(from, aside) != 0) {
    err = rename_failed(from, aside);
    unlink(aside);
    free(aside);
    return err;
  }
  footer_line(footer, BWM_MSG(14508, "Checking out %s"), relative_name);
  if ((err = checkout())) {
    rename(aside, from);
    free(aside);
    return err;
  }
  if (rename(aside, path) != 0) {
    err = rename_failed(aside, path);
    Kes_err_owner(uncheckout()).report();
    rename(aside, from);
    free(aside);
    return err;
  }
  free(aside);
  if (checkin_now) err = checkin(comment, footer);
  return err;
}

Kes_err *Kes_resolve::accept_child(int checkin_now, Kes_resolve_footer_fn footer) {
  char comment[1024];
  accept_child_def_comment(comment);
  return install(child_file, checkin_now, comment, footer);
}

Kes_err *Kes_resolve::commit_merge(int checkin_now, Kes_resolve_footer_fn footer) {
  char comment[1024];
  merge_def_comment(comment);
  return install(merged_file, checkin_now, comment, footer);
}

// The comments are plain text: check_in quotes them for the shell.
void Kes_resolve::accept_child_def_comment(char *out) {
  snprintf(out, 1024, BWM_MSG(14509, "Accepted child's version in workspace \"%s\".\n"),
           workspace && workspace->wsname ? workspace->wsname : "");
}

void Kes_resolve::merge_def_comment(char *out) {
  const char *child = workspace && workspace->wsname ? workspace->wsname : "";
  if (conflict && conflict->ws_path && *conflict->ws_path)
    snprintf(out, 1024,
             BWM_MSG(14510, "Merged changes between child workspace \"%s\" and\n parent "
                            "workspace \"%s\".\n"),
             child, conflict->ws_path);
  else
    snprintf(out, 1024, "%s", BWM_MSG(14511, "Merged changes between workspaces.\n"));
}

Kes_err *Kes_resolve::clean_up(Kes_md_history *history, const char *word) {
  Kes_err_owner err;
  // The history log always gets the English word.
  if (history) err.keep(history->printf("%s: %s\n", word, relative_name));
  err.keep(workspace->remove_conflict(relative_name));
  remove_tmpfiles();
  err.keep(conflict->clear());
  return err.release();
}

// ---------------------------------------------------------------------------
// Free functions

Kes_strlist *resolve_get_conflicts(Kes_workspace *ws, Kes_resolve_error_fn error_fn) {
  if (!ws->exists()) {
    error_fn(kes_ws_does_not_exist(ws->wsname));
    return nullptr;
  }
  Kes_strlist *names = nullptr;
  Kes_err *err = ws->get_conflicts(&names);
  if (err || names->count == 0) {
    if (err) error_fn(err);
    delete names;
    return nullptr;
  }
  names->sort(kes_strlist_compare);
  return names;
}

const char *resolve_decision_word(int decision) {
  switch (decision) {
    case KES_RS_PARENT: return "accepted parent";
    case KES_RS_CHILD: return "accepted child";
    case KES_RS_MERGED: return "merged";
    default: return nullptr;
  }
}

Kes_err *resolve_decide(Kes_resolve *r, int decision, const char *comment,
                        Kes_md_history *history, Kes_resolve_footer_fn footer) {
  Kes_err *err = nullptr;
  if (decision == KES_RS_PARENT)
    err = r->accept_parent(footer);
  else if (decision == KES_RS_CHILD)
    err = r->accept_child(!comment, footer);
  else if (decision == KES_RS_MERGED)
    err = r->commit_merge(!comment, footer);
  else
    return nullptr;
  if (!err && comment && decision != KES_RS_PARENT) err = r->checkin(comment, footer);
  return err ? err : r->clean_up(history, resolve_decision_word(decision));
}

// ---------------------------------------------------------------------------
// Kes_resolve_log

Kes_resolve_log::Kes_resolve_log(Kes_workspace *w)
    : history(nullptr), ws(w), lock(nullptr), cmdlog(nullptr) {}

Kes_resolve_log::~Kes_resolve_log() { close(1); }

Kes_err *Kes_resolve_log::open(int argc, char **argv) {
  Kes_err *err = ws->obtain_lock(KES_WRITE_LOCK, &lock);
  if (err) return err;
  cmdlog = new Kes_cmdlog;
  Kes_workspace *parent = nullptr;
  Kes_err_owner(ws->get_parent(&parent));  // a workspace without one is fine
  cmdlog->set_ws(parent ? parent->wsname : nullptr, parent ? parent->netname : nullptr,
                 ws->wsname, ws->netname);
  delete parent;
  Kes_md_history *h = nullptr;
  if ((err = ws->get_md_history(&h))) return err;
  h->argc = argc;
  h->argv = argv;
  Kes_err_owner(h->start(0)).report();
  history = h;
  return nullptr;
}

void Kes_resolve_log::close(int status) {
  Kes_md_history *h = history;
  history = nullptr;
  if (h && cmdlog) {
    cmdlog->finish(status);
    h->done(cmdlog);
  }
  delete h;
  Kes_cmdlog *log = cmdlog;
  cmdlog = nullptr;
  delete log;
  Kes_cmdlock *held = lock;
  lock = nullptr;
  if (held) Kes_err_owner(ws->release_lock(held)).report();
  delete held;
}
