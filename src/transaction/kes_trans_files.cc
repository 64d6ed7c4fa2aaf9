// Which names a transaction looks at.  The operands, the include and exclude
// files and the child's args file are read here; examining each name in both
// workspaces arrives with the file states, and until then a name is accepted
// and nothing is examined.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "transaction/kes_trans_timers.h"
#include "transaction/kes_transaction.h"
#include "util/kes_err.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "util/kes_path.h"
#include "util/kes_timing.h"
#include "workspace/kes_md_args.h"
#include "workspace/kes_history.h"
#include "workspace/kes_workspace.h"

void Kes_transaction::parse_dasha_arg(Kes_workspace *ws) {
  if (!ws) return;
  Kes_md_args *md = nullptr;
  Kes_err *err = ws->get_md_args(&md);
  Kes_strlist lines;
  if (!err) err = md->get_lines(&lines);
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
    std::string cmd = std::string("cd ") + (t->from_ws ? t->from_ws->get_absname() : ".") +
                      "; ls -1 -d " + line + " 2>/dev/null";
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

Kes_err *Kes_transaction::determine_files() {
  Kes_timing::start(determine_files_timer);
  for (Kes_listelem *e = flps->head.next; e != &flps->head; e = e->next) {
    Kes_err *err = run_gen_flp((const char *)e->data);
    if (err) {
      Kes_timing::stop(determine_files_timer);
      return err;
    }
  }
  for (Kes_listelem *e = file_args->head.next, *next; e != &file_args->head; e = next) {
    next = e->next;
    int found = 0;
    Kes_err *err = add_file(nullptr, (char *)e->data, &found);
    if (err) {
      Kes_timing::stop(determine_files_timer);
      return err;
    }
    // A name found in neither workspace does not go into the args file.
    if (!found) file_args->delete_elem(e);
  }
  if (file_args->count == 0 && flps->count == 0) {
    Kes_md_args *md = nullptr;
    Kes_err *err = to_ws ? to_ws->get_md_args(&md) : nullptr;
    if (err) {
      delete err;
    } else if (md) {
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
  Kes_timing::stop(determine_files_timer);
  return nullptr;
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

// A command given no comment leaves no empty comment block in the log.
Kes_err *Kes_transaction::print_comment() {
  if (!history || !comment || comment->count == 0) return nullptr;
  return history->print_comment(comment);
}

Kes_err *Kes_transaction::print_rti() {
  return history ? history->print_rti(integration_request) : nullptr;
}
