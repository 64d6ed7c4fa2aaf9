// Which names a transaction looks at, and each name in both workspaces: the
// operands, include and exclude files and the child's args file become names;
// each name becomes a Kes_file whose state is determined, or is set aside for
// the rename pass; the args file is brought up to date at the end.
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "sccs/kes_conflict.h"
#include "sccs/kes_sfile.h"
#include "transaction/kes_blocks.h"
#include "transaction/kes_dir_hash.h"
#include "transaction/kes_file.h"
#include "transaction/kes_renames.h"
#include "transaction/kes_trans_timers.h"
#include "transaction/kes_transaction.h"
#include "util/kes_err.h"
#include "util/kes_hash.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "util/kes_path.h"
#include "util/kes_quote.h"
#include "util/kes_str.h"
#include "util/kes_timing.h"
#include "workspace/kes_md_args.h"
#include "workspace/kes_md_backupnew.h"
#include "workspace/kes_history.h"
#include "workspace/kes_workspace.h"

namespace {
// An args file that a full disk left empty: it holds no list, and reading it
// would fail on its missing version line, so it counts as an empty list.
bool left_empty(Kes_md_args *md) {
  struct stat st;
  return stat(md->fullname, &st) == 0 && S_ISREG(st.st_mode) && st.st_size == 0;
}
}  // namespace

void Kes_transaction::parse_dasha_arg(Kes_workspace *ws) {
  if (!ws) return;
  Kes_md_args *md = nullptr;
  Kes_err *err = ws->get_md_args(&md);
  Kes_strlist lines;
  if (!err && !left_empty(md)) err = md->get_lines(&lines);
  delete md;
  if (err) {
    // An unreadable args file is as good as none: the warning about an empty
    // file list follows when the files are determined.
    err->print();
    delete err;
    return;
  }
  for (Kes_listelem *e = lines.head.next; e != &lines.head; e = e->next) {
    const char *line = (const char *)e->data;
    if (strncmp(line, "-f ", 3) == 0)
      flps->add_new_copy(const_cast<char *>(line + 3));
    else
      file_args->add_new_copy(const_cast<char *>(line));
  }
}

namespace {

// A name from an include or exclude file: relative names as they stand,
// absolute ones made relative to a workspace where they can be.
void add_list_name(Kes_transaction *t, const char *name, Kes_strlist *to) {
  if (name[0] != '/') {
    to->add_new_copy(const_cast<char *>(name));
    return;
  }
  char rel[1024] = "";
  Kes_err *err = t->determine_relname(name, rel);
  delete err;  // on failure the buffer is taken as it was left
  to->add_new_copy(rel);
}

// A pattern for the shell to expand: every character is quoted but the
// wildcards themselves, so a line can name files and never run a command.
std::string quote_pattern(const char *line) {
  std::string out;
  for (const char *p = line; *p; p++) {
    if (!strchr("*?[]", *p)) out += '\\';
    out += *p;
  }
  return out;
}

// Reads an include or exclude file into list.  Lines with a wildcard are
// expanded by the shell in the from workspace.
Kes_err *read_name_file(Kes_transaction *t, const char *path, const char *open_failed,
                        Kes_strlist *list) {
  FILE *f = fopen(path, "r");
  if (!f) return (new Kes_err)->format_msg(1001, errno, open_failed, path);
  char line[1024];
  Kes_err *err = nullptr;
  while (!err && fgets(line, sizeof line, f)) {
    size_t len = strlen(line);
    if (len && line[len - 1] == '\n') line[--len] = '\0';
    if (len == 0 || line[0] == '#') continue;
    if (!strpbrk(line, "[]*?`")) {
      add_list_name(t, line, list);
      continue;
    }
    // "--": a name the pattern matches may begin with "-".
    std::string cmd = std::string("cd ") +
                      kes_shell_word(t->from_ws ? t->from_ws->get_absname() : ".") +
                      "; ls -1 -d -- " + quote_pattern(line) + " 2>/dev/null";
    FILE *ls = popen(cmd.c_str(), "r");
    if (!ls) {
      err = (new Kes_err)->format_msg(2014, errno, BWM_MSG(9064, "Could not execute \"%s\""),
                                      cmd.c_str());
      break;
    }
    char name[1024];
    while (fgets(name, sizeof name, ls)) {
      size_t n = strlen(name);
      if (n && name[n - 1] == '\n') name[--n] = '\0';
      if (n) add_list_name(t, name, list);
    }
    pclose(ls);
  }
  fclose(f);
  return err;
}

// 1 when prefix names name or a directory above it.
int under_or_equal(const char *name, const char *prefix) {
  if (strcmp(prefix, ".") == 0) return 1;
  size_t n = strlen(prefix);
  while (n > 1 && prefix[n - 1] == '/') n--;
  return strncmp(name, prefix, n) == 0 && (name[n] == '\0' || name[n] == '/');
}

}  // namespace

