// The delta comments that -d shows under a status line and the mail lists
// under a file: those of the deltas the from history brings.
#include <cstdlib>
#include <cstring>
#include <string>

#include "sccs/kes_sfile.h"
#include "transaction/kes_file.h"
#include "util/kes_err.h"
#include "util/kes_list.h"
#include "workspace/kes_workspace.h"

namespace {

std::string without_newline(const char *line) {
  std::string s = line ? line : "";
  if (!s.empty() && s.back() == '\n') s.pop_back();
  return s;
}

int blank(const char *line) { return without_newline(line).find_first_not_of(" \t") == std::string::npos; }

// Adds the delta's block: "delta SID, owner USER:", its comment lines without
// the empty ones at either end, and an empty line.
int add_delta(Kes_tree_node *node, void *list_arg, void *) {
  Kes_delta *d = static_cast<Kes_delta *>(node);
  Kes_strlist *list = static_cast<Kes_strlist *>(list_arg);
  if (d->fake || d->removed || d->side != 0 || d->peer || !d->comments) return 1;
  int n = 0;
  while (d->comments[n]) n++;
  int first = 0, last = n - 1;
  while (first <= last && blank(d->comments[first])) first++;
  while (last >= first && blank(d->comments[last])) last--;
  if (first > last) return 1;
  std::string head = std::string("delta ") + (d->sid ? d->sid : "") + ", owner " +
                     (d->user ? d->user : "") + ":";
  list->add_new_copy(&head[0]);
  for (int i = first; i <= last; i++) {
    std::string line = without_newline(d->comments[i]);
    list->add_new_copy(&line[0]);
  }
  list->add_new_copy(const_cast<char *>(""));
  return 1;
}

Kes_sfile *read_history(Kes_ws_file *w, int side) {
  char path[1024];
  Kes_sfile *sf = w->ws->get_sfile(w->get_abs_sdotname(path));
  Kes_err *err = sf->buildtree(side, 0, 0);
  if (!err) return sf;
  delete err;
  delete sf;
  return nullptr;
}

}  // namespace

void Kes_file::gather_file_create_comments() {
  delete comments;
  comments = new Kes_strlist;
  Kes_sfile *from_sf = read_history(from, 0);
  if (!from_sf) return;
  from_sf->tree->assign_roots();
  walktree(from_sf->tree->root, add_delta, comments, nullptr);
  delete from_sf;
}

void Kes_file::gather_file_update_comments() {
  delete comments;
  comments = new Kes_strlist;
  Kes_sfile *from_sf = read_history(from, 0);
  Kes_sfile *to_sf = from_sf ? read_history(to, 1) : nullptr;
  if (to_sf) {
    int common = 0, same_root = 0;
    from_sf->tree->assign_roots();
    to_sf->tree->assign_roots();
    from_sf->tree->merge_trees(to_sf->tree, &common, &same_root);
    walktree(from_sf->tree->root, add_delta, comments, nullptr);
  }
  delete to_sf;
  delete from_sf;
}
