// The data delta and its attributes, uniquification of roots, and the comment
// comparison that lets merge signatures and one-sided uniquifications pass.
#include "sccs/kes_sdata.h"

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "sccs/kes_sfile.h"
#include "sccs/kes_smid.h"
#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "util/kes_str.h"

namespace {

int count_strings(char **v) {
  int n = 0;
  if (v)
    while (v[n]) n++;
  return n;
}

// A new array of n null pointers and a terminating null, for the caller to fill.
char **new_string_array(int n) {
  char **v = static_cast<char **>(calloc(n + 1, sizeof(char *)));
  if (!v) kes_new_handler();
  return v;
}

// The data delta's date: one second after the root in Greenwich time, so that
// the result doesn't depend on the zone the command runs in.  timegm and
// gmtime_r work in Greenwich time without a switch of TZ, which would read
// the zone files twice.
void one_second_after(const struct tm *root_time, struct tm *out, char date[20]) {
  struct tm t = *root_time;
  t.tm_isdst = 0;
  time_t secs = timegm(&t);
  if (secs < 0) secs = 1;
  secs += 1;
  gmtime_r(&secs, out);
  strftime(date, 20, "%y/%m/%d %T", out);
}

}  // namespace

// ---------------------------------------------------------------------------
// Kes_sdata

Kes_sdata::Kes_sdata(Kes_sfile *f, int owns_file)
    : owns(owns_file), sdata(nullptr), file(f), create(0) {}

Kes_sdata::~Kes_sdata() {
  if (owns) delete file;
}

Kes_err *Kes_sdata::find_sdata() {
  if (sdata) return nullptr;
  if (!file->tree) {
    Kes_err *err = file->buildtree(0, 0, 0);
    if (err) return err;
  }
  // The data delta found when the file was read stops counting when a fake
  // root goes over it: it is no longer under the root, and the merged file
  // gets a data delta of its own there.
  Kes_delta *known = file->sdata_delta;
  if (known && file->fake_was_added() && known->parent != file->tree->root) known = nullptr;
  sdata = known ? known : file->find_sdata();
  return nullptr;
}

Kes_err *Kes_sdata::check_for_sdata() {
  Kes_err *err = find_sdata();
  if (err || sdata || !create) return err;

  Kes_delta_tree *t = file->tree;
  Kes_delta *root = file->root_delta();
  Kes_delta *d = t->ith_delta(t->size + 1);  // the spare slot
  if (d->serial)
    return (new Kes_err)
        ->format_msg(2534, 0,
                     BWM_MSG(1502, "Internal error in sccsmerge in Kes_sdata::check_for_sdata(): "
                                   "No room in deltab for new sdata."));
  int old_top = t->size;
  t->node_count++;
  t->size++;
  d->parent = root;
  root->push_child(d);

  d->set_sid("1.2");
  d->side = 0;
  d->fake = 0;
  if (d->sccs_kind) d->removed = 1;
  d->new_data_delta = 1;
  d->file_name = file->s_path;
  d->set_stats("00000/00000/00000\n");

  int fake = file->fake_was_added();
  if (fake) {
    std::string date = root->date ? root->date : KES_FAKE_DATE;
    if (!date.empty()) date.back() = '1';
    free(d->date);
    d->date = kes_strdup(date.c_str());
    d->time = root->time;
    d->time.tm_sec = 1;
  } else {
    char date[20];
    one_second_after(&root->time, &d->time, date);
    free(d->date);
    d->date = kes_strdup(date);
  }

  d->set_user(KES_SDATA_USER);
  d->serial = 2;
  d->pred = root->serial;
  kes_strv_free(d->comments);
  d->comments = new_string_array(1);
  d->comments[0] = kes_strdup(KES_SDATA_MARKER);
  d->root = root;

  // Every later delta must stand after the new one in time: order the table
  // from a root that has the new delta's time.  The new delta's own slot is
  // left out, since it stays where its time puts it, behind the root.
  int start = root->serial - (fake ? 1 : 0);
  struct tm root_time = root->time;
  root->time = d->time;
  file->order_deltab(start, old_top);
  root->time = root_time;

  // Serials from 2 up move up by one to make room.
  for (int i = start + 1; i < t->array_length; i++) {
    Kes_delta *n = t->ith_delta(i);
    if (n == d || !n->serial) continue;
    n->serial++;
    if (n->pred != 1) n->pred++;
  }
  file->state |= KES_SF_SDATA_INSERTED;
  file->sdata_delta = d;
  sdata = d;
  return nullptr;
}

