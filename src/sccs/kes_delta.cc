// Kes_tree_node and Kes_delta, and the date and SID rules that order deltas.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "sccs/kes_sfile.h"
#include "util/kes_init.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "util/kes_str.h"

namespace {

// A field of two digits at a fixed place; a missing digit counts as 0.
int two_digits(const char *s, size_t len, size_t at) {
  int v = 0;
  for (size_t i = at; i < at + 2; i++) {
    v *= 10;
    if (i < len && s[i] >= '0' && s[i] <= '9') v += s[i] - '0';
  }
  return v;
}

}  // namespace

void kes_never_called(const char *text) {
  fputs(text, stderr);
  fflush(stderr);
  exit(10);
}

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
  kes_strv_free(comments);
  kes_strv_free(mrs);
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
  kes_never_called(BWM_MSG(1014, "Kes_delta::copy() called, exiting\n"));
}

void Kes_delta::print() { kes_never_called(BWM_MSG(1015, "Kes_delta::print() called, exiting\n")); }

int Kes_delta::compare(Kes_delta *) {
  kes_never_called(BWM_MSG(1016, "Kes_delta::compare() called, exiting\n"));
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
  stats = kes_strdup(text);
}

void Kes_delta::set_sid(const char *text) {
  free(sid);
  sid = kes_strdup(text);
}

void Kes_delta::set_new_sid(const char *text) {
  free(new_sid);
  new_sid = kes_strdup(text);
  new_sid_flag = new_sid != nullptr;
}

void Kes_delta::set_date(const char *text) {
  free(date);
  date = kes_strdup(text);
  if (date) mystrptime(date, &time);
}

void Kes_delta::set_user(const char *text) {
  free(user);
  user = kes_strdup(text);
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
