// Kes_resolve::print_history and its two sides: the deltas of one line of a
// file in conflict that the other line hasn't got.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

#include "sccs/kes_conflict.h"
#include "sccs/kes_sfile.h"
#include "transaction/kes_resolve.h"
#include "util/kes_err.h"

namespace {

struct Walk {
  int stop;  // serial of the common ancestor; nothing at or below it is shown
  std::vector<Kes_delta *> found;
};

int collect(Kes_tree_node *node, void *a, void *) {
  Walk *w = static_cast<Walk *>(a);
  if (node->serial <= w->stop || node->fake || node->colour) return 0;
  node->colour = 1;
  w->found.push_back(static_cast<Kes_delta *>(node));
  return 1;
}

}  // namespace

Kes_err *Kes_resolve::print_child_history() { return print_history(conflict->child_sid); }

Kes_err *Kes_resolve::print_parent_history() { return print_history(conflict->parent_sid); }

Kes_err *Kes_resolve::print_history(const char *sid) {
  Kes_err *err = sfile->tree ? nullptr : sfile->buildtree(0, 1, 0);
  if (err) return err;
  const char *ancestor = conflict->ancestor_sid;
  if (!sid || (ancestor && strcmp(sid, ancestor) == 0)) return nullptr;
  Kes_delta *leaf = nullptr;
  if ((err = sfile->find_leaf_delta(sid, &leaf))) return err;
  Walk w{0, {}};
  if (ancestor)
    for (int i = sfile->tree->size; i >= 1 && !w.stop; i--) {
      Kes_delta *d = sfile->tree->ith_delta(i);
      if (d->serial && !d->removed && d->sid && strcmp(d->sid, ancestor) == 0) w.stop = d->serial;
    }
  walktree_backwards(leaf, collect, &w, nullptr, 0);
  std::sort(w.found.begin(), w.found.end(),
            [](Kes_delta *a, Kes_delta *b) { return a->serial > b->serial; });
  for (size_t i = 0; i < w.found.size(); i++) {
    Kes_delta *d = w.found[i];
    if (i) printf("\n");
    // The stats keep their newline.
    printf("%s\t%s %s %d %d\t%s", d->sid ? d->sid : "", d->date ? d->date : "",
           d->user ? d->user : "", d->serial, d->pred, d->stats ? d->stats : "\n");
    for (char **c = d->comments; c && *c; c++) printf("%s", *c);
    d->colour = 0;
  }
  fflush(stdout);
  return nullptr;
}
