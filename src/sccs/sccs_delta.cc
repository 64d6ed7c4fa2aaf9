// SCCS_delta and SCCS_delta_tree, the SCCS forms of a delta and a delta tree.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "sccs/sccs_sfile.h"
#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"
#include "util/kes_str.h"

SCCS_delta::SCCS_delta() { sccs_kind = 1; }

SCCS_delta::~SCCS_delta() {}

void SCCS_delta::make_fake() {
  serial = 1;
  pred = 0;
  fake = 1;
  peer = this;
  set_sid("1.1");
  set_stats(KES_FAKE_STATS);
  set_date(KES_FAKE_DATE);
  set_user(KES_FAKE_USER);
  kes_strv_free(comments);
  comments = static_cast<char **>(calloc(2, sizeof(char *)));
  if (!comments) kes_new_handler();
  comments[0] = kes_strdup(
      BWM_MSG(1018, "Fake Brindle delta to combine two files with no common deltas\n"));
}

Kes_delta *SCCS_delta::copy() {
  kes_never_called(BWM_MSG(1017, "SCCS_delta::copy() called, exiting\n"));
}

namespace {
// MR or comment lines.  A bare line ("^Ac" and its newline) was read as an
// empty text: it goes back bare, not as "^Ac " run into the next line.
Kes_err *write_texts(FILE *out, const char *name, char letter, char **texts) {
  Kes_err *err;
  for (char **t = texts; t && *t; t++)
    if ((err = **t ? fprintf_N_check(out, name, "%c%c %s", 1, letter, *t)
                   : fprintf_N_check(out, name, "%c%c\n", 1, letter)))
      return err;
  return nullptr;
}
}  // namespace

Kes_err *SCCS_delta::write(FILE *out, const char *name) {
  Kes_err *err;
  if ((err = fprintf_N_check(out, name, "%cs %s", 1, stats ? stats : KES_FAKE_STATS)))
    return err;
  if ((err = fprintf_N_check(out, name, "%cd %c %s %s %s %d %d\n", 1, removed ? 'R' : 'D',
                             current_sid(), date ? date : "", user ? user : "", serial, pred)))
    return err;
  Kes_tree_node **lists[3] = {includes, excludes, ignores};
  const char letters[3] = {'i', 'x', 'g'};
  for (int l = 0; l < 3; l++) {
    if (!lists[l]) continue;
    if ((err = fprintf_N_check(out, name, "%c%c", 1, letters[l]))) return err;
    for (Kes_tree_node **n = lists[l]; *n; n++)
      if ((err = fprintf_N_check(out, name, " %d", (*n)->serial))) return err;
    if ((err = fprintf_N_check(out, name, "\n"))) return err;
  }
  if ((err = write_texts(out, name, 'm', mrs))) return err;
  if ((err = write_texts(out, name, 'c', comments))) return err;
  return fprintf_N_check(out, name, "%ce\n", 1);
}

SCCS_delta_tree::SCCS_delta_tree(int n) : nodes(new SCCS_delta[n + 2]) {
  node_array = nodes;
  size = n;
  array_length = n + 2;
}

SCCS_delta_tree::~SCCS_delta_tree() { delete[] nodes; }

Kes_tree_node *SCCS_delta_tree::ith_node(int i) { return &nodes[i]; }

int SCCS_delta_tree::largest_serial() { return nodes[size].serial; }

Kes_delta *SCCS_delta_tree::find_sid(const char *sid) {
  if (!sid) return nullptr;
  for (int i = 1; i <= node_count && i < array_length; i++) {
    SCCS_delta *d = &nodes[i];
    if (d->serial && !d->removed && d->sid && strcmp(d->sid, sid) == 0) return d;
  }
  return nullptr;
}

Kes_delta *SCCS_delta_tree::get_common_ancestor(const char *sid1, const char *sid2) {
  Kes_delta *d1 = find_sid(sid1), *d2 = find_sid(sid2);
  if (!d1 || !d2) return nullptr;
  return static_cast<Kes_delta *>(find_ancestor(d1, d2));
}

namespace {
int raise_level(Kes_tree_node *n, void *, void *) {
  incr_sid_level(static_cast<Kes_delta *>(n));
  return 1;
}
}  // namespace

void SCCS_delta_tree::add_fake() {
  Kes_tree_node *old_root = root;
  walktree(old_root, raise_level, nullptr, nullptr);
  SCCS_delta *f = &nodes[0];
  f->make_fake();
  f->first_child = nullptr;
  if (old_root) {
    f->first_child = old_root;
    old_root->next_sibling = nullptr;
    old_root->parent = f;
  }
  root = f;
}

void incr_sid_level(Kes_delta *node) {
  if (node->side) return;
  node->serial++;
  node->pred++;
  int rel, lev, br, seq;
  if (!node->sid) return;
  int n = get_sid_info(node->sid, &rel, &lev, &br, &seq);
  if (n > 4 || rel != 1) return;
  char buf[64];
  if (n <= 2)
    snprintf(buf, sizeof buf, "%d.%d", rel, lev + 1);
  else
    snprintf(buf, sizeof buf, "%d.%d.%d.%d", rel, lev + 1, br, seq);
  node->set_sid(buf);
}
