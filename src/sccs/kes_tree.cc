// Kes_tree and Kes_delta_tree: the node array indexed by serial, roots, tree
// walks, common ancestors, and look-ups by SID and SmID.
#include <cstdlib>
#include <cstring>

#include "sccs/kes_sfile.h"
#include "sccs/kes_smid.h"
#include "util/kes_init.h"

Kes_tree::Kes_tree()
    : node_array(nullptr), root(nullptr), head(nullptr), first_root(nullptr), node_count(0),
      size(0), array_length(0), root_count(0) {}

Kes_tree::~Kes_tree() {}

Kes_tree_node *Kes_tree::find_root(Kes_tree_node *node) {
  while (node && node->parent && node->parent->serial != 0 && !node->parent->fake)
    node = node->parent;
  return node;
}

namespace {
int set_root(Kes_tree_node *node, void *root, void *) {
  node->root = static_cast<Kes_tree_node *>(root);
  return 1;
}
}  // namespace

void Kes_tree::assign_roots() {
  root_count = 0;
  first_root = nullptr;
  if (!root) return;
  if (root->fake) {
    first_root = root->first_child;
    root->root = root;
    for (Kes_tree_node *r = root->first_child; r; r = r->next_sibling) {
      root_count++;
      walktree(r, set_root, r, nullptr);
    }
  } else {
    first_root = root;
    root_count = 1;
    walktree(root, set_root, root, nullptr);
  }
}

int Kes_tree::fake_was_added() { return root != nullptr && root == ith_node(0); }

void walktree(Kes_tree_node *node, Kes_walk_fn fn, void *a, void *b) {
  // Siblings iteratively, children recursively: depth is the tree's height.
  for (; node; node = node->next_sibling) {
    fn(node, a, b);
    if (node->first_child) walktree(node->first_child, fn, a, b);
  }
}

int walktree_backwards(Kes_tree_node *node, Kes_walk_fn fn, void *a, void *b,
                       int stop_on_fail) {
  // The predecessor chain first, then the includes of each node on it.
  if (!node || node->serial == 0) return 1;
  if (!fn(node, a, b)) return stop_on_fail ? 0 : 1;
  if (!walktree_backwards(node->parent, fn, a, b, stop_on_fail)) return 0;
  if (node->includes)
    for (Kes_tree_node **i = node->includes; *i; i++)
      if (!walktree_backwards(*i, fn, a, b, stop_on_fail)) return 0;
  return 1;
}

namespace {
int colour_node(Kes_tree_node *n, void *, void *) {
  if (n->colour) return 0;
  n->colour = 1;
  return 1;
}

int clear_colour(Kes_tree_node *n, void *, void *) {
  if (!n->colour) return 0;
  n->colour = 0;
  return 1;
}

int find_coloured(Kes_tree_node *n, void *best, void *) {
  if (!n->colour) return 1;
  Kes_tree_node **b = static_cast<Kes_tree_node **>(best);
  if (!*b || n->serial > (*b)->serial) *b = n;
  return 0;
}
}  // namespace

Kes_tree_node *Kes_tree::find_ancestor(Kes_tree_node *n1, Kes_tree_node *n2) {
  if (!n1 || !n2) return nullptr;
  walktree_backwards(n1, colour_node, nullptr, nullptr, 0);
  Kes_tree_node *best = nullptr;
  walktree_backwards(n2->peer ? n2->peer : n2, find_coloured, &best, nullptr, 0);
  walktree_backwards(n1, clear_colour, nullptr, nullptr, 0);
  return best;
}

void Kes_delta_tree::add_child(Kes_delta *parent, Kes_delta *child) {
  child->parent = parent;
  if (!parent->first_child) {
    child->next_sibling = nullptr;
    parent->first_child = child;
    return;
  }
  // Compared with the first child only: the trunk child stays first.
  int r1, l1, b1, s1, r2, l2, b2, s2;
  int n1 = get_sid_info(child->sid, &r1, &l1, &b1, &s1);
  int n2 = get_sid_info(parent->first_child_delta()->sid, &r2, &l2, &b2, &s2);
  if (n1 < n2 || l1 > l2 || b1 < b2)
    parent->push_child(child);
  else
    parent->append_child(child);
}

Kes_delta *Kes_delta_tree::find_delta(const char *sid) {
  if (!sid) return nullptr;
  for (int i = 1; i <= size; i++) {
    Kes_delta *d = ith_delta(i);
    if (d->serial && d->sid && strcmp(d->sid, sid) == 0) return d;
  }
  return nullptr;
}

Kes_delta **Kes_delta_tree::find_deltas(const char *sid) {
  Kes_delta **out = static_cast<Kes_delta **>(calloc(array_length + 1, sizeof(Kes_delta *)));
  if (!out) kes_new_handler();
  int k = 0;
  if (sid)
    for (int i = 0; i < array_length; i++) {
      Kes_delta *d = ith_delta(i);
      if (d->serial && d->sid && strcmp(d->sid, sid) == 0) out[k++] = d;
    }
  return out;
}

Kes_delta *Kes_delta_tree::find_delta(Kes_smid *smid) {
  if (!smid) return nullptr;
  for (int i = 0; i < array_length; i++) {
    Kes_delta *d = ith_delta(i);
    if (!d->serial) continue;
    Kes_smid *s = kes_smid_from_delta(d);
    int same = kes_smid_equal(s, smid);
    delete s;
    if (same) return d;
  }
  return nullptr;
}

Kes_delta **Kes_delta_tree::find_deltas(Kes_smid *smid) {
  Kes_delta **out = static_cast<Kes_delta **>(calloc(array_length + 1, sizeof(Kes_delta *)));
  if (!out) kes_new_handler();
  int k = 0;
  for (int i = 0; smid && i < array_length; i++) {
    Kes_delta *d = ith_delta(i);
    if (!d->serial) continue;
    Kes_smid *s = kes_smid_from_delta(d);
    if (kes_smid_equal(s, smid)) out[k++] = d;
    delete s;
  }
  return out;
}