Kes_err *Kes_sdata::get_entire_list(Kes_strlist **out) {
  *out = nullptr;
  Kes_err *err = check_for_sdata();
  if (err) return err;
  Kes_strlist *list = new Kes_strlist;
  if (sdata && sdata->comments && sdata->comments[0])
    for (char **c = sdata->comments + 1; *c; c++) list->add_new_copy(*c);
  *out = list;
  return nullptr;
}

Kes_err *Kes_sdata::replace_entire_list(Kes_strlist *list) {
  Kes_err *err = find_sdata();
  if (err) return err;
  if (!sdata)
    return (new Kes_err)
        ->format_msg(2536, 0,
                     BWM_MSG(1503, "Internal error in sccsmerge in "
                                   "Kes_sdata::replace_entire_list: NULL sdata delta in \"%s\""),
                     file->s_path ? file->s_path : "");
  char **v = new_string_array(1 + (list ? list->count : 0));
  int n = 0;
  v[n++] = kes_strdup(KES_SDATA_MARKER);
  if (list)
    for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next) {
      std::string line = static_cast<const char *>(e->data);
      // An over-long line is cut, keeping its newline, so that it reads back whole.
      if (line.size() > (size_t)KES_SDATA_MAX_LINE) {
        line.resize(KES_SDATA_MAX_LINE - 1);
        line += '\n';
      }
      v[n++] = kes_strdup(line.c_str());
    }
  kes_strv_free(sdata->comments);
  sdata->comments = v;
  return nullptr;
}

Kes_err *Kes_sdata::get_values(const char *attribute, Kes_strlist **out) {
  *out = nullptr;
  create = 0;
  if (!attribute)
    return (new Kes_err)
        ->format_msg(2530, 0,
                     BWM_MSG(1504, "Internal error in sccsmerge in Kes_sdata::get_values(): NULL "
                                   "attribute string"));
  Kes_strlist *all;
  Kes_err *err = get_entire_list(&all);
  if (err) return err;
  std::string prefix = std::string(attribute) + KES_SDATA_SEPARATOR;
  Kes_strlist *values = new Kes_strlist;
  for (Kes_listelem *e = all->head.next; e != &all->head; e = e->next) {
    const char *line = static_cast<const char *>(e->data);
    if (strncmp(line, prefix.c_str(), prefix.size()) == 0)
      values->add_new_copy(const_cast<char *>(line + prefix.size()));
  }
  delete all;
  *out = values;
  return nullptr;
}

Kes_err *Kes_sdata::replace_values(const char *attribute, Kes_strlist *values) {
  create = 1;
  if (!attribute)
    return (new Kes_err)
        ->format_msg(2531, 0,
                     BWM_MSG(1505, "Internal error in sccsmerge in Kes_sdata::replace_values(): "
                                   "NULL attribute string"));
  Kes_strlist *all;
  Kes_err *err = get_entire_list(&all);
  if (err) return err;
  std::string prefix = std::string(attribute) + KES_SDATA_SEPARATOR;
  for (Kes_listelem *e = all->head.next, *next; e != &all->head; e = next) {
    next = e->next;
    if (strncmp(static_cast<const char *>(e->data), prefix.c_str(), prefix.size()) == 0)
      all->delete_elem(e);
  }
  if (values)
    for (Kes_listelem *e = values->head.next; e != &values->head; e = e->next) {
      std::string line = prefix + (e->data ? static_cast<const char *>(e->data) : "");
      if (line.back() != '\n') line += '\n';
      all->add_new_data(kes_strdup(line.c_str()));
    }
  err = replace_entire_list(all);
  delete all;
  return err;
}

// ---------------------------------------------------------------------------
// Uniquification

int Kes_delta::has_uniquification() const {
  if (comments)
    for (char **c = comments; *c; c++)
      if (kes_str_starts_with(*c, KES_UNIQUIFICATION)) return 1;
  return 0;
}

void uniquify_delta(Kes_delta *delta, const char *name, Kes_smid **out) {
  int n = count_strings(delta->comments);
  char **v = new_string_array(n + 1);
  std::string line = std::string(KES_UNIQUIFICATION) + " " + (name ? name : "") + "\n";
  v[0] = kes_strdup(line.c_str());
  for (int i = 0; i < n; i++) v[i + 1] = delta->comments[i];
  free(delta->comments);  // the strings moved to the new array
  delta->comments = v;
  *out = kes_smid_from_delta(delta);
}

