// Delta nodes and delta trees: the node array indexed by serial, tree order,
// tree walks, and the date and SID rules that order deltas.
#include <cstdlib>
#include <cstring>

#include "sccs/sccs_sfile.h"
#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"

namespace {

char *dup_or_null(const char *s) {
  if (!s) return nullptr;
  char *d = strdup(s);
  if (!d) kes_new_handler();
  return d;
}

void free_strings(char **v) {
  if (!v) return;
  for (char **p = v; *p; p++) free(*p);
  free(v);
}

// A field of two digits at a fixed place; a missing digit counts as 0.
int two_digits(const char *s, size_t len, size_t at) {
  int v = 0;
  for (size_t i = at; i < at + 2; i++) {
    v *= 10;
    if (i < len && s[i] >= '0' && s[i] <= '9') v += s[i] - '0';
  }
  return v;
}

[[noreturn]] void never_called(const char *text) {
  fputs(text, stderr);
  fflush(stderr);
  exit(10);
}

}  // namespace

// ---------------------------------------------------------------------------
// Kes_tree_node

Kes_tree_node::Kes_tree_node()
    : parent(nullptr), first_child(nullptr), next_sibling(nullptr), peer(nullptr),
      root(nullptr), includes(nullptr), excludes(nullptr), ignores(nullptr), side(0),
      colour(0), fake(0), serial(0), pred(0) {}

Kes_tree_node::~Kes_tree_node() {
  free(includes);
  free(excludes);
  free(ignores);
}

void Kes_tree_node::append_child(Kes_tree_node *child) {
  child->next_sibling = nullptr;
  if (!first_child) {
    first_child = child;
    return;
  }
  Kes_tree_node *last = first_child;
  while (last->next_sibling) last = last->next_sibling;
  last->next_sibling = child;
}

void Kes_tree_node::push_child(Kes_tree_node *child) {
  child->next_sibling = first_child;
  first_child = child;
}

// ---------------------------------------------------------------------------
// Kes_delta

Kes_delta::Kes_delta()
    : stats(nullptr), sid(nullptr), new_sid(nullptr), date(nullptr), time(), user(nullptr),
      comments(nullptr), mrs(nullptr), file_name(nullptr), new_sid_flag(0), removed(0),
      in_pfile(0), on_head_path(0), sccs_kind(0), new_data_delta(0) {}

Kes_delta::~Kes_delta() {
  free(stats);
  free(sid);
  free(new_sid);
  free(date);
  free(user);
  free_strings(comments);
  free_strings(mrs);
}

int Kes_delta::different(Kes_tree_node *other_node) {
  Kes_delta *other = static_cast<Kes_delta *>(other_node);
  if (!kes_str_compare(date, other->date)) return 1;
  if (removed != other->removed) return 1;
  if (!kes_str_compare(stats, other->stats)) return 1;
  if (!kes_str_compare(user, other->user)) return 1;
  return comments_differ(other);
}

Kes_delta *Kes_delta::copy() {
  never_called(BWM_MSG(1014, "Kes_delta::copy() called, exiting\n"));
}

void Kes_delta::print() { never_called(BWM_MSG(1015, "Kes_delta::print() called, exiting\n")); }

int Kes_delta::compare(Kes_delta *) {
  never_called(BWM_MSG(1016, "Kes_delta::compare() called, exiting\n"));
}

int Kes_delta::is_fake() const {
  return serial == 1 && stats && date && user && strcmp(stats, KES_FAKE_STATS) == 0 &&
         strcmp(date, KES_FAKE_DATE) == 0 && strcmp(user, KES_FAKE_USER) == 0;
}

int Kes_delta::is_sdata() const {
  return user && strcmp(user, KES_SDATA_USER) == 0 && comments && comments[0] &&
         strcmp(comments[0], KES_SDATA_MARKER) == 0;
}

void Kes_delta::set_stats(const char *text) {
  free(stats);
  stats = dup_or_null(text);
}

void Kes_delta::set_sid(const char *text) {
  free(sid);
  sid = dup_or_null(text);
}

void Kes_delta::set_new_sid(const char *text) {
  free(new_sid);
  new_sid = dup_or_null(text);
  new_sid_flag = new_sid != nullptr;
}

void Kes_delta::set_date(const char *text) {
  free(date);
  date = dup_or_null(text);
  if (date) mystrptime(date, &time);
}

void Kes_delta::set_user(const char *text) {
  free(user);
  user = dup_or_null(text);
}

// ---------------------------------------------------------------------------
// SCCS_delta

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
  free_strings(comments);
  comments = static_cast<char **>(calloc(2, sizeof(char *)));
  if (!comments) kes_new_handler();
  comments[0] = dup_or_null(
      BWM_MSG(1018, "Fake Brindle delta to combine two files with no common deltas\n"));
}

Kes_delta *SCCS_delta::copy() {
  never_called(BWM_MSG(1017, "SCCS_delta::copy() called, exiting\n"));
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

// ---------------------------------------------------------------------------
// Trees

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

// ---------------------------------------------------------------------------
// Dates and SIDs

void mystrptime(const char *date, struct tm *out) {
  memset(out, 0, sizeof *out);
  size_t len = strlen(date);
  out->tm_year = two_digits(date, len, 0);
  if (out->tm_year < 69) out->tm_year += 100;
  out->tm_mon = two_digits(date, len, 3) - 1;
  out->tm_mday = two_digits(date, len, 6);
  out->tm_hour = two_digits(date, len, 9);
  out->tm_min = two_digits(date, len, 12);
  out->tm_sec = two_digits(date, len, 15);
}

int cmptm(const struct tm *a, const struct tm *b) {
  if (b->tm_year != a->tm_year) return b->tm_year - a->tm_year;
  if (b->tm_mon != a->tm_mon) return b->tm_mon - a->tm_mon;
  if (b->tm_mday != a->tm_mday) return b->tm_mday - a->tm_mday;
  if (b->tm_hour != a->tm_hour) return b->tm_hour - a->tm_hour;
  if (b->tm_min != a->tm_min) return b->tm_min - a->tm_min;
  return b->tm_sec - a->tm_sec;
}

int get_sid_info(const char *sid, int *rel, int *lev, int *br, int *seq) {
  int comp[4] = {0, 0, 0, 0};
  int count = 0;
  if (sid && *sid) {
    // Count the components, then read the last four of them.
    count = 1;
    for (const char *p = sid; *p; p++)
      if (*p == '.') count++;
    const char *p = sid;
    for (int skip = count - 4; skip > 0; skip--) p = strchr(p, '.') + 1;
    for (int i = 0; i < 4 && p; i++) {
      comp[i] = atoi(p);
      p = strchr(p, '.');
      if (p) p++;
    }
  }
  *rel = comp[0];
  *lev = comp[1];
  *br = comp[2];
  *seq = comp[3];
  return count;
}

int samebranch(const char *sid1, const char *sid2) {
  int r1, l1, b1, s1, r2, l2, b2, s2;
  get_sid_info(sid1, &r1, &l1, &b1, &s1);
  get_sid_info(sid2, &r2, &l2, &b2, &s2);
  if (b1 == 0 && s1 == 0) return b2 == 0 && s2 == 0;
  return r1 == r2 && l1 == l2 && b1 == b2;
}