std::string kes_canonical_name(const char *name, const char *vcs_dir) {
  std::string n = name;
  size_t slash = n.rfind('/');
  std::string dir = slash == std::string::npos ? "" : n.substr(0, slash);
  std::string base = slash == std::string::npos ? n : n.substr(slash + 1);
  if (base.size() <= 2 || base.compare(0, 2, "s.") != 0) return n;
  if (!vcs_dir) return (dir.empty() ? "" : dir + "/") + base.substr(2);
  size_t up = dir.rfind('/');
  std::string last = up == std::string::npos ? dir : dir.substr(up + 1);
  if (last != vcs_dir) return n;
  std::string parent = up == std::string::npos ? "" : dir.substr(0, up);
  return (parent.empty() ? "" : parent + "/") + base.substr(2);
}

namespace {

int listed(Kes_strlist *list, const char *name) {
  if (!list) return 0;
  for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next)
    if (strcmp((const char *)e->data, name) == 0) return 1;
  return 0;
}

}  // namespace

Kes_err *Kes_transaction::update_arg_list() {
  for (int i = first_file_arg; i < argc; i++) {
    char rel[1024];
    const char *name = argv[i];
    if (name[0] == '/') {
      Kes_err *err = determine_relname(name, rel);
      if (err)
        delete err;
      else
        name = rel;
    }
    file_args->add_new_copy(const_cast<char *>(name));
  }
  Kes_err *err = nullptr;
  if (include_file)
    err = read_name_file(this, include_file,
                         BWM_MSG(9062, "Open of include file \"%s\" for reading failed"), file_args);
  if (!err && exclude_file)
    err = read_name_file(this, exclude_file,
                         BWM_MSG(9063, "Open of exclude file \"%s\" for reading failed"), excludes);
  return err;
}

Kes_err *Kes_transaction::start_file_lists() {
  if (!action_files) action_files = new Kes_filelist;
  if (!rename_candidates) rename_candidates = new Kes_filelist;
  delete from_conflicts;
  delete to_conflicts;
  from_conflicts = to_conflicts = nullptr;
  Kes_err *err = from_ws->get_conflicts(&from_conflicts);
  if (!err) err = to_ws->get_conflicts(&to_conflicts);
  return err;
}

Kes_err *Kes_transaction::determine_files() {
  Kes_timing::start(determine_files_timer);
  auto done = [&](Kes_err *err) {
    Kes_timing::stop(determine_files_timer);
    return err;
  };
  Kes_err *err = start_file_lists();
  if (err) return done(err);

  for (Kes_listelem *e = flps->head.next; e != &flps->head; e = e->next)
    if ((err = run_gen_flp((const char *)e->data))) return done(err);
  for (Kes_listelem *e = file_args->head.next, *next; e != &file_args->head; e = next) {
    next = e->next;
    int found = 0;
    if ((err = add_file(nullptr, (char *)e->data, &found))) return done(err);
    // A name found in neither workspace does not go into the args file.
    if (!found) file_args->delete_elem(e);
  }
  if (file_args->count == 0 && flps->count == 0) {
    Kes_md_args *md = nullptr;
    Kes_err *e = to_ws->get_md_args(&md);
    if (e) {
      delete e;
    } else {
      const char *name = to_ws->wsname ? to_ws->wsname : "";
      if (md->exists())
        issue_warning(2612, 0, BWM_MSG(9060, "Workspace %s has empty Brindle_wsdata/args file"),
                      name);
      else
        issue_warning(2612, 0,
                      BWM_MSG(9061, "Workspace %s does not have Brindle_wsdata/args file"), name);
    }
    delete md;
  }
  return done(renames ? renames->match_up_files() : nullptr);
}

