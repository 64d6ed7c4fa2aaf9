// The delta list of a file: every node of its tree, newest first.
#include <cstdlib>

#include "sccs/kes_smid.h"
#include "sccs/sccs_sfile.h"
#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"

namespace {

int delta_cmp(const void *a, const void *b) {
  return kes_delta_cmp(*(Kes_delta *const *)a, *(Kes_delta *const *)b);
}

struct Walk_fill {
  Kes_delta **list;
  int next;       // index to fill next, counting down
  bool overflow;
};

int fill_list(Kes_tree_node *n, void *arg, void *) {
  Walk_fill *w = static_cast<Walk_fill *>(arg);
  if (w->next < 0)
    w->overflow = true;
  else
    w->list[w->next--] = static_cast<Kes_delta *>(n);
  return 1;
}

}  // namespace

Kes_err *SCCS_sfile::mklist(Kes_delta ***out) {
  *out = nullptr;
  int count = tree ? tree->node_count : 0;
  Kes_delta **list = static_cast<Kes_delta **>(calloc(count + 1, sizeof(Kes_delta *)));
  if (!list) kes_new_handler();
  Walk_fill w = {list, count - 1, false};
  if (tree && tree->root) walktree(tree->root, fill_list, &w, nullptr);
  if (w.overflow || w.next != -1) {
    free(list);
    return (new Kes_err)->format_msg(
        2501, 0,
        BWM_MSG(1011, "Internal error in sccsmerge in mklist(): could not convert tree to list"));
  }
  qsort(list, count, sizeof *list, delta_cmp);
  list[count] = nullptr;
  *out = list;
  return nullptr;
}