namespace {
// Uniquifies d until no other real root under the fake root has its SmID.
void uniquify_among_roots(Kes_delta *fake_root, Kes_delta *d, const char *name,
                          Kes_smid **out) {
  uniquify_delta(d, name, out);
  for (bool clash = true; clash;) {
    clash = false;
    for (Kes_delta *r = fake_root->first_child_delta(); r; r = r->next_sibling_delta()) {
      if (r == d) continue;
      Kes_smid *s = kes_smid_from_delta(r);
      int same = kes_smid_equal(s, *out);
      delete s;
      if (same) {
        delete *out;
        uniquify_delta(d, name, out);
        clash = true;
        break;
      }
    }
  }
}
}  // namespace

Kes_err *kes_uniquify_sfile_smid(Kes_sfile *file, Kes_smid *smid, const char *name,
                                 Kes_smid **out, int write) {
  *out = nullptr;
  Kes_err *err = nullptr;
  if (!file->tree && (err = file->buildtree(0, 0, 0))) return err;
  Kes_delta *root = file->root_delta();
  Kes_delta *found = nullptr;
  if (root && root->fake) {
    for (Kes_delta *r = root->first_child_delta(); r && !found; r = r->next_sibling_delta()) {
      Kes_smid *s = kes_smid_from_delta(r);
      if (kes_smid_equal(s, smid)) found = r;
      delete s;
    }
    if (found) uniquify_among_roots(root, found, name, out);
  } else if (root) {
    Kes_smid *s = kes_smid_from_delta(root);
    if (kes_smid_equal(s, smid)) {
      found = root;
      uniquify_delta(root, name, out);
    }
    delete s;
  }
  if (!found)
    return (new Kes_err)->format_msg(2094, 0, BWM_MSG(1506, "Internal error: SmID not found"));
  if (write && (err = file->write())) {
    delete *out;
    *out = nullptr;
  }
  return err;
}

namespace {
int copy_peer_uniquification(Kes_delta *root, Kes_delta *peer) {
  if (root->has_uniquification() || !peer->has_uniquification()) return 0;
  int n = count_strings(peer->comments);
  char **v = new_string_array(n);
  for (int i = 0; i < n; i++) v[i] = kes_strdup(peer->comments[i]);
  kes_strv_free(root->comments);
  root->comments = v;
  return 0;  // go on with the other roots
}

int root_only_uniquified(Kes_delta *root, Kes_delta *peer) {
  return root->has_uniquification() && !peer->has_uniquification();
}

int peer_only_uniquified(Kes_delta *root, Kes_delta *peer) {
  return !root->has_uniquification() && peer->has_uniquification();
}
}  // namespace

void Kes_sfile::preserve_uniquifications() { walk_roots(copy_peer_uniquification); }

int Kes_sfile::from_uniquification_only() { return walk_roots(root_only_uniquified); }

int Kes_sfile::to_uniquification_only() { return walk_roots(peer_only_uniquified); }

// ---------------------------------------------------------------------------
// Comparing comments

namespace {
int is_own_root(const Kes_delta *d) {
  if (d->root) return d->root == d;
  return !d->parent || d->parent->fake;  // roots not yet assigned
}

int leading_uniquifications(char **c, int n) {
  int k = 0;
  while (k < n && kes_str_starts_with(c[k], KES_UNIQUIFICATION)) k++;
  return k;
}

int comments_differ_plain(Kes_delta *a, Kes_delta *b) {
  char **ca = a->comments, **cb = b->comments;
  int na = count_strings(ca), nb = count_strings(cb);
  int ia = 0, ib = 0;
  if (is_own_root(a) && is_own_root(b)) {
    int ua = leading_uniquifications(ca, na), ub = leading_uniquifications(cb, nb);
    if (ua == ub) {
      for (int i = 0; i < ua; i++)
        if (strcmp(ca[i], cb[i]) != 0) return 1;
    } else if (ua > 0 && ub > 0) {
      return 1;
    }
    ia = ua;  // a one-sided uniquification is skipped
    ib = ub;
  }
  for (; ia < na && ib < nb; ia++, ib++)
    if (strcmp(ca[ia], cb[ib]) != 0) return 1;
  if (ia == na && ib == nb) return 0;
  // One side has lines left: the same only if that is a lone merge signature.
  char **rest = ia < na ? ca + ia : cb + ib;
  int left = ia < na ? na - ia : nb - ib;
  return !(left == 1 && kes_str_starts_with(rest[0], KES_MERGE_SIGNATURE));
}
}  // namespace

int Kes_delta::comments_differ(Kes_delta *other) {
  if (!comments_differ_plain(this, other)) return 0;
  return !(is_sdata() && other->is_sdata());
}