Kes_err *Kes_transaction::add_file(Kes_workspace *ws, char *name_in, int *found) {
  if (found) *found = 0;
  char buf[1024], clean[1024];
  const char *name = name_in;
  if (name[0] == '/') {
    Kes_err *err = determine_relname(name, buf);
    if (err) {
      delete err;
      issue_warning(2613, 0,
                    BWM_MSG(10000, "Filename \"%s\" has too many \"..\" path components in it - ignored"),
                    name);
      return nullptr;
    }
    name = buf;
  }
  if (!name[0]) {
    issue_warning(2603, 0, "%s", BWM_MSG(10001, "Zero length filename - ignored"));
    return nullptr;
  }
  if (strchr(name, '#')) {
    issue_warning(2622, 0,
                  BWM_MSG(10002, "Filename \"%s\" contains a comment character ('%c') - ignored"),
                  name, '#');
    return nullptr;
  }
  if (Kes_err *err = kes_path_remove_dots(name, clean)) {
    delete err;
    issue_warning(2613, 0,
                  BWM_MSG(10000, "Filename \"%s\" has too many \"..\" path components in it - ignored"),
                  name);
    return nullptr;
  }
  // Metadata never travels as a file.
  size_t first = strcspn(clean, "/");
  if (first == strlen(KES_METADATA_DIR) && strncmp(clean, KES_METADATA_DIR, first) == 0)
    return nullptr;

  // dir/SCCS/s.x and dir/x are one name.
  std::string canon = kes_canonical_name(clean, ws ? ws->get_vcs_dir() : "SCCS");
  const char *cname = canon.c_str();

  if (seen_names->lookup(cname)) return nullptr;
  seen_names->insert(kes_strdup(cname), 1);
  for (Kes_listelem *e = excludes->head.next; e != &excludes->head; e = e->next)
    if (under_or_equal(cname, (const char *)e->data)) return nullptr;

  Kes_timing::start(create_ws_files_timer);
  Kes_ws_file *from = new Kes_ws_file(from_ws, cname);
  Kes_ws_file *to = new Kes_ws_file(to_ws, cname);
  from->fillin(this);
  if (!(flags.creating_child && flags.child_root_empty)) to->fillin(this);
  Kes_timing::stop(create_ws_files_timer);

  Kes_file *file = kes_file_create();
  file->from = from;
  file->to = to;
  if (is_relname_symlink(cname, file)) {
    issue_warning(2633, 0, BWM_MSG(10003, "Pathname \"%s\" contains a symlink - ignored"), cname);
    delete file;
    return nullptr;
  }
  return add_kes_file(file, &canon[0], found);
}

Kes_file *Kes_transaction::kes_file_create() { return new Kes_file; }

Kes_err *Kes_transaction::add_kes_file(Kes_file *file, char *name, int *found) {
  if (found) *found = 1;
  Kes_ws_file *from = file->from, *to = file->to;
  if (!from->exists && !to->exists) {
    if (from->filetype->kind != Kes_filetype::UNKNOWN || to->filetype->kind != Kes_filetype::UNKNOWN)
      issue_warning(2602, 0,
                    BWM_MSG(10004, "File \"%s\" is not under version control in either workspace - ignored"),
                    name);
    else
      issue_warning(2611, 0, BWM_MSG(10005, "\"%s\" does not exist in either workspace - ignored"),
                    name);
    delete file;
    if (found) *found = 0;
    return nullptr;
  }
  if (!from->compatible(to)) {
    examined++;
    file->flags.cross_type = 1;
    action_files->add_new_data(file);
    blocks->add_cross_type_list(file);
    return nullptr;
  }
  if (from->filetype->kind == Kes_filetype::DIRECTORY || to->filetype->kind == Kes_filetype::DIRECTORY) {
    std::string dir = from->name;
    delete file;
    return run_dir_flp(dir.c_str());
  }

  Kes_timing::start(determine_states_timer);
  examined++;
  Kes_err *err = determine_prop_state(file);
  Kes_timing::stop(determine_states_timer);
  if (err) {
    file->contents_error = err;
    counts.contents_errors++;
  }
  if (file->flags.rename_candidate) {
    rename_candidates->add_new_data(file);
    examined--;
  } else if (file->contents_error || file->are_problems(this)) {
    action_files->add_new_data(file);
  } else if (file->has_action()) {
    if (file->flags.contents_action) contents_action_count++;
    if (file->flags.name_action) name_action_count++;
    action_count++;
    action_files->add_new_data(file);
  } else {
    delete file;  // nothing is kept for a file that needs nothing
  }
  return nullptr;
}

Kes_err *Kes_transaction::determine_prop_state(Kes_file *file) {
  return file->determine_prop_state(this);
}

int Kes_transaction::is_relname_symlink(const char *name, Kes_file *file) {
  Kes_ws_file *from = file->from, *to = file->to;
  if (!from->compatible(to)) return 0;
  if (from->filetype->kind == Kes_filetype::SYMLINK || to->filetype->kind == Kes_filetype::SYMLINK)
    return 1;
  std::string dir = name;
  if (from->filetype->kind != Kes_filetype::DIRECTORY && to->filetype->kind != Kes_filetype::DIRECTORY) {
    size_t slash = dir.rfind('/');
    dir = slash == std::string::npos ? "." : dir.substr(0, slash);
  }
  if (from->exists && is_dir_symlink(dir.c_str(), from_ws->get_absname())) return 1;
  if (to->exists && is_dir_symlink(dir.c_str(), to_ws->get_absname())) return 1;
  return 0;
}

// Answers are kept per root and directory: 1 a link, 0 none, 2 a missing
// history directory (no link, but not kept as an answer for its parents).
int Kes_transaction::is_dir_symlink(const char *name, const char *root) {
  if (strcmp(name, ".") == 0) return 0;
  std::string key = std::string(root ? root : "") + "/" + name;
  int known = symlink_cache->lookup(key.c_str());
  if (known != -1) return known == 1;
  struct stat st;
  int answer;
  if (lstat(key.c_str(), &st) != 0) {
    const char *slash = strrchr(name, '/');
    const char *base = slash ? slash + 1 : name;
    if ((errno == ENOENT || errno == ENOTDIR) && strcmp(base, "SCCS") == 0) {
      symlink_cache->insert(kes_strdup(key.c_str()), 2);
      return 0;
    }
    answer = -2;
  } else {
    answer = S_ISLNK(st.st_mode) ? 1 : -2;
  }
  if (answer == -2) {
    const char *slash = strrchr(name, '/');
    std::string parent = slash ? std::string(name, slash - name) : ".";
    answer = is_dir_symlink(parent.c_str(), root);
  }
  symlink_cache->insert(kes_strdup(key.c_str()), answer);
  return answer;
}

int Kes_transaction::history_file_exists(const char *path, const char *root) {
  const char *slash = strrchr(path, '/');
  const char *base = slash ? slash + 1 : path;
  // The directory, "root/dir", is built by hand: this runs twice per file.
  char dir[2048];
  size_t rlen = root ? strlen(root) : 0, dlen = slash ? (size_t)(slash - path) : 0;
  if (rlen + dlen + 2 > sizeof dir) return 0;
  char *p = dir;
  if (root) {
    memcpy(p, root, rlen);
    p += rlen;
    if (slash) *p++ = '/';
  }
  if (slash) {
    memcpy(p, path, dlen);
    p += dlen;
  }
  if (p == dir) *p++ = '.';
  *p = '\0';
  for (Kes_dir_hash *cache : dir_cache)
    if (cache && strcmp(cache->path, dir) == 0) return cache->has(base);
  delete dir_cache[1];
  dir_cache[1] = dir_cache[0];
  dir_cache[0] = new Kes_dir_hash(dir);
  return dir_cache[0]->has(base);
}

void Kes_transaction::set_conflict(Kes_ws_file *file) {
  char path[1024];
  Kes_sfile *sf = file->ws->get_sfile(file->get_abs_sdotname(path));
  Kes_conflict c(sf, 1);
  if (c.in_conflict()) file->unresolved = 1;
}

// The conflicts file of a workspace is a cache of what its histories say:
// a file found unresolved is added to it, a file found clean is taken out,
// and the correction is reported.  It is put right in a preview too, and in
// the from workspace under its read lock.
void Kes_transaction::reconcile_conflict_file(Kes_ws_file *file) {
  int to_side = file->ws == to_ws;
  int was_listed = listed(to_side ? to_conflicts : from_conflicts, file->name);
  Kes_err *err = nullptr;
  if (file->unresolved && !was_listed) {
    err = file->ws->add_conflict(file->name);
    if (!err) {
      if (to_side)
        blocks->add_to_conflict_add_list(file->name);
      else
        blocks->add_from_conflict_add_list(file->name);
    }
  } else if (!file->unresolved && was_listed) {
    err = file->ws->remove_conflict(file->name);
    if (!err) {
      if (to_side)
        blocks->add_to_conflict_remove_list(file->name);
      else
        blocks->add_from_conflict_remove_list(file->name);
    }
  }
  delete err;  // the next transaction tries again
}

void Kes_transaction::print_errs() {
  int silent = flags.silent;
  flags.silent = 0;
  for (Kes_listelem *e = action_files ? action_files->head.next : nullptr;
       e && e != &action_files->head; e = e->next) {
    Kes_file *f = (Kes_file *)e->data;
    for (Kes_err *err : {f->contents_error, f->rename_error}) {
      if (!err) continue;
      fflush(stdout);
      fputs(err->text, stderr);
      log_printf("%s", err->text);
    }
  }
  flags.silent = silent;
}

// A name under either workspace, by any of its spellings, becomes relative
// to that workspace's root.
Kes_err *Kes_transaction::determine_relname(const char *path, char *out) {
  if (from_ws && from_ws->is_under_ws(path, out)) return nullptr;
  if (to_ws && to_ws->is_under_ws(path, out)) return nullptr;
  char clean[1024], abs[1024];
  Kes_err *err = kes_path_remove_dots(path, clean);
  if (err) return err;
  const char *p = path;
  if (kes_abspath(clean, abs, sizeof abs)) {
    if (from_ws && from_ws->is_under_ws(abs, out)) return nullptr;
    if (to_ws && to_ws->is_under_ws(abs, out)) return nullptr;
  }
  while (*p == '/') p++;
  snprintf(out, 1024, "%s", p);
  return nullptr;
}

// Adds what this run was given to the child's args file: a name covered by
// an entry (the entry or a directory above it) is there already, and entries
// under a new directory give way to it.
Kes_err *Kes_transaction::update_args_file(Kes_workspace *ws) {
  if (!ws || flags.preview) return nullptr;
  Kes_md_args *md = nullptr;
  Kes_err *err = ws->get_md_args(&md);
  if (err) return err;
  Kes_strlist current, additions;
  // An empty file is written afresh, version line first, if this run adds.
  if (!left_empty(md) && (err = md->get_lines(&current))) {
    delete md;
    return err;
  }
  for (Kes_listelem *e = flps->head.next; e != &flps->head; e = e->next) {
    std::string line = std::string("-f ") + (const char *)e->data;
    if (!listed(&current, line.c_str()) && !listed(&additions, line.c_str()))
      additions.add_new_copy(&line[0]);
  }
  Kes_str_int_hash doomed;
  for (Kes_listelem *a = file_args->head.next; a != &file_args->head; a = a->next) {
    const char *arg = (const char *)a->data;
    int covered = 0;
    for (Kes_listelem *c = current.head.next; c != &current.head; c = c->next) {
      const char *entry = (const char *)c->data;
      if (strncmp(entry, "-f ", 3) == 0 || doomed.lookup(entry)) continue;
      if (under_or_equal(arg, entry))
        covered = 1;
      else if (under_or_equal(entry, arg))
        doomed.insert(kes_strdup(entry), 1);
    }
    if (!covered && !listed(&additions, arg)) additions.add_new_copy(const_cast<char *>(arg));
  }
  int removed = 0;
  for (Kes_listelem *c = current.head.next, *next; c != &current.head; c = next) {
    next = c->next;
    if (doomed.lookup((const char *)c->data)) {
      current.delete_elem(c);
      removed = 1;
    }
  }
  if (additions.count || removed) {
    // A change of the args file belongs to this run's backup, begun here if
    // no file moved before.
    if (ws == to_ws) err = start_backup();
    if (!err && additions.count && !md->exists() && flags.backup && ws == to_ws && backup_list) {
      // This run makes the args file: an undo removes it.
      char rel[1024];
      err = backup_list->add_line(md->get_relname(rel));
    }
    if (!err) err = md->rewrite(&additions, &current);
  }
  delete md;
  return err;
}

// A command given no comment leaves no empty comment block in the log.
Kes_err *Kes_transaction::print_comment() {
  if (!history || !comment || comment->count == 0) return nullptr;
  return history->print_comment(comment);
}

Kes_err *Kes_transaction::print_rti() {
  return history ? history->print_rti(integration_request) : nullptr;
}
